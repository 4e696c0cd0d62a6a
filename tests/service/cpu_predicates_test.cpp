// Every predicate on recorded processors, one process for each.
#include "service/cpu_predicates.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/alone.h"
#include "tests/support/recorded_processor.h"

namespace {

using vex::test::in_process_on;
using vex::test::recorded;

constexpr struct {
  const char* name;
  int (*ask)();
} predicates[] = {
    {"korva_true", vex_serv_korva_cpu_true},
    {"korva", vex_serv_korva_cpu},
    {"sse41_true", vex_serv_cpuhassse41_true},
    {"sse41", vex_serv_cpuhassse41},
    {"sse42", vex_serv_cpuhassse42},
    {"bulldozer", vex_serv_cpuisbulldozer},
    {"barcelona", vex_serv_cpuisitbarcelona},
    {"zen", vex_serv_cpuiszen},
    {"low_sse42", vex_serv_cpuislowpowersse4_2},
    {"low_ssse3", vex_serv_cpuislowpowerssse3},
    {"mpx", vex_serv_cpuismpxgen},
    {"many", vex_serv_cpuismanycore},
    {"vnni", vex_serv_cpuisvnnigen},
    {"vaes", vex_serv_cpuisvaesgen},
    {"bf16", vex_serv_cpuisbf16gen},
    {"amx", vex_serv_cpuhasamx},
    {"amx_fp16", vex_serv_cpuhasamxfp16},
    {"avx_vnni", vex_serv_cpuhasavxvnni},
    {"f16c", vex_serv_cpuhasf16c},
    {"fp16", vex_serv_cpuhasfp16},
};

TEST(CpuPredicates, AProcessorIsTakenForAnother) {
  if (!vex::test::alone()) return;
  const struct {
    const char* processor;
    const char* ceiling;
    const char* cbwr;
    const char* yes;  // the predicates that answer 1, then the microarchitecture code
  } rows[] = {
      {"SSE3", "", "", "korva_true korva 8"},
      {"low-power SSSE3", "", "", "korva_true korva low_ssse3 8"},
      {"low-power SSE4.2", "", "", "korva_true korva sse41_true sse41 sse42 low_sse42 66"},
      {"low-power SSE4.2", "", "SSE4_2", "korva_true korva sse41_true sse41 sse42 64"},
      {"SSE4.2", "", "", "korva_true korva sse41_true sse41 sse42 64"},
      {"SSE4.2 with AES", "", "", "korva_true korva sse41_true sse41 sse42 66"},
      {"SSE4.2 with AES", "", "AUTO", "korva_true korva sse41_true sse41 sse42 64"},
      {"SSE4.2 with AES", "", "SSE4_1", "korva_true korva sse41_true sse41 8"},
      {"SSE4.2 with AES", "", "SSE2", "korva_true korva sse41_true 8"},
      {"AVX2", "", "COMPATIBLE", "korva_true sse41_true f16c 0"},
      {"AVX2 with MPX", "", "", "korva_true korva sse41_true sse41 sse42 mpx f16c 256"},
      {"AVX2 with MPX", "", "AVX2", "korva_true korva sse41_true sse41 sse42 f16c 256"},
      {"AVX-512", "SSE4_2", "", "korva_true korva sse41_true sse41 sse42 66"},
      {"AVX-512 VNNI", "", "", "korva_true korva sse41_true sse41 sse42 vnni f16c 1024"},
      {"AVX-512 VNNI", "", "AVX512", "korva_true korva sse41_true sse41 sse42 f16c 1024"},
      {"AVX-512 VNNI", "", "AVX512_E1", "korva_true korva sse41_true sse41 sse42 vnni f16c 1024"},
      {"AVX-512 VAES", "", "AVX2", "korva_true korva sse41_true sse41 sse42 vaes f16c 256"},
      {"AVX-512 BF16", "", "", "korva_true korva sse41_true sse41 sse42 vnni vaes bf16 f16c 1024"},
      {"AVX-512 FP16", "", "",
       "korva_true korva sse41_true sse41 sse42 vnni vaes bf16 amx avx_vnni f16c fp16 1024"},
      {"AVX-512 FP16", "AVX512_E3", "", "korva_true korva sse41_true sse41 sse42 vnni vaes bf16 f16c 1024"},
      {"AVX-512 FP16", "AVX2", "", "korva_true korva sse41_true sse41 sse42 f16c 256"},
      {"system saves no AMX tiles", "", "",
       "korva_true korva sse41_true sse41 sse42 vnni vaes bf16 avx_vnni f16c fp16 1024"},
      {"AMX-FP16", "AVX512_E5", "",
       "korva_true korva sse41_true sse41 sse42 vnni vaes bf16 amx amx_fp16 f16c fp16 1024"},
      {"hybrid without AVX-512", "", "", "korva_true korva sse41_true sse41 sse42 avx_vnni f16c 256"},
      {"another vendor, everything", "", "", "sse41_true sse41 avx_vnni f16c fp16 0"},
      {"another vendor, everything", "", "COMPATIBLE", "sse41_true avx_vnni f16c fp16 0"},
      {"other vendor, family 15H", "", "", "sse41_true sse41 bulldozer f16c 0"},
      {"other vendor, family 10H", "", "", "barcelona 0"},
      {"other vendor, family 17H", "", "", "sse41_true sse41 zen f16c 0"},
      {"other vendor, family 17H", "", "COMPATIBLE", "sse41_true f16c 0"},
  };
  for (const auto& row : rows) {
    const vex::test::RecordedProcessor& processor = recorded(row.processor);
    const bool other = std::string_view(row.processor).starts_with("other vendor");
    if (other && vex::service::vendor_string == processor.vendor) continue;  // this build's own vendor
    const vex::test::ProcessResult result = in_process_on(processor, row.ceiling, row.cbwr, [] {
      for (int round = 0; round < 2; ++round) {  // the second round gives the remembered answers
        for (const auto& [name, ask] : predicates)
          if (ask() == 1) std::printf("%s ", name);
        std::printf("%d|", vex_serv_get_microarchitecture());
      }
    });
    const std::string once = std::string(row.yes) + "|";
    EXPECT_EQ(result.output, once + once)
        << row.processor << ", '" << row.ceiling << "', '" << row.cbwr << "'";
  }
}

}  // namespace
