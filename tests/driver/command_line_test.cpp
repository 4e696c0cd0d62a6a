// Options, file names, help files and standard streams, from outside.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/run_program.h"

namespace vex::test {
namespace {

ProgramResult run_in(const ScratchDirectory& directory, std::vector<std::string> arguments) {
  return run_program(
      {.program = QUARLEN_PROGRAM, .arguments = std::move(arguments), .directory = directory.path()});
}

const std::string no_tests = "comment\nNo tests\n0\n";  // a run that is over at once

TEST(CommandLine, SelectsHelpOrAFileByPrefix) {
  ScratchDirectory directory;
  directory.write("help.qrn", "short help\n100% plain\n");
  directory.write("xhelp.qrn", std::string(600, 'x') + "\nlast line without a break");
  const std::string help = read_file(directory.path() + "/help.qrn");
  const std::string extended = read_file(directory.path() + "/xhelp.qrn");
  const auto absent = [](const std::string& name) { return "Could not open file " + name + ", aborted.\n"; };
  struct Case {
    std::vector<std::string> arguments;
    std::string output;
    int status;
  };
  const Case cases[] = {
      {{"-h"}, help, 0},
      {{"-he"}, help, 0},
      {{"-help"}, help, 0},
      {{"-h", "-e"}, help, 0},
      {{"-e"}, extended, 0},
      {{"-extended_help"}, extended, 0},
      {{"-helpme"}, absent("-helpme"), 255},
      {{"-extended_help!"}, absent("-extended_help!"), 255},
      {{"-H"}, absent("-H"), 255},
      {{"-"}, absent("-"), 255},
      {{""}, absent(""), 255},
      {{"-i"}, absent(""), 255},
      {{"-input", "-h"}, absent("-h"), 255},
      {{"-input_files", "-h"}, absent("-input_files"), 255},
      {{"none.dat", "-h"}, absent("none.dat"), 255},
      {{"%s%n"}, absent("%s%n"), 255},
  };
  for (const Case& c : cases) {
    const ProgramResult result = run_in(directory, c.arguments);
    EXPECT_EQ(result.output, c.output) << c.arguments[0];
    EXPECT_EQ(result.status, c.status) << c.arguments[0];
    EXPECT_EQ(result.errors, "") << c.arguments[0];
  }
}

TEST(CommandLine, ReadsTheFileNamedEitherWay) {
  ScratchDirectory directory;
  directory.write("-dash", no_tests);
  directory.write("-", no_tests);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"-dash"}, {"-"}, {"-i", "-dash"}, {"-input_file", "-"}}) {
    const ProgramResult result = run_in(directory, arguments);
    EXPECT_TRUE(result.output.starts_with("No tests\n\nCurrent date/time: ")) << result.output;
    EXPECT_EQ(result.status, 0);
  }
}

TEST(CommandLine, RefusesANameOf256CharactersAndSurvivesLongerOnes) {
  ScratchDirectory directory;
  directory.write("a", no_tests);
  const auto padded = [](std::size_t length) { return std::string(length - 1, '/') + "a"; };
  // A name of slashes up to the root and the file: it can be opened at any length.
  const std::string reachable = directory.path() + "/a";
  EXPECT_EQ(run_in(directory, {std::string(255 - reachable.size(), '/') + reachable}).status, 0);
  const std::string refused = std::string(256 - reachable.size(), '/') + reachable;
  const ProgramResult at_limit = run_in(directory, {refused});
  EXPECT_EQ(at_limit.status, 255);
  EXPECT_EQ(at_limit.output, "Could not open file " + refused + ", aborted.\n");
  const ProgramResult beyond = run_in(directory, {"-i", padded(100000)});
  EXPECT_EQ(beyond.status, 255);
  EXPECT_TRUE(beyond.output.starts_with("Could not open file ////")) << beyond.output;
  EXPECT_LE(beyond.output.size(), 512u);  // the message buffer, with the line break for its terminator
}

TEST(CommandLine, SaysWhichHelpFileIsMissingWithoutFailing) {
  ScratchDirectory directory;
  EXPECT_EQ(run_in(directory, {"-h"}).output, "Could not open file help.qrn\n");
  const ProgramResult result = run_in(directory, {"-e"});
  EXPECT_EQ(result.output, "Could not open file xhelp.qrn\n");
  EXPECT_EQ(result.status, 0);
}

TEST(CommandLine, TurnsDownWhatIsNoInputFile) {
  ScratchDirectory directory;
  directory.write("zeros", "");
  ASSERT_EQ(truncate((directory.path() + "/zeros").c_str(), 1 << 30),
            0);  // sparse: one line of 1 GB, no break
  directory.write("ones", std::string(100000, '1'));
  directory.write("random", std::string("\x7f\0\xff\n\x01\0\n\0\0\x80%n%s\n", 15));
  for (const char* name : {".", "zeros", "ones", "random", "/dev/null"}) {
    const ProgramResult result = run_in(directory, {name});
    EXPECT_EQ(result.output, std::string("Could not open file ") + name + ", aborted.\n");
    EXPECT_EQ(result.status, 255) << name;
    EXPECT_EQ(result.errors, "") << name;
  }
}

// A report that did not arrive is no success, whatever it would have said.
TEST(StandardOutput, ThatFailsGivesANonZeroStatusAndALineOnStandardError) {
  ScratchDirectory directory;
  directory.write("help.qrn", "text\n");
  directory.write("none.dat", no_tests);
  directory.write("one.dat", "comment\nOne\n1\n20\n20\n1\n4\n");
  for (const bool closed : {false, true}) {
    for (const char* argument : {"-h", "none.dat", "one.dat"}) {
      ProgramRun run{.program = QUARLEN_PROGRAM, .arguments = {argument}, .directory = directory.path()};
      run.close_output = closed;
      run.output_path = "/dev/full";
      const ProgramResult result = run_program(run);
      EXPECT_EQ(result.status, 255) << argument << " closed " << closed;
      EXPECT_NE(result.errors.find("the report could not be written"), std::string::npos) << result.errors;
    }
  }
}

}  // namespace
}  // namespace vex::test
