// The vendor gate: strict, first, and without a way around it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "driver/vendor_gate.h"
#include "service/platform.h"
#include "service/vendor.h"
#include "tests/driver/expected_report.h"
#include "tests/support/run_program.h"

namespace vex::test {
namespace {

char vendor[13];

service::CpuidResult invented_cpuid(std::uint32_t, std::uint32_t) {
  std::uint32_t words[3];
  std::memcpy(words, vendor, sizeof words);
  return {0x16, words[0], words[2], words[1]};
}

TEST(VendorGate, OpensForTheWholeStringOnly) {
  service::Platform invented = service::real_platform;
  invented.cpuid = invented_cpuid;
  service::set_platform(&invented);
  const std::string served(service::vendor_string);
  std::memcpy(vendor, served.c_str(), 13);
  EXPECT_EQ(cpu_is_genuine_korva(), 1);
  for (std::size_t i = 0; i < served.size(); ++i) {
    std::memcpy(vendor, served.c_str(), 13);
    vendor[i] ^= 0x20;  // the other case of a letter
    EXPECT_EQ(cpu_is_genuine_korva(), 0) << vendor;
  }
  const std::string rotated = served.substr(0, 4) + served.substr(8) + served.substr(4, 4);  // EBX, ECX, EDX
  std::memcpy(vendor, rotated.c_str(), 13);
  EXPECT_EQ(cpu_is_genuine_korva(), 0);
  service::set_platform(nullptr);
}

// A build for the default vendor, linked statically so that an emulated processor of that vendor can run it.
// Its path comes from QUARLEN_STATIC_PROGRAM.
class GateOfStaticProgram : public testing::Test {
 protected:
  void SetUp() override {
    const char* path = std::getenv("QUARLEN_STATIC_PROGRAM");
    if (!path) GTEST_SKIP() << "QUARLEN_STATIC_PROGRAM names no static build of the release preset";
    program = path;
  }
  std::string program;
};

TEST_F(GateOfStaticProgram, RefusesThisMachineBeforeItReadsAnything) {
  const std::string refusal =
      "This binary version of the SMP QUARLEN benchmark is optimized for and runs on only genuine Korva "
      "processors\n";
  for (const char* argument : {"-h", "none.dat", "-i"}) {
    ScratchDirectory directory;
    directory.write("help.qrn", "help\n");
    const ProgramResult result =
        run_program({.program = program, .arguments = {argument}, .directory = directory.path()});
    EXPECT_EQ(result.output, refusal);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 255);
  }
}

// A model of processor and what the trace header says of its code path.
class GateOnEmulatedProcessor : public GateOfStaticProgram,
                                public testing::WithParamInterface<std::pair<std::string, std::string>> {};

TEST_P(GateOnEmulatedProcessor, OfTheServedVendorRunsItsPathToAPassingReport) {
  const auto& [model, path] = GetParam();
  const ScratchDirectory directory;
  const std::string trace = directory.path() + "/trace";
  ProgramRun run{.program = "/usr/bin/env",
                 .arguments = {"qemu-x86_64", "-cpu", model + ",vendor=GenuineKorva", program}};
  run.input = "comment\nEmulated\n2\n50 200\n50 200\n1 1\n4 4\n";
  run.environment = {{"OMP_NUM_THREADS", "2"}, {"VEX_VERBOSE", "1"}, {"VEX_VERBOSE_OUTPUT_FILE", trace}};
  const ProgramResult result = run_program(run);
  EXPECT_EQ(masked(result.output), "Emulated\n\n" + expected_report({{50, 200}, {50, 200}, {1, 1}, {4, 4}},
                                                                    "328096, at the size=200"))
      << result.errors;
  EXPECT_EQ(result.status, 0);
  const std::string lines = read_file(trace);
  EXPECT_NE(lines.find(" " + path + "-enabled processors, Lnx"), std::string::npos) << lines;
}

INSTANTIATE_TEST_SUITE_P(Models, GateOnEmulatedProcessor,
                         testing::Values(std::pair("core2duo", "SSE2"), std::pair("Nehalem", "SSE4.2"),
                                         std::pair("SandyBridge", "SSE4.2"), std::pair("Haswell", "AVX2")),
                         [](const auto& instance) { return instance.param.first; });

}  // namespace
}  // namespace vex::test
