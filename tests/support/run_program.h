// Runs a program from outside, as a user would: arguments, environment, standard streams, a terminal.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/fresh_process.h"

namespace vex::test {

struct ProgramRun {
  std::string program;                 // path of the executable
  std::vector<std::string> arguments;  // without the program's own name, which is always "quarlen"
  std::string directory = {};          // to start in; empty: the test's own
  // Variables changed for the child; no value removes one.
  std::vector<std::pair<std::string, std::optional<std::string>>> environment = {};
  std::string input = {};          // what standard input holds
  bool close_input = false;        // start without a standard input
  std::string output_path = {};    // standard output goes here instead of being captured
  bool close_output = false;       // start without a standard output
  bool output_is_terminal = true;  // run_at_terminal only
};

using ProgramResult = ProcessResult;

ProgramResult run_program(const ProgramRun& run);

// A conversation at a pseudo-terminal: waits until what was written since the last answer ends with `prompt`,
// then types `answer`. The terminal neither echoes nor translates line ends.
struct Exchange {
  std::string prompt;
  std::string answer;
};
ProgramResult run_at_terminal(const ProgramRun& run, const std::vector<Exchange>& exchanges);

// Runs one test of the calling test program, disabled or not, in a process started anew under another
// environment.
ProgramResult run_own_test(const std::string& test,
                           std::vector<std::pair<std::string, std::optional<std::string>>> environment);

// A new empty directory of the test's own, removed with its contents at the end.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  // Writes a file into it and returns its path.
  std::string write(const std::string& name, const std::string& text) const;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string read_file(const std::string& path);

}  // namespace vex::test
