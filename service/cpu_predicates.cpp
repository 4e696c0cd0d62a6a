// The predicates and their remembered answers.
#include "service/cpu_predicates.h"

#include <atomic>
#include <cstdint>

#include "service/cpu_dispatch.h"
#include "service/reproducibility.h"
#include "service/spin_lock.h"

namespace vex::service {
namespace {

using Answer = std::atomic<std::int32_t>;  // -1 until asked

// Relaxed: several threads may work the same answer out, and the answer is all that is shared.
template <typename Question>
int remembered(Answer& answer, Question question) {
  std::int32_t value = answer.load(std::memory_order_relaxed);
  if (value == -1) {
    value = static_cast<std::int32_t>(question());
    answer.store(value, std::memory_order_relaxed);
  }
  return value;
}

int branch() {
  return vex_serv_cbwr_get(1);
}
bool processor_speaks() {
  return follows_processor(branch());
}
bool fine_type_at_least(int lowest) {  // of the AVX-512 generations; 15 is AVX2's
  const int type = vex_serv_get_cpu_type(1);
  return type >= lowest && type != fine::avx2_vnni;
}

bool is_other_vendor() {
  return has_vendor(platform(), "AuthenticAMD");
}
std::uint32_t signature() {
  return cpuid_or_zero(platform(), 1).eax;
}

// Family and model of a signature, extended fields included.
std::uint32_t family(std::uint32_t eax) {
  const std::uint32_t base = eax >> 8 & 0xF;
  return base == 0xF ? base + (eax >> 20 & 0xFF) : base;
}
std::uint32_t model(std::uint32_t eax) {
  const std::uint32_t base = eax >> 8 & 0xF;
  const std::uint32_t low = eax >> 4 & 0xF;
  return base == 0x6 || base == 0xF ? (eax >> 12 & 0xF0) | low : low;
}

// Family 6 models of the small in-order or narrow cores of each level.
constexpr std::uint8_t low_power_sse42_models[] = {0x37, 0x4A, 0x4C, 0x4D, 0x5A, 0x5C, 0x5D,
                                                   0x5F, 0x75, 0x7A, 0x86, 0x96, 0x9C};
constexpr std::uint8_t low_power_ssse3_models[] = {0x1C, 0x26, 0x27, 0x35, 0x36};

template <std::size_t count>
bool is_low_power(const std::uint8_t (&models)[count]) {
  if (!is_korva() || !processor_speaks()) return false;
  const std::uint32_t eax = signature();
  if (family(eax) != 6) return false;
  for (const std::uint8_t candidate : models)
    if (model(eax) == candidate) return true;
  return false;
}

// Present, and no level that the extension belongs to is forbidden by the ceiling.
bool usable(bool present, LevelFlags levels) {
  return present && (current_ceiling().flags & levels) == 0;
}

// Every dispatched type has the code 8 << type; a few add one or two for a finer choice. 2 and 4 are not
// dispatched today.
int microarchitecture(int type, const FeatureWords& words, int cbwr_branch) {
  int code = 8 << type;
  if (type == 2 && words.all(feature::sse4_1)) code += 1;
  if (type == fine::sse42 && cbwr_branch == cbwr_off && words.all(feature::aes)) code += 2;
  return code;
}

constinit std::int32_t korva_cpu_lock = 0;
constinit Answer korva_cpu_answer{-1};

}  // namespace
}  // namespace vex::service

extern "C" {

using namespace vex::service;

int vex_serv_korva_cpu_true() {
  return is_korva() ? 1 : 0;
}

int vex_serv_korva_cpu() {
  const int known = korva_cpu_answer.load(std::memory_order_relaxed);
  if (known != -1) return known;
  const int cbwr_branch = branch();  // takes the detection lock, so before our own
  SpinGuard guard(korva_cpu_lock);
  return remembered(korva_cpu_answer, [cbwr_branch] {
    return follows_processor(cbwr_branch) ? is_korva() : cbwr_branch != cbwr_compatible;
  });
}

int vex_serv_cpuhassse41_true() {
  static constinit Answer answer{-1};
  return remembered(answer, [] { return features().all(feature::sse4_1); });
}

int vex_serv_cpuhassse41() {
  static constinit Answer answer{-1};
  return remembered(
      answer, [] { return processor_speaks() ? features().all(feature::sse4_1) : branch() >= cbwr_sse41; });
}

int vex_serv_cpuhassse42() {
  static constinit Answer answer{-1};
  return remembered(answer,
                    [] { return processor_speaks() ? vex_serv_cpu_detect() > 2 : branch() > cbwr_sse41; });
}

int vex_serv_cpuisbulldozer() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    constexpr std::uint32_t fma4 = 1u << 16;
    return processor_speaks() && is_other_vendor() && features().all(feature::avx) &&
           (cpuid_or_zero(platform(), 0x80000001).ecx & fma4) != 0;
  });
}

int vex_serv_cpuisitbarcelona() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    return processor_speaks() && is_other_vendor() && (signature() & 0x0FF00F00) == 0x00100F00;
  });
}

int vex_serv_cpuiszen() {
  static constinit Answer answer{-1};
  return remembered(answer,
                    [] { return processor_speaks() && is_other_vendor() && family(signature()) >= 0x17; });
}

int vex_serv_cpuislowpowersse4_2() {
  static constinit Answer answer{-1};
  return remembered(answer, [] { return is_low_power(low_power_sse42_models); });
}

int vex_serv_cpuislowpowerssse3() {
  static constinit Answer answer{-1};
  return remembered(answer, [] { return is_low_power(low_power_ssse3_models); });
}

int vex_serv_cpuismpxgen() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    return processor_speaks() && (features().low & feature::mpx_or_avx512dq) == feature::mpx;
  });
}

int vex_serv_cpuismanycore() {
  return 0;
}

int vex_serv_cpuisvnnigen() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    return (processor_speaks() || branch() == cbwr_avx512_e1) && fine_type_at_least(fine::avx512_vnni);
  });
}

int vex_serv_cpuisvaesgen() {
  static constinit Answer answer{-1};
  return remembered(answer, [] { return fine_type_at_least(fine::avx512_e2); });
}

int vex_serv_cpuisbf16gen() {
  static constinit Answer answer{-1};
  return remembered(answer, [] { return fine_type_at_least(fine::avx512_bf16); });
}

int vex_serv_cpuhasamx() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    return fine_type_at_least(fine::avx512_fp16) && (features().high & feature::high_amx_tile) != 0;
  });
}

int vex_serv_cpuhasamxfp16() {
  static constinit Answer answer{-1};
  return remembered(answer, [] { return vex_serv_get_cpu_type(1) == fine::avx512_amx_fp16; });
}

int vex_serv_cpuhasavxvnni() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    return usable((features().high & feature::high_avx_vnni) != 0, level_flag::avx | level_flag::avx2_e1);
  });
}

int vex_serv_cpuhasf16c() {
  static constinit Answer answer{-1};
  return remembered(answer, [] { return usable(features().all(feature::f16c), level_flag::avx); });
}

int vex_serv_cpuhasfp16() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    return usable(features().all(feature::avx512_fp16),
                  level_flag::avx | level_flag::avx512 | level_flag::avx512_e4);
  });
}

int vex_serv_get_microarchitecture() {
  static constinit Answer answer{-1};
  return remembered(answer, [] {
    return vex_serv_korva_cpu() == 1 ? microarchitecture(vex_serv_cpu_detect(), features(), branch()) : 0;
  });
}
}
