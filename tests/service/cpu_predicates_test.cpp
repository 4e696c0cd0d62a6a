// Every predicate on recorded processors, one process for each.
#include "service/cpu_predicates.h"

#include "tests/support/alone.h"
#include "tests/support/recorded_processor.h"

namespace {

using vex::test::in_process_on;
using vex::test::recorded;

constexpr int (*predicates[])() = {
    vex_serv_korva_cpu_true,     vex_serv_korva_cpu,     vex_serv_cpuhassse41_true,
    vex_serv_cpuhassse41,        vex_serv_cpuhassse42,   vex_serv_cpuisbulldozer,
    vex_serv_cpuisitbarcelona,   vex_serv_cpuiszen,      vex_serv_cpuislowpowersse4_2,
    vex_serv_cpuislowpowerssse3, vex_serv_cpuismpxgen,   vex_serv_cpuismanycore,
    vex_serv_cpuisvnnigen,       vex_serv_cpuisvaesgen,  vex_serv_cpuisbf16gen,
    vex_serv_cpuhasamx,          vex_serv_cpuhasamxfp16, vex_serv_cpuhasavxvnni,
    vex_serv_cpuhasf16c,         vex_serv_cpuhasfp16};
constexpr const char* names[] = {"korva_true", "korva", "sse41_true", "sse41",     "sse42",    "bulldozer",
                                 "barcelona",  "zen",   "low_sse42",  "low_ssse3", "mpx",      "many",
                                 "vnni",       "vaes",  "bf16",       "amx",       "amx_fp16", "avx_vnni",
                                 "f16c",       "fp16"};  // in their order

TEST(CpuPredicates, AProcessorIsTakenForAnother) {
  if (!vex::test::alone()) return;
#define TO_SSE42 "korva_true korva sse41_true sse41 sse42 "
  const struct {
    const char* processor;
    const char* ceiling;
    const char* cbwr;
    const char* yes;  // the predicates that answer 1, then the microarchitecture code
  } rows[] = {
      {"low-power SSSE3", "", "", "korva_true korva low_ssse3 8"},
      {"low-power SSE4.2", "", "", TO_SSE42 "low_sse42 66"},
      {"SSE4.2 with AES", "", "", TO_SSE42 "66"},
      {"SSE4.2 with AES", "", "AUTO", TO_SSE42 "64"},
      {"SSE4.2 with AES", "", "SSE4_1", "korva_true korva sse41_true sse41 8"},
      {"SSE4.2 with AES", "", "SSE2", "korva_true korva sse41_true 8"},
      {"AVX2", "", "COMPATIBLE", "korva_true sse41_true f16c 0"},
      {"AVX2 with MPX", "", "", TO_SSE42 "mpx f16c 256"},
      {"AVX-512 VNNI", "", "AVX512", TO_SSE42 "f16c 1024"},
      {"AVX-512 FP16", "", "", TO_SSE42 "vnni vaes bf16 amx avx_vnni f16c fp16 1024"},
      {"AVX-512 FP16", "AVX512_E3", "", TO_SSE42 "vnni vaes bf16 f16c 1024"},
      {"AMX-FP16", "AVX512_E5", "", TO_SSE42 "vnni vaes bf16 amx amx_fp16 f16c fp16 1024"},
      {"hybrid without AVX-512", "", "", TO_SSE42 "avx_vnni f16c 256"},
      {"another vendor, everything", "", "", "sse41_true sse41 avx_vnni f16c fp16 0"},
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
        for (std::size_t i = 0; i < std::size(names); ++i)
          if (predicates[i]() == 1) std::printf("%s ", names[i]);
        std::printf("%d|", vex_serv_get_microarchitecture());
      }
    });
    const std::string once = std::string(row.yes) + "|";
    EXPECT_EQ(result.output, once + once) << row.processor << ", " << row.ceiling << ", " << row.cbwr;
  }
}

}  // namespace
