// The program at a terminal: which source it takes without arguments, its questions, and their own limits.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/driver/expected_report.h"
#include "tests/support/run_program.h"

namespace vex::test {
namespace {

const std::string question = "Input data or print help ? Type [data]/help :\n";
const std::string ask_size = "Number of equations to solve (problem size): ";
const std::string ask_dimension = "Leading dimension of array: ";
const std::string ask_trials = "Number of trials to run: ";
const std::string ask_alignment = "Data alignment value (in Kbytes): ";

// The answers to every question, in their order.
std::vector<Exchange> answering(const char* choice, const char* size, const char* dimension,
                                const char* trials, const char* alignment) {
  return {{question, choice},
          {ask_size, size},
          {ask_dimension, dimension},
          {ask_trials, trials},
          {ask_alignment, alignment}};
}

ProgramResult at_terminal(const ScratchDirectory& directory, const std::vector<Exchange>& exchanges,
                          bool output_is_terminal = true) {
  ProgramRun run{.program = QUARLEN_PROGRAM, .arguments = {}, .directory = directory.path()};
  run.output_is_terminal = output_is_terminal;
  return run_at_terminal(run, exchanges);
}

TEST(Terminal, RunsOneTestFromAnswers) {
  const ProgramResult result = at_terminal({}, answering("data\n", "0x14\n", "030\n", "2\n", "65\n"));
  EXPECT_EQ(masked(result.output), question + ask_size + ask_dimension + ask_trials + ask_alignment +
                                       warning("Data alignment value (in Kbytes)", 65, "bigger", 64, 64) +
                                       expected_report({{20}, {24}, {2}, {64}}, "69856, at the size=20"));
  EXPECT_EQ(result.status, 0);
}

// No trial runs, so no rate is measured: the summary's zeros are the program's own.
TEST(Terminal, AppliesItsOwnLimitsAndAcceptsNoTrials) {
  const ProgramResult result = at_terminal({}, answering("\n", "0\n", "999\n", "0\n", "-1\n"));
  EXPECT_EQ(masked(result.output),
            question + ask_size + warning("Number of equations to solve (problem size)", 0, "less", 1, 1000) +
                ask_dimension + warning("Leading dimension of array", 999, "less", 1000, 1000) + ask_trials +
                ask_alignment + warning("Data alignment value (in Kbytes)", -1, "less", 0, 4) +
                expected_report({{1000}, {1000}, {0}, {4}}, "8024096, at the size=1000"));
  EXPECT_NE(result.output.find("\n1000   1000   4       0.0000   0.0000  \n"), std::string::npos);
  EXPECT_EQ(result.status, 0);
}

// The bytes asked for exceed 2^64, so that their count says too little; a block of that count must not be
// used.
TEST(Terminal, RefusesAMatrixWhoseBytesWrapAround) {
  const ProgramResult result =
      at_terminal({}, answering("data\n", "2147483647\n", "2147483647\n", "1\n", "4\n"));
  EXPECT_TRUE(
      result.output.ends_with("Maximum memory requested that can be used=8589938676, at the size=2147483647\n"
                              "Internal error in quarlen: memory leak\n"))
      << result.output;
  EXPECT_EQ(result.status, 255);
}

TEST(Terminal, GoesOnWithDefaultsWhenInputEndsOrPrintsHelpWhenItsAnswersCannotBeSeen) {
  ScratchDirectory directory;
  directory.write("help.qrn", "the help\n");
  const std::string defaults =
      "1000   1000   0       0.0000   0.0000  \n\nResidual checks PASSED\n\nEnd of tests\n\n";
  const struct {
    std::vector<Exchange> exchanges;
    bool output_is_terminal;
    std::string end;
  } cases[] = {{{{question, "\x04"}}, true, defaults},
               {{{question, "data\nmany\n"}}, true, defaults},
               {{{question, "helpless\n"}}, true, question + "the help\n"},
               {{}, false, "the help\n"}};
  for (const auto& c : cases) {
    const ProgramResult result = at_terminal(directory, c.exchanges, c.output_is_terminal);
    EXPECT_TRUE(result.output.ends_with(c.end)) << result.output;
    EXPECT_EQ(result.status, 0);
  }
}

}  // namespace
}  // namespace vex::test
