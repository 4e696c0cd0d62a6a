// The program at a terminal: which source it takes without arguments, its questions, and their own limits.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/driver/report_masks.h"
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

std::string warning(const std::string& name, const char* value, const char* rule, const char* bound,
                    const char* taken) {
  return "Warning: incorrect parameter " + name + " (" + value + "),\nmust be not " + rule + " than (" +
         bound + "),\nset to default value (" + taken + ").\n";
}

std::string echo(const char* size, const char* dimension, const char* trials, const char* alignment) {
  return std::string("Current date/time: Www Mmm dd hh:mm:ss yyyy\n\nCPU frequency:    #.### GHz\n") +
         "Number of CPUs: #\nNumber of cores: #\nNumber of threads: #\n\nParameters are set to:\n\n" +
         "Number of tests: 1\nNumber of equations to solve (problem size) : " + size +
         "\nLeading dimension of array                  : " + dimension +
         "\nNumber of trials to run                     : " + trials +
         "\nData alignment value (in Kbytes)            : " + alignment + "\n\n";
}

const std::string banner =
    "\n=================== Timing linear equation system solver ===================\n\n"
    "Size   LDA    Align. Time(s)    GFlops   Residual     Residual(norm) Check\n";
const std::string summary = "\nPerformance Summary (GFlops)\n\nSize   LDA    Align.  Average  Maximal\n";
const std::string passed = "\nResidual checks PASSED\n\nEnd of tests\n\n";

TEST(Terminal, RunsOneTestFromAnswers) {
  ScratchDirectory directory;
  const ProgramResult result = at_terminal(directory, answering("data\n", "0x14\n", "030\n", "2\n", "0\n"));
  const std::string line = "20     24     0      #.###      #.####   #.######e### #.######e###   pass\n";
  EXPECT_EQ(masked(result.output), question + ask_size + ask_dimension + ask_trials + ask_alignment +
                                       echo("20   ", "24   ", "2    ", "0    ") +
                                       "Maximum memory requested that can be used=4320, at the size=20\n" +
                                       banner + line + line + summary +
                                       "20     24     0       #.####   #.####  \n" + passed);
  EXPECT_EQ(result.status, 0);
}

// No trial runs, so no rate is measured: the summary's zeros are the program's own.
TEST(Terminal, AppliesItsOwnLimitsAndAcceptsNoTrials) {
  ScratchDirectory directory;
  const ProgramResult result = at_terminal(directory, answering("\n", "0\n", "999\n", "0\n", "-1\n"));
  EXPECT_TRUE(
      result.output.ends_with(banner + summary + "1000   1000   4       0.0000   0.0000  \n" + passed))
      << result.output;
  const std::string beginning =
      question + ask_size + warning("Number of equations to solve (problem size)", "0", "less", "1", "1000") +
      ask_dimension + warning("Leading dimension of array", "999", "less", "1000", "1000") + ask_trials +
      ask_alignment + warning("Data alignment value (in Kbytes)", "-1", "less", "0", "4") +
      echo("1000 ", "1000 ", "0    ", "4    ");
  EXPECT_EQ(masked(result.output).substr(0, beginning.size()), beginning);
  EXPECT_EQ(result.status, 0);
}

// The bytes asked for exceed 2^64, so that their count says too little; a block of that count must not be
// used.
TEST(Terminal, RefusesAMatrixWhoseBytesWrapAround) {
  ScratchDirectory directory;
  const ProgramResult result =
      at_terminal(directory, answering("data\n", "2147483647\n", "2147483647\n", "1\n", "4\n"));
  EXPECT_TRUE(
      result.output.ends_with("Maximum memory requested that can be used=8589938676, at the size=2147483647\n"
                              "Internal error in quarlen: memory leak\n"))
      << result.output;
  EXPECT_EQ(result.status, 255);
}

TEST(Terminal, GoesOnWithDefaultsWhenInputEndsOrPrintsHelpWhenItsAnswersCannotBeSeen) {
  ScratchDirectory directory;
  directory.write("help.qrn", "the help\n");
  const std::string defaults = "1000   1000   0       0.0000   0.0000  \n" + passed;
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
