// Runs a piece of a test in a child process of its own, so that state which the library reads once per
// process is unread, and whatever it prints or exits with can be looked at.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "tests/support/text.h"

namespace vex::test {

struct ProcessResult {
  std::string output;  // everything written to standard output
  std::string errors;  // everything written to standard error
  int status = -1;     // exit status, or 128 + the signal that ended it
};

// Waits for the child's end.
inline int status_of(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// `body` runs in the child with standard output and standard error captured; returning from it is exit status
// 0.
inline ProcessResult in_fresh_process(const std::function<void()>& body) {
  std::FILE* captured[2] = {std::tmpfile(), std::tmpfile()};
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a body that hangs ends with the test that is given up
    dup2(fileno(captured[0]), STDOUT_FILENO);
    dup2(fileno(captured[1]), STDERR_FILENO);
    body();
    std::fflush(nullptr);
    _exit(0);
  }
  const int status = status_of(child);
  return {contents_of(captured[0]), contents_of(captured[1]), status};
}

}  // namespace vex::test
