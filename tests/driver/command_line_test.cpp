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
  const auto absent = [](const std::string& name) { return "Could not open file " + name; };
  EXPECT_EQ(run_in(directory, {"-h"}).output, absent("help.qrn\n"));
  const ProgramResult missing = run_in(directory, {"-e"});
  EXPECT_EQ(missing.output, absent("xhelp.qrn\n"));
  EXPECT_EQ(missing.status, 0);
  const std::string help = "short help\n100% plain\n";
  const std::string extended = std::string(600, 'x') + "\nlast line without a break";
  directory.write("help.qrn", help);
  directory.write("xhelp.qrn", extended);
  directory.write("-dash", no_tests);
  // A name of slashes up to the root and the file: it can be opened at any length.
  const std::string reachable = directory.path() + "/-dash";
  const std::string longest = std::string(255 - reachable.size(), '/') + reachable;
  const struct {
    std::vector<std::string> arguments;
    std::string output;  // how it begins
    int status;
  } cases[] = {{{"-he"}, help, 0},
               {{"-h", "-e"}, help, 0},
               {{"-e"}, extended, 0},
               {{"-extended_help"}, extended, 0},
               {{"-dash"}, "No tests\n\nCurrent date/time: ", 0},
               {{"-i", "-dash"}, "No tests\n\nCurrent date/time: ", 0},
               {{"-input_file", longest}, "No tests\n\nCurrent date/time: ", 0},
               {{"/" + longest}, absent("/" + longest) + ", aborted.\n", 255},
               {{"-i", std::string(100000, '/') + "a"}, absent("////"), 255},
               {{"-helpme"}, absent("-helpme, aborted.\n"), 255},
               {{"-extended_help!"}, absent("-extended_help!, aborted.\n"), 255},
               {{"-H"}, absent("-H, aborted.\n"), 255},
               {{"-"}, absent("-, aborted.\n"), 255},
               {{""}, absent(", aborted.\n"), 255},
               {{"-i"}, absent(", aborted.\n"), 255},
               {{"-input", "-h"}, absent("-h, aborted.\n"), 255},
               {{"none.dat", "-h"}, absent("none.dat, aborted.\n"), 255},
               {{"%s%n"}, absent("%s%n, aborted.\n"), 255}};
  for (const auto& c : cases) {
    const ProgramResult result = run_in(directory, c.arguments);
    EXPECT_TRUE(result.output.starts_with(c.output)) << c.arguments[0] << ": " << result.output;
    EXPECT_TRUE(c.status == 0 || result.output.size() <= 512u);  // the message buffer
    EXPECT_EQ(result.status, c.status) << c.arguments[0];
    EXPECT_EQ(result.errors, "") << c.arguments[0];
  }
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
    EXPECT_EQ(result.output + result.errors, std::string("Could not open file ") + name + ", aborted.\n");
    EXPECT_EQ(result.status, 255) << name;
  }
}

// A report that did not arrive is no success, whatever it would have said.
TEST(StandardOutput, ThatFailsGivesANonZeroStatusAndALineOnStandardError) {
  ScratchDirectory directory;
  directory.write("help.qrn", "text\n");
  directory.write("none.dat", no_tests);
  directory.write("one.dat", "comment\nOne\n1\n20\n20\n1\n4\n");
  for (const bool closed : {false, true})
    for (const char* argument : {"-h", "none.dat", "one.dat"}) {
      ProgramRun run{.program = QUARLEN_PROGRAM, .arguments = {argument}, .directory = directory.path()};
      run.close_output = closed;
      run.output_path = "/dev/full";
      const ProgramResult result = run_program(run);
      EXPECT_EQ(result.status, 255) << argument << " closed " << closed;
      EXPECT_NE(result.errors.find("the report could not be written"), std::string::npos) << result.errors;
    }
}

}  // namespace
}  // namespace vex::test
