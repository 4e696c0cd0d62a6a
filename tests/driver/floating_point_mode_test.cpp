// The floating-point mode of the finished program, looked at from outside at the moment it ends.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/run_program.h"

namespace vex::test {
namespace {

[[noreturn]] void become_traced_program(const char* input) {
  dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // the leak checker traces too, and only one can
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(126);
  execl(QUARLEN_PROGRAM, "quarlen", input, nullptr);
  _exit(127);
}

// Lets the process go on until it is about to end; false when it has ended before.
bool reach_exit(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFSTOPPED(status)) return false;
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
  while (status >> 8 != (SIGTRAP | PTRACE_EVENT_EXIT << 8)) {
    const int signal = WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
    ptrace(PTRACE_CONT, child, nullptr, signal);
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return false;
  }
  return true;
}

TEST(FloatingPointMode, OfARunIsFlushToZeroAndDenormalsAreZero) {
  ScratchDirectory directory;
  const std::string input = directory.write("one.dat", "comment\nOne\n1\n50\n50\n1\n4\n");
  const pid_t child = fork();
  if (child == 0) become_traced_program(input.c_str());
  if (!reach_exit(child)) GTEST_SKIP() << "this system does not let a process trace its child";
  user_fpregs_struct registers{};
  EXPECT_EQ(ptrace(PTRACE_GETFPREGS, child, nullptr, &registers), 0);
  EXPECT_EQ(registers.mxcsr & 0x8040u, 0x8040u);
  ptrace(PTRACE_CONT, child, nullptr, nullptr);
  waitpid(child, nullptr, 0);
}

}  // namespace
}  // namespace vex::test
