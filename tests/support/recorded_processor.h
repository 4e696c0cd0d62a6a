// Processors as their CPUID and XGETBV answers, and a platform that plays one of them. The bit masks are the
// compiler's own (cpuid.h), so a wrong bit number in the library is not repeated here.
#pragma once

#include <cpuid.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "service/platform.h"
#include "service/vendor.h"
#include "tests/support/fresh_process.h"

namespace vex::test {

struct RecordedProcessor {
  const char* name;
  std::uint32_t basic_ecx = 0, basic_edx = 0;                 // leaf 1
  std::uint32_t leaf7_ebx = 0, leaf7_ecx = 0, leaf7_edx = 0;  // leaf 7.0
  std::uint32_t leaf7_1_eax = 0;
  std::uint32_t extended_ecx = 0;  // leaf 80000001H
  std::uint64_t xcr0 = 0;
  std::uint32_t signature = 0x000006F0;
  std::string_view vendor = service::vendor_string;
  std::uint32_t last_leaf = 0x20;
  std::uint32_t last_leaf7_subleaf = 1;
  std::vector<service::CpuidResult> caches = {};  // leaf 4, without the closing entry

  service::CpuidResult cpuid(std::uint32_t leaf, std::uint32_t subleaf) const {
    // Real processors answer a leaf above their last with something unrelated; here everything is set.
    constexpr service::CpuidResult garbage = {~0u, ~0u, ~0u, ~0u};
    if (leaf == 0) {
      service::CpuidResult answer = {last_leaf, 0, 0, 0};
      std::memcpy(&answer.ebx, vendor.data(), 4);
      std::memcpy(&answer.edx, vendor.data() + 4, 4);
      std::memcpy(&answer.ecx, vendor.data() + 8, 4);
      return answer;
    }
    if (leaf == 0x80000000) return {0x80000008, 0, 0, 0};
    if (leaf == 0x80000001) return {0, 0, extended_ecx, 0};
    if (leaf == 0x80000008) return {};
    if (leaf > last_leaf) return garbage;
    if (leaf == 1) return {signature, 0, basic_ecx, basic_edx};
    if (leaf == 4) return subleaf < caches.size() ? caches[subleaf] : service::CpuidResult{};
    if (leaf == 7 && subleaf == 0) return {last_leaf7_subleaf, leaf7_ebx, leaf7_ecx, leaf7_edx};
    if (leaf == 7 && subleaf > last_leaf7_subleaf) return garbage;
    if (leaf == 7 && subleaf == 1) return {leaf7_1_eax, 0, 0, 0};
    return {};
  }
};

namespace detail {
inline const RecordedProcessor* played = nullptr;
inline service::CpuidResult played_cpuid(std::uint32_t leaf, std::uint32_t subleaf) {
  return played->cpuid(leaf, subleaf);
}
inline std::uint64_t played_xgetbv(std::uint32_t) {
  if ((played->basic_ecx & bit_OSXSAVE) == 0) std::abort();  // an undefined instruction on the real one
  return played->xcr0;
}
}  // namespace detail

// The real platform but for the processor. `processor` must stay alive; one is played at a time.
inline service::Platform play(const RecordedProcessor& processor) {
  detail::played = &processor;
  service::Platform machine = service::real_platform;
  machine.cpuid = detail::played_cpuid;
  machine.xgetbv = detail::played_xgetbv;
  return machine;
}

namespace detail {
inline constexpr std::uint64_t xcr0_sse = 0x3, xcr0_avx = 0x7, xcr0_mpx = 0x1F, xcr0_avx512 = 0xE7,
                               xcr0_amx = 0x600E7;

inline RecordedProcessor plus(RecordedProcessor base, const RecordedProcessor& more) {
  base.name = more.name;
  base.basic_ecx |= more.basic_ecx;
  base.basic_edx |= more.basic_edx;
  base.leaf7_ebx |= more.leaf7_ebx;
  base.leaf7_ecx |= more.leaf7_ecx;
  base.leaf7_edx |= more.leaf7_edx;
  base.leaf7_1_eax |= more.leaf7_1_eax;
  base.extended_ecx |= more.extended_ecx;
  base.xcr0 |= more.xcr0;
  return base;
}
template <typename Change>
RecordedProcessor but(RecordedProcessor base, const char* name, Change change) {
  base.name = name;
  change(base);
  return base;
}
}  // namespace detail

// Generation by generation, each with everything of the one it grows from; then the odd ones.
inline const std::vector<RecordedProcessor>& recorded_processors() {
  using namespace detail;
  static const std::vector<RecordedProcessor> all = [] {
    using P = RecordedProcessor;
    const P sse2{.name = "SSE2", .basic_edx = 1 | bit_CMOV | bit_MMX | bit_FXSAVE | bit_SSE | bit_SSE2};
    const P sse3 = plus(sse2, {.name = "SSE3", .basic_ecx = bit_SSE3});
    const P ssse3 = plus(sse3, {.name = "SSSE3", .basic_ecx = bit_SSSE3});
    const P sse41 = plus(ssse3, {.name = "SSE4.1", .basic_ecx = bit_SSE4_1});
    const P sse42 = plus(sse41, {.name = "SSE4.2", .basic_ecx = bit_SSE4_2 | bit_POPCNT});
    const P aes = plus(sse42, {.name = "SSE4.2 with AES", .basic_ecx = bit_AES | bit_PCLMUL});
    const P avx =
        plus(aes, {.name = "AVX", .basic_ecx = bit_AVX | bit_XSAVE | bit_OSXSAVE, .xcr0 = xcr0_avx});
    const P f16c = plus(avx, {.name = "AVX with F16C", .basic_ecx = bit_F16C | bit_RDRND});
    const P avx2 = plus(f16c, {.name = "AVX2",
                               .basic_ecx = bit_FMA | bit_MOVBE,
                               .leaf7_ebx = bit_AVX2 | bit_BMI | bit_BMI2,
                               .extended_ecx = bit_LZCNT});
    const P mpx = plus(avx2, {.name = "AVX2 with MPX", .leaf7_ebx = 1u << 14, .xcr0 = xcr0_mpx});
    const P many_core = plus(avx2, {.name = "AVX-512 F, CD, ER, PF alone",
                                    .leaf7_ebx = bit_AVX512F | bit_AVX512CD | bit_AVX512ER | bit_AVX512PF,
                                    .xcr0 = xcr0_avx512});
    const P avx512 =
        plus(mpx, {.name = "AVX-512",
                   .leaf7_ebx = bit_AVX512F | bit_AVX512CD | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL,
                   .xcr0 = xcr0_avx512});
    const P vnni = plus(avx512, {.name = "AVX-512 VNNI", .leaf7_ecx = bit_AVX512VNNI});
    const P bf16 = plus(vnni, {.name = "AVX-512 BF16", .leaf7_1_eax = bit_AVX512BF16});
    const P e2 = plus(vnni, {.name = "AVX-512 VAES", .leaf7_ecx = bit_VAES | bit_VPCLMULQDQ | bit_GFNI});
    const P fp16 = plus(e2, {.name = "AVX-512 FP16",
                             .leaf7_edx = bit_AVX512FP16 | 1u << 22 | 1u << 24 | 1u << 25,  // and AMX
                             .leaf7_1_eax = bit_AVX512BF16 | bit_AVXVNNI,
                             .xcr0 = xcr0_amx});
    const P amx_fp16 = plus(fp16, {.name = "AMX-FP16", .leaf7_1_eax = 1u << 21});
    const P hybrid = plus(avx2, {.name = "hybrid without AVX-512",
                                 .leaf7_ecx = bit_VAES | bit_VPCLMULQDQ | bit_GFNI,
                                 .leaf7_1_eax = bit_AVXVNNI});
    const auto of_other = [&](P base, const char* name, std::uint32_t signature) {
      return but(base, name, [=](P& p) { p.vendor = "AuthenticAMD", p.signature = signature; });
    };
    std::vector<P> machines = {sse2, sse3,      ssse3,  sse41, sse42, aes, avx,  f16c,     avx2,
                               mpx,  many_core, avx512, vnni,  bf16,  e2,  fp16, amx_fp16, hybrid};
    const P odd[] = {but(plus(ssse3, {.name = "", .basic_ecx = bit_MOVBE}), "low-power SSSE3",
                         [](P& p) { p.signature = 0x000106C0; }),
                     but(plus(aes, {.name = "", .basic_ecx = bit_MOVBE}), "low-power SSE4.2",
                         [](P& p) { p.signature = 0x000506C9; }),
                     but(fp16, "hypervisor hides XSAVE",
                         [](P& p) { p.basic_ecx &= ~std::uint32_t{bit_XSAVE | bit_OSXSAVE}; }),
                     but(fp16, "system saves SSE only", [](P& p) { p.xcr0 = xcr0_sse; }),
                     but(avx512, "system saves AVX only", [](P& p) { p.xcr0 = xcr0_avx; }),
                     but(avx512, "system saves opmasks only", [](P& p) { p.xcr0 = xcr0_avx | 0x20; }),
                     but(fp16, "system saves no AMX tiles", [](P& p) { p.xcr0 = xcr0_avx512; }),
                     but(avx2, "AVX2 without LZCNT", [](P& p) { p.extended_ecx = 0; }),
                     but(avx2, "leaves limited to 3", [](P& p) { p.last_leaf = 3; }),
                     but(e2, "leaf 7 without subleaf 1", [](P& p) { p.last_leaf7_subleaf = 0; }),
                     but(amx_fp16, "another vendor, everything", [](P& p) { p.vendor = "AnotherMaker"; }),
                     of_other(plus(f16c, {.name = "", .extended_ecx = bit_FMA4 | bit_XOP | bit_LZCNT}),
                              "other vendor, family 15H", 0x00600F12),
                     of_other(sse3, "other vendor, family 10H", 0x00100F42),
                     of_other(avx2, "other vendor, family 17H", 0x00800F11)};
    machines.insert(machines.end(), std::begin(odd), std::end(odd));
    return machines;
  }();
  return all;
}

inline const RecordedProcessor& recorded(std::string_view name) {
  for (const RecordedProcessor& processor : recorded_processors())
    if (name == processor.name) return processor;
  std::abort();
}

// Runs `body` in a process of its own on that processor, with these two variables set (null: unset).
inline ProcessResult in_process_on(const RecordedProcessor& processor, const char* enable_instructions,
                                   const char* cbwr, const std::function<void()>& body) {
  return in_fresh_process([&] {
    static const service::Platform machine = play(processor);
    service::set_platform(&machine);
    enable_instructions ? setenv("VEX_ENABLE_INSTRUCTIONS", enable_instructions, 1)
                        : unsetenv("VEX_ENABLE_INSTRUCTIONS");
    cbwr ? setenv("VEX_CBWR", cbwr, 1) : unsetenv("VEX_CBWR");
    body();
  });
}

}  // namespace vex::test
