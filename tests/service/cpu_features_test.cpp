// The feature words against the compiler's own CPUID masks, under every state that a system may save.
#include "service/cpu_features.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/recorded_processor.h"

namespace vex::service {
namespace {

using test::RecordedProcessor;

std::string names_in(const FeatureWords& features) {
  const std::uint64_t words[2] = {features.low, features.high};
  std::string text;
  for (int i = 0; i < feature_entries; ++i)
    if (__libvex_get_cpu_feature(words, i) == 1) text += std::string(__libvex_get_feature_name(i)) + " ";
  return text;
}

TEST(CpuFeatures, ACpuidBitSetsAnotherFeatureThanItsOwn) {
  using R = RecordedProcessor;
  const struct {
    std::uint32_t R::*where;
    std::vector<std::uint32_t> bits;
    const char* names;  // in the order of the bits
  } registers[] = {
      {&R::basic_edx, {bit_CMOV, bit_MMX, bit_FXSAVE, bit_SSE, bit_SSE2}, "CMOV MMX FXSAVE SSE SSE2"},
      {&R::basic_ecx,
       {bit_SSE3, bit_SSSE3, bit_SSE4_1, bit_SSE4_2, bit_MOVBE, bit_POPCNT, bit_PCLMUL, bit_AES, bit_F16C,
        bit_AVX, bit_RDRND, bit_FMA},
       "SSE3 SSSE3 SSE4_1 SSE4_2 MOVBE POPCNT PCLMULQDQ AES F16C AVX RDRND FMA"},
      {&R::leaf7_ebx,
       {bit_BMI | bit_BMI2, bit_HLE, bit_RTM, bit_AVX2, bit_AVX512DQ, bit_AVX512F, bit_ADX, bit_RDSEED,
        bit_AVX512IFMA, bit_AVX512ER, bit_AVX512PF, bit_AVX512CD, bit_SHA, bit_AVX512BW, bit_AVX512VL,
        bit_CLWB, bit_SGX},
       "BMI HLE RTM AVX2 AVX512DQ AVX512F ADX RDSEED AVX512IFMA52 AVX512ER AVX512PF AVX512CD SHA AVX512BW "
       "AVX512VL CLWB SGX"},
      {&R::extended_ecx, {bit_LZCNT}, "LZCNT"},
      {&R::leaf7_ecx,
       {bit_AVX512VBMI, bit_AVX512VPOPCNTDQ, bit_AVX512BITALG, bit_AVX512VBMI2, bit_GFNI, bit_VAES,
        bit_VPCLMULQDQ, bit_AVX512VNNI, bit_RDPID, bit_SHSTK, bit_CLDEMOTE, bit_MOVDIRI, bit_MOVDIR64B,
        bit_WAITPKG, bit_ENQCMD},
       "AVX512VBMI AVX512_VPOPCNTDQ AVX512_BITALG AVX512_VBMI2 GFNI VAES VPCLMULQDQ AVX512_VNNI RDPID SHSTK "
       "CLDEMOTE MOVDIRI MOVDIR64B WAITPKG ENQCMD"},
      {&R::leaf7_edx,
       {bit_AVX5124FMAPS, bit_AVX5124VNNIW, bit_IBT, bit_PCONFIG, bit_UINTR, bit_AVX512FP16},
       "AVX512_4FMAPS AVX512_4VNNIW IBT PCONFIG UINTR AVX512_FP16"},
      {&R::leaf7_1_eax, {bit_AVX512BF16, bit_AVXVNNI, bit_HRESET}, "AVX512_BF16 AVX_VNNI HRESET"},
  };
  for (const auto& row : registers) {
    std::istringstream names(row.names);
    for (const std::uint32_t bit : row.bits) {
      std::string name;
      names >> name;
      RecordedProcessor processor{.name = row.names, .basic_ecx = bit_OSXSAVE, .xcr0 = ~std::uint64_t{0}};
      processor.*row.where |= bit;
      EXPECT_EQ(names_in(read_features(test::play(processor))), "GENERIC_IA32 " + name + " ");
    }
  }
}

TEST(CpuFeatures, AFeatureIsOfferedWhoseRegistersAreNotSaved) {
  const struct {
    std::uint64_t xcr0;
    const char* lost;  // of the processor that has them all
  } rows[] = {
      {0x600FF, ""},
      {0x000FF, "AMX-TILE AMX-INT8 AMX-BF16 AMX-FP16 "},
      {0x600E7, "MPX "},
      {0x6001F, "AVX512DQ AVX512F AVX512CD AVX512BW AVX512VL AVX512_VNNI AVX512_FP16 AVX512_BF16 "},
      {0x600FD,
       "F16C AVX FMA AVX2 AVX512DQ AVX512F AVX512CD AVX512BW AVX512VL VAES VPCLMULQDQ AVX512_VNNI "
       "AVX512_FP16 AVX512_BF16 AVX_VNNI "},
  };
  RecordedProcessor processor = test::recorded("AMX-FP16");
  processor.xcr0 = ~std::uint64_t{0};
  const FeatureWords everything = read_features(test::play(processor));
  for (const auto& row : rows) {
    processor.xcr0 = row.xcr0;
    const FeatureWords left = read_features(test::play(processor));
    EXPECT_EQ(names_in({everything.low & ~left.low, everything.high & ~left.high}), row.lost)
        << std::hex << row.xcr0;
  }
}

}  // namespace
}  // namespace vex::service
