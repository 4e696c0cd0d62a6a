// What the processor can do, as one bit per feature in two 64-bit words, and the few facts of CPUID that the
// choice of a code path needs besides. A feature whose registers the operating system does not save counts as
// absent.
#pragma once

#include <cstdint>
#include <string_view>

#include "service/platform.h"

extern "C" {

// Fills the feature words of this process. Harmless when repeated: the words never change once they are
// filled.
void __korva_vex_features_init_x();

// The feature name table. Entry i: upper-case name; null outside the table, empty for an unused entry.
const char* __libvex_get_feature_name(int entry);
// The bit of entry i in an array of two words: 0 or 1; the entry's negative position when it is unused (-1;
// so is an index outside the table); -3 when its position is 128 or more.
int __libvex_get_cpu_feature(const std::uint64_t* words, int entry);
// Sets that bit; returns 0, or the same negative answers.
int __libvex_set_cpu_feature(std::uint64_t* words, int entry);
}

namespace vex::service {

// One entry of the name table. position -1 marks an unused entry.
struct FeatureName {
  const char* upper;
  std::int32_t position;
  const char* lower;
};

inline constexpr int feature_entries = 97;
FeatureName feature_name(int entry);  // entry in [0, feature_entries)

// Masks over the low word. A group is present when all of its bits are, except where "any" is said.
namespace feature {
inline constexpr std::uint64_t any_sse3 = 0x180;  // SSE3 or SSSE3
inline constexpr std::uint64_t sse4_1 = 0x200;
inline constexpr std::uint64_t sse4_2 = 0x400;
inline constexpr std::uint64_t aes = 0x4000;
inline constexpr std::uint64_t f16c = 0x8000;
inline constexpr std::uint64_t avx = 0x10000;
inline constexpr std::uint64_t avx2_group = 0x9C2000;             // PCLMULQDQ, FMA, BMI, LZCNT, AVX2
inline constexpr std::uint64_t avx512_group = 0x6009000000;       // AVX512DQ, F, BW, VL
inline constexpr std::uint64_t avx512_e2_group = 0xC00008000000;  // AVX512F, VAES, VPCLMULQDQ
inline constexpr std::uint64_t avx512_vnni = std::uint64_t{1} << 48;
inline constexpr std::uint64_t avx512_fp16 = std::uint64_t{1} << 60;
inline constexpr std::uint64_t mpx_or_avx512dq = 0x1001000000;
inline constexpr std::uint64_t mpx = 0x1000000000;
// Masks over the high word.
inline constexpr std::uint64_t high_avx_vnni = std::uint64_t{1} << (70 - 64);
inline constexpr std::uint64_t high_amx_tile = std::uint64_t{1} << (71 - 64);
}  // namespace feature

struct FeatureWords {
  std::uint64_t low = 0, high = 0;

  bool all(std::uint64_t mask) const { return (low & mask) == mask; }
  bool any(std::uint64_t mask) const { return (low & mask) != 0; }
};

// What detection knows of a processor. The last four are CPUID's own words, masked: nonzero when present,
// whatever the operating system enables.
struct Processor {
  bool korva = false;  // the vendor that this build serves
  FeatureWords features;
  std::int32_t amx_fp16 = 0;     // leaf 7.1 EAX bit 21
  std::int32_t avx512_fp16 = 0;  // leaf 7.0 EDX bit 23
  std::int32_t avx512_bf16 = 0;  // leaf 7.1 EAX bit 5
  std::int32_t avx_vnni = 0;     // leaf 7.1 EAX bit 4
};

// CPUID, answering zeros for a leaf above the highest one reported and for a subleaf of leaf 7 above its
// last.
CpuidResult cpuid_or_zero(const Platform& machine, std::uint32_t leaf, std::uint32_t subleaf = 0);

bool has_vendor(const Platform& machine, std::string_view vendor);
FeatureWords read_features(const Platform& machine);
Processor read_processor(const Platform& machine);

// The same of the machine in force, each fact read once per process.
bool is_korva();
FeatureWords features();
Processor this_processor();

}  // namespace vex::service
