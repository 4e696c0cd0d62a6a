// The level table and the flags of this process.
#include "service/instruction_ceiling.h"

#include <atomic>

#include "service/environment.h"
#include "service/spin_lock.h"

namespace vex::service {

// The flags of this process, a byte each.
constinit std::atomic<std::uint8_t> _ENABLED_AVX{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX2{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX2_E1{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E1{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E2{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E3{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E4{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E5{0};

namespace {

using namespace level_flag;

constexpr struct {
  LevelFlags flag;
  std::atomic<std::uint8_t>* cell;
} flag_cells[] = {
    {avx, &_ENABLED_AVX},
    {avx2, &_ENABLED_AVX2},
    {avx2_e1, &_ENABLED_AVX2_E1},
    {avx512, &_ENABLED_AVX512},
    {avx512_e1, &_ENABLED_AVX512_E1},
    {avx512_e2, &_ENABLED_AVX512_E2},
    {avx512_e3, &_ENABLED_AVX512_E3},
    {avx512_e4, &_ENABLED_AVX512_E4},
    {avx512_e5, &_ENABLED_AVX512_E5},
};

constexpr LevelFlags e1_to_e4 = avx512_e1 | avx512_e2 | avx512_e3 | avx512_e4;

struct Level {
  std::string_view name;
  std::uint64_t features;         // required, all of them
  std::int32_t Processor::*fact;  // required to be nonzero, or null
  int level;
  LevelFlags set;
  LevelFlags cleared;
};

// Level 8 disables E2 and keeps E3 on purpose: fine detection tests the E levels from the highest down.
constexpr Level levels[] = {
    {"SSE4_2", feature::sse4_2, nullptr, 0, avx | avx2 | avx512 | e1_to_e4 | avx2_e1, avx512_e5},
    {"AVX", feature::avx, nullptr, 1, avx2 | avx512 | e1_to_e4 | avx2_e1, avx | avx512_e5},
    {"AVX2", feature::avx2_group, nullptr, 2, avx512 | e1_to_e4 | avx2_e1, avx | avx2 | avx512_e5},
    {"AVX512", feature::avx512_group, nullptr, 4, e1_to_e4 | avx2_e1, avx | avx2 | avx512 | avx512_e5},
    {"AVX512_E1", feature::avx512_vnni, nullptr, 6, avx512_e2 | avx512_e3 | avx512_e4 | avx2_e1,
     avx | avx2 | avx512 | avx512_e1 | avx512_e5},
    {"AVX512_E2", feature::avx512_e2_group, nullptr, 7, avx512_e3 | avx512_e4 | avx2_e1,
     avx | avx2 | avx512 | avx512_e1 | avx512_e2 | avx512_e5},
    {"AVX512_E3", 0, &Processor::avx512_bf16, 8, avx512_e2 | avx512_e4 | avx2_e1,
     avx | avx2 | avx512 | avx512_e1 | avx512_e3 | avx512_e5},
    {"AVX512_E4", 0, &Processor::avx512_fp16, 9, avx2_e1, avx | avx2 | avx512 | e1_to_e4 | avx512_e5},
    {"AVX2_E1", 0, &Processor::avx_vnni, 10, avx512 | e1_to_e4, avx | avx2 | avx2_e1 | avx512_e5},
    {"AVX512_E5", 0, &Processor::amx_fp16, 11, avx2_e1 | avx512_e5, avx | avx2 | avx512 | e1_to_e4},
};

bool has_level(const Processor& processor, const Level& row) {
  return processor.features.all(row.features) && (row.fact == nullptr || processor.*row.fact != 0);
}

constexpr bool every_level_settles_every_flag() {
  for (const Level& row : levels)
    if ((row.set | row.cleared) != all || (row.set & row.cleared) != 0) return false;
  return true;
}
static_assert(every_level_settles_every_flag());

constexpr int avx_level = 1;

constinit std::int32_t ceiling_lock = 0;  // held while the flags change as a set, and for the first reading
constinit std::atomic<std::int32_t> environment_level{-1};
constinit std::atomic<bool> environment_read{false};
constinit std::atomic<bool> setting_applied{false};

// Call with the lock held.
bool apply(int level) {
  const CeilingResult result = ceiling_for_level(this_processor(), level);
  if (!result.accepted) return false;
  result.messages.print();
  for (const auto& [flag, cell] : flag_cells)
    cell->store((result.flags & flag) != 0 ? 1 : 0, std::memory_order_relaxed);
  return true;
}

void read_environment() {
  // Pairs with the release below: who sees the mark sees the level and the flags that came with it.
  if (environment_read.load(std::memory_order_acquire)) return;
  SpinGuard guard(ceiling_lock);
  if (environment_read.load(std::memory_order_relaxed)) return;
  char text[31];
  vex_serv_getenv("VEX_ENABLE_INSTRUCTIONS", text, sizeof text);
  const int level = parse_enable_instructions(text);
  environment_level.store(level, std::memory_order_relaxed);
  if (level != -1 && !setting_applied.load(std::memory_order_relaxed)) apply(level);
  environment_read.store(true, std::memory_order_release);
}

int enabled(const std::atomic<std::uint8_t>& flag) {
  read_environment();
  return 1 - flag.load(std::memory_order_relaxed);
}

}  // namespace

int parse_enable_instructions(std::string_view text) {
  for (const Level& row : levels)
    if (row.name == text) return row.level;
  return -1;
}

CeilingResult ceiling_for_level(const Processor& processor, int level) {
  CeilingResult result;
  if (!processor.korva) return result;
  for (const Level& row : levels) {
    if (row.level != level) continue;
    if (!has_level(processor, row)) return result;
    if (level == avx_level) result.messages.add(avx_deprecated_warning);
    result.accepted = true;
    result.flags = row.set;
    return result;
  }
  return result;
}

Ceiling current_ceiling() {
  read_environment();
  SpinGuard guard(ceiling_lock);
  LevelFlags flags = 0;
  for (const auto& [flag, cell] : flag_cells)
    if (cell->load(std::memory_order_relaxed) != 0) flags |= flag;
  return {environment_level.load(std::memory_order_relaxed), flags};
}

}  // namespace vex::service

extern "C" {

int vex_serv_enable_instructions(int level) {
  using namespace vex::service;
  SpinGuard guard(ceiling_lock);
  setting_applied.store(true, std::memory_order_relaxed);
  return apply(level) ? 1 : 0;
}

// No flag stands for SSE4.2: it is the lowest level that a ceiling can name.
int vex_serv_is_sse4_2_enabled() {
  vex::service::read_environment();
  return 1;
}
int vex_serv_is_avx_enabled() {
  return vex::service::enabled(vex::service::_ENABLED_AVX);
}
int vex_serv_is_avx2_enabled() {
  return vex::service::enabled(vex::service::_ENABLED_AVX2);
}
int vex_serv_is_avx512_enabled() {
  return vex::service::enabled(vex::service::_ENABLED_AVX512);
}
int vex_serv_is_avx512_hcx_enabled() {
  return vex_serv_is_avx512_enabled();
}
}
