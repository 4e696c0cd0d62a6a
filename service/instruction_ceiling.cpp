// The level table and the flags of this process.
#include "service/instruction_ceiling.h"

#include <atomic>

#include "service/environment.h"
#include "service/spin_lock.h"

namespace vex::service {

// The flags of this process, a byte each; NOLINTBEGIN(bugprone-reserved-identifier): given names.
constinit std::atomic<std::uint8_t> _ENABLED_AVX{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX2{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX2_E1{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E1{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E2{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E3{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E4{0};
constinit std::atomic<std::uint8_t> _ENABLED_AVX512_E5{0};
// NOLINTEND(bugprone-reserved-identifier)

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

bool has_sse42(const Processor& p) {
  return p.features.all(feature::sse4_2);
}
bool has_avx(const Processor& p) {
  return p.features.all(feature::avx);
}
bool has_avx2_group(const Processor& p) {
  return p.features.all(feature::avx2_group);
}
bool has_avx512_group(const Processor& p) {
  return p.features.all(feature::avx512_group);
}
bool has_vnni(const Processor& p) {
  return p.features.all(feature::avx512_vnni);
}
bool has_e2_group(const Processor& p) {
  return p.features.all(feature::avx512_e2_group);
}
bool has_bf16(const Processor& p) {
  return p.avx512_bf16 != 0;
}
bool has_fp16(const Processor& p) {
  return p.avx512_fp16 != 0;
}
bool has_avx_vnni(const Processor& p) {
  return p.avx_vnni != 0;
}
bool has_amx_fp16(const Processor& p) {
  return p.amx_fp16 != 0;
}

constexpr LevelFlags e1_to_e4 = avx512_e1 | avx512_e2 | avx512_e3 | avx512_e4;

struct Level {
  std::string_view name;
  int level;
  bool (*required)(const Processor&);
  LevelFlags set;
  LevelFlags cleared;
};

// Level 8 disables E2 and keeps E3 on purpose: fine detection tests the E levels from the highest down.
constexpr Level levels[] = {
    {"SSE4_2", 0, has_sse42, avx | avx2 | avx512 | e1_to_e4 | avx2_e1, avx512_e5},
    {"AVX", 1, has_avx, avx2 | avx512 | e1_to_e4 | avx2_e1, avx | avx512_e5},
    {"AVX2", 2, has_avx2_group, avx512 | e1_to_e4 | avx2_e1, avx | avx2 | avx512_e5},
    {"AVX512", 4, has_avx512_group, e1_to_e4 | avx2_e1, avx | avx2 | avx512 | avx512_e5},
    {"AVX512_E1", 6, has_vnni, avx512_e2 | avx512_e3 | avx512_e4 | avx2_e1,
     avx | avx2 | avx512 | avx512_e1 | avx512_e5},
    {"AVX512_E2", 7, has_e2_group, avx512_e3 | avx512_e4 | avx2_e1,
     avx | avx2 | avx512 | avx512_e1 | avx512_e2 | avx512_e5},
    {"AVX512_E3", 8, has_bf16, avx512_e2 | avx512_e4 | avx2_e1,
     avx | avx2 | avx512 | avx512_e1 | avx512_e3 | avx512_e5},
    {"AVX512_E4", 9, has_fp16, avx2_e1, avx | avx2 | avx512 | e1_to_e4 | avx512_e5},
    {"AVX2_E1", 10, has_avx_vnni, avx512 | e1_to_e4, avx | avx2 | avx2_e1 | avx512_e5},
    {"AVX512_E5", 11, has_amx_fp16, avx2_e1 | avx512_e5, avx | avx2 | avx512 | e1_to_e4},
};

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
    if (!row.required(processor)) return result;
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
