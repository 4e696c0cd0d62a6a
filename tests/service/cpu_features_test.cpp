// The feature words against the compiler's own CPUID masks, under every state that a system may save.
#include "service/cpu_features.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "tests/support/recorded_processor.h"

namespace vex::service {
namespace {

using test::RecordedProcessor;

int entry_of(std::string_view name) {
  for (int i = 0; i < feature_entries; ++i)
    if (name == __libvex_get_feature_name(i)) return i;
  ADD_FAILURE() << "no feature is named " << name;
  return 0;
}

FeatureWords words_of(std::initializer_list<std::string_view> names) {
  std::uint64_t words[2] = {0, 0};
  for (const std::string_view name : names) __libvex_set_cpu_feature(words, entry_of(name));
  return {words[0], words[1]};
}

std::string names_in(const FeatureWords& features) {
  const std::uint64_t words[2] = {features.low, features.high};
  std::string text;
  for (int i = 0; i < feature_entries; ++i)
    if (__libvex_get_cpu_feature(words, i) == 1) text += std::string(__libvex_get_feature_name(i)) + " ";
  return text;
}

TEST(CpuFeatures, AGroupMaskNamesAWrongBit) {
  EXPECT_EQ(feature::any_sse3, words_of({"SSE3", "SSSE3"}).low);
  EXPECT_EQ(feature::sse4_1, words_of({"SSE4_1"}).low);
  EXPECT_EQ(feature::sse4_2, words_of({"SSE4_2"}).low);
  EXPECT_EQ(feature::aes, words_of({"AES"}).low);
  EXPECT_EQ(feature::f16c, words_of({"F16C"}).low);
  EXPECT_EQ(feature::avx, words_of({"AVX"}).low);
  EXPECT_EQ(feature::avx2_group, words_of({"PCLMULQDQ", "FMA", "BMI", "LZCNT", "AVX2"}).low);
  EXPECT_EQ(feature::avx512_group, words_of({"AVX512F", "AVX512DQ", "AVX512BW", "AVX512VL"}).low);
  EXPECT_EQ(feature::avx512_e2_group, words_of({"AVX512F", "VAES", "VPCLMULQDQ"}).low);
  EXPECT_EQ(feature::avx512_vnni, words_of({"AVX512_VNNI"}).low);
  EXPECT_EQ(feature::avx512_fp16, words_of({"AVX512_FP16"}).low);
  EXPECT_EQ(feature::mpx, words_of({"MPX"}).low);
  EXPECT_EQ(feature::mpx_or_avx512dq, words_of({"MPX", "AVX512DQ"}).low);
  EXPECT_EQ(feature::high_avx_vnni, words_of({"AVX_VNNI"}).high);
  EXPECT_EQ(feature::high_amx_tile, words_of({"AMX-TILE"}).high);
}

TEST(CpuFeatures, ACpuidBitSetsAnotherFeatureThanItsOwn) {
  using R = RecordedProcessor;
  const struct {
    std::uint32_t R::*where;
    std::uint32_t bit;
    const char* name;
  } rows[] = {
      {&R::basic_edx, bit_CMOV, "CMOV"},
      {&R::basic_edx, bit_MMX, "MMX"},
      {&R::basic_edx, bit_FXSAVE, "FXSAVE"},
      {&R::basic_edx, bit_SSE, "SSE"},
      {&R::basic_edx, bit_SSE2, "SSE2"},
      {&R::basic_ecx, bit_SSE3, "SSE3"},
      {&R::basic_ecx, bit_SSSE3, "SSSE3"},
      {&R::basic_ecx, bit_SSE4_1, "SSE4_1"},
      {&R::basic_ecx, bit_SSE4_2, "SSE4_2"},
      {&R::basic_ecx, bit_MOVBE, "MOVBE"},
      {&R::basic_ecx, bit_POPCNT, "POPCNT"},
      {&R::basic_ecx, bit_PCLMUL, "PCLMULQDQ"},
      {&R::basic_ecx, bit_AES, "AES"},
      {&R::basic_ecx, bit_F16C, "F16C"},
      {&R::basic_ecx, bit_AVX, "AVX"},
      {&R::basic_ecx, bit_RDRND, "RDRND"},
      {&R::basic_ecx, bit_FMA, "FMA"},
      {&R::leaf7_ebx, bit_BMI | bit_BMI2, "BMI"},
      {&R::extended_ecx, bit_LZCNT, "LZCNT"},
      {&R::leaf7_ebx, bit_HLE, "HLE"},
      {&R::leaf7_ebx, bit_RTM, "RTM"},
      {&R::leaf7_ebx, bit_AVX2, "AVX2"},
      {&R::leaf7_ebx, bit_AVX512DQ, "AVX512DQ"},
      {&R::leaf7_ebx, bit_AVX512F, "AVX512F"},
      {&R::leaf7_ebx, bit_ADX, "ADX"},
      {&R::leaf7_ebx, bit_RDSEED, "RDSEED"},
      {&R::leaf7_ebx, bit_AVX512IFMA, "AVX512IFMA52"},
      {&R::leaf7_ebx, bit_AVX512ER, "AVX512ER"},
      {&R::leaf7_ebx, bit_AVX512PF, "AVX512PF"},
      {&R::leaf7_ebx, bit_AVX512CD, "AVX512CD"},
      {&R::leaf7_ebx, bit_SHA, "SHA"},
      {&R::leaf7_ebx, bit_AVX512BW, "AVX512BW"},
      {&R::leaf7_ebx, bit_AVX512VL, "AVX512VL"},
      {&R::leaf7_ebx, bit_CLWB, "CLWB"},
      {&R::leaf7_ebx, bit_SGX, "SGX"},
      {&R::leaf7_ecx, bit_AVX512VBMI, "AVX512VBMI"},
      {&R::leaf7_ecx, bit_AVX512VPOPCNTDQ, "AVX512_VPOPCNTDQ"},
      {&R::leaf7_ecx, bit_AVX512BITALG, "AVX512_BITALG"},
      {&R::leaf7_ecx, bit_AVX512VBMI2, "AVX512_VBMI2"},
      {&R::leaf7_ecx, bit_GFNI, "GFNI"},
      {&R::leaf7_ecx, bit_VAES, "VAES"},
      {&R::leaf7_ecx, bit_VPCLMULQDQ, "VPCLMULQDQ"},
      {&R::leaf7_ecx, bit_AVX512VNNI, "AVX512_VNNI"},
      {&R::leaf7_ecx, bit_RDPID, "RDPID"},
      {&R::leaf7_ecx, bit_SHSTK, "SHSTK"},
      {&R::leaf7_ecx, bit_CLDEMOTE, "CLDEMOTE"},
      {&R::leaf7_ecx, bit_MOVDIRI, "MOVDIRI"},
      {&R::leaf7_ecx, bit_MOVDIR64B, "MOVDIR64B"},
      {&R::leaf7_ecx, bit_WAITPKG, "WAITPKG"},
      {&R::leaf7_ecx, bit_ENQCMD, "ENQCMD"},
      {&R::leaf7_edx, bit_AVX5124FMAPS, "AVX512_4FMAPS"},
      {&R::leaf7_edx, bit_AVX5124VNNIW, "AVX512_4VNNIW"},
      {&R::leaf7_edx, bit_IBT, "IBT"},
      {&R::leaf7_edx, bit_PCONFIG, "PCONFIG"},
      {&R::leaf7_edx, bit_UINTR, "UINTR"},
      {&R::leaf7_edx, bit_AVX512FP16, "AVX512_FP16"},
      {&R::leaf7_1_eax, bit_AVX512BF16, "AVX512_BF16"},
      {&R::leaf7_1_eax, bit_AVXVNNI, "AVX_VNNI"},
      {&R::leaf7_1_eax, bit_HRESET, "HRESET"},
  };
  for (const auto& row : rows) {
    RecordedProcessor processor{.name = row.name, .xcr0 = ~std::uint64_t{0}};
    processor.basic_ecx = bit_OSXSAVE;
    processor.*row.where |= row.bit;
    EXPECT_EQ(names_in(read_features(test::play(processor))), std::string("GENERIC_IA32 ") + row.name + " ");
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
      {0x6003F, "AVX512DQ AVX512F AVX512CD AVX512BW AVX512VL AVX512_VNNI AVX512_FP16 AVX512_BF16 "},
      {0x600FD,
       "F16C AVX FMA AVX2 AVX512DQ AVX512F AVX512CD AVX512BW AVX512VL VAES VPCLMULQDQ AVX512_VNNI "
       "AVX512_FP16 "
       "AVX512_BF16 AVX_VNNI "},
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

TEST(CpuFeatures, ALeafAboveTheLastIsBelieved) {
  RecordedProcessor processor{.name = "leaf 0 and 1 only", .last_leaf = 1};
  const Processor seen = read_processor(test::play(processor));
  EXPECT_EQ(names_in(seen.features), "GENERIC_IA32 ");  // and never an all-zero word, which reads as unfilled
  EXPECT_EQ(seen.amx_fp16 | seen.avx512_fp16 | seen.avx512_bf16 | seen.avx_vnni, 0);
  processor.last_leaf = 0;
  EXPECT_EQ(names_in(read_features(test::play(processor))), "GENERIC_IA32 ");
  processor.last_leaf = 0x20;
  processor.last_leaf7_subleaf = 0;
  EXPECT_EQ(read_processor(test::play(processor)).amx_fp16, 0);
}

TEST(CpuFeatures, AnUnusedEntryTouchesTheWords) {
  std::uint64_t words[2] = {0, 0};
  for (const int entry : {-1, 31, 57, 59, 61, 63, feature_entries, 1 << 30, -(1 << 30)}) {
    EXPECT_EQ(__libvex_set_cpu_feature(words, entry), -1) << entry;
    EXPECT_EQ(__libvex_get_cpu_feature(words, entry), -1) << entry;
  }
  EXPECT_EQ(words[0] | words[1], 0u);
  EXPECT_EQ(__libvex_get_feature_name(-1), nullptr);
  EXPECT_EQ(__libvex_get_feature_name(feature_entries), nullptr);
  EXPECT_EQ(__libvex_set_cpu_feature(words, entry_of("PBNDKB")), 0);
  EXPECT_EQ(words[1], std::uint64_t{1} << 32);
}

TEST(CpuFeatures, TheCachedFactsDifferFromTheMachine) {
  const Processor read = read_processor(real_platform), cached = this_processor();
  EXPECT_EQ(read.korva, cached.korva);
  EXPECT_EQ(names_in(read.features), names_in(cached.features));
  EXPECT_EQ(read.amx_fp16, cached.amx_fp16);
  EXPECT_EQ(read.avx512_fp16, cached.avx512_fp16);
  EXPECT_EQ(read.avx512_bf16, cached.avx512_bf16);
  EXPECT_EQ(read.avx_vnni, cached.avx_vnni);
}

}  // namespace
}  // namespace vex::service
