// Golden runs: the built program on each input file of golden/, compared with the report written down beside
// it. NAME.out holds the report, masked, and the exit status on its last line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/driver/report_masks.h"
#include "tests/support/run_program.h"

namespace vex::test {
namespace {

const std::string golden = SOURCE_DIR "/tests/driver/golden/";

std::vector<std::string> golden_names() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(golden)) {
    if (entry.path().extension() == ".dat") names.push_back(entry.path().stem());
  }
  std::ranges::sort(names);
  return names;
}

class Report : public testing::TestWithParam<std::string> {};

std::string report_of(ProgramRun run) {
  run.program = QUARLEN_PROGRAM;
  run.directory = golden;
  run.environment = {{"OMP_NUM_THREADS", "2"}};
  // Under a sanitizer, too, a request for too much memory is to be answered with null.
  for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS"}) {
    const char* options = std::getenv(name);
    run.environment.emplace_back(name, std::string(options ? options : "") + ":allocator_may_return_null=1");
  }
  const ProgramResult result = run_program(run);
  return masked(result.output) + "[status " + std::to_string(result.status) + "]\n";
}

TEST_P(Report, IsAsWrittenDownForTheInputFile) {
  EXPECT_EQ(report_of({.program = {}, .arguments = {GetParam() + ".dat"}}),
            read_file(golden + GetParam() + ".out"));
}

INSTANTIATE_TEST_SUITE_P(Golden, Report, testing::ValuesIn(golden_names()),
                         [](const auto& instance) { return instance.param; });

TEST(ReportFromStandardInput, IsTheSameAndNamesItInMessages) {
  EXPECT_EQ(report_of({.program = {}, .arguments = {}, .input = read_file(golden + "good.dat")}),
            read_file(golden + "good.out"));
  for (const bool closed : {false, true})
    EXPECT_EQ(report_of({.program = {}, .arguments = {}, .input = "comment\n", .close_input = closed}),
              "Could not open file stdin, aborted.\n[status 255]\n");
}

// The list is a setting the runtime understands and the program does not: one thread per core is then the
// most.
TEST(ReportThreads, AreLeftAloneOnlyForANumber) {
  for (const char* variable : {"999", " 999", "999,1"}) {
    ProgramRun run{.program = QUARLEN_PROGRAM, .arguments = {"count_zero.dat"}, .directory = golden};
    run.environment = {{"OMP_NUM_THREADS", variable}};
    const std::string output = run_program(run).output;
    const auto value = [&output](const std::string& label) {
      const std::size_t at = output.find(label);
      return at == std::string::npos ? -1 : std::atoi(output.c_str() + at + label.size());
    };
    const bool is_list = std::string(variable) == "999,1";
    EXPECT_EQ(value("Number of threads: "), is_list ? value("Number of cores: ") : 999)
        << '"' << variable << '"';
  }
}

}  // namespace
}  // namespace vex::test
