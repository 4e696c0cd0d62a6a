// Runs a program from outside, as a user would.
#include "tests/support/run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/text.h"

namespace vex::test {
namespace {

// In the child: takes on the environment and the directory of the run and becomes the program.
[[noreturn]] void become(const ProgramRun& run) {
  for (const auto& [name, value] : run.environment) {
    value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
  }
  if (!run.directory.empty() && chdir(run.directory.c_str()) != 0) _exit(126);
  std::vector<char*> arguments{const_cast<char*>("quarlen")};
  for (const std::string& argument : run.arguments) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  alarm(240);  // survives the exec: a program that hangs is ended by SIGALRM
  execv(run.program.c_str(), arguments.data());
  _exit(127);
}

void redirect_output(const ProgramRun& run) {
  if (!run.output_path.empty()) dup2(open(run.output_path.c_str(), O_WRONLY), STDOUT_FILENO);
  if (run.close_output) close(STDOUT_FILENO);
}

// Reads what the terminal's other end has written until it ends with `prompt`; false when the program has
// gone.
bool read_until(int terminal, const std::string& prompt, std::string& text) {
  const std::size_t before = text.size();
  for (char buffer[4096];;) {
    if (!prompt.empty() && text.size() >= before + prompt.size() && text.ends_with(prompt)) return true;
    const ssize_t got = read(terminal, buffer, sizeof buffer);
    if (got <= 0) return false;
    text.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace

ProgramResult run_program(const ProgramRun& run) {
  std::FILE* input = stream_of(run.input);
  const ProgramResult result = in_fresh_process([&] {
    dup2(fileno(input), STDIN_FILENO);
    if (run.close_input) close(STDIN_FILENO);
    redirect_output(run);
    become(run);
  });
  std::fclose(input);
  return result;
}

ProgramResult run_at_terminal(const ProgramRun& run, const std::vector<Exchange>& exchanges) {
  std::FILE *output = std::tmpfile(), *errors = std::tmpfile();
  termios settings{};
  settings.c_lflag = ICANON;
  settings.c_cc[VEOF] = 4;
  std::fflush(nullptr);
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, &settings, nullptr);
  if (child == 0) {
    if (!run.output_is_terminal) dup2(fileno(output), STDOUT_FILENO);
    dup2(fileno(errors), STDERR_FILENO);
    become(run);
  }
  ProgramResult result;
  bool alive = true;
  for (const Exchange& exchange : exchanges) {
    alive = alive && read_until(terminal, exchange.prompt, result.output);
    if (alive && write(terminal, exchange.answer.data(), exchange.answer.size()) < 0) alive = false;
  }
  read_until(terminal, "", result.output);
  result.status = status_of(child);
  close(terminal);
  result.output += contents_of(output);
  result.errors = contents_of(errors);
  return result;
}

ProgramResult run_own_test(const std::string& test,
                           std::vector<std::pair<std::string, std::optional<std::string>>> environment) {
  // Neither the shard nor the report file of the calling process is the child's.
  for (const char* name : {"GTEST_TOTAL_SHARDS", "GTEST_SHARD_INDEX", "GTEST_OUTPUT"}) {
    environment.emplace_back(name, std::nullopt);
  }
  return run_program({.program = "/proc/self/exe",
                      .arguments = {"--gtest_also_run_disabled_tests", "--gtest_filter=" + test},
                      .environment = std::move(environment)});
}

ScratchDirectory::ScratchDirectory() {
  std::string pattern = std::filesystem::temp_directory_path() / "quarlen-test-XXXXXX";
  path_ = mkdtemp(pattern.data());
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ScratchDirectory::write(const std::string& name, const std::string& text) const {
  std::string file = path_ + "/" + name;
  std::ofstream(file, std::ios::binary) << text;
  return file;
}

std::string read_file(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace vex::test
