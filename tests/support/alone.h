// For tests of state that the library reads once per process, in a program whose other tests may have read it
// already: runs the calling test again in a new process that runs nothing else.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>

namespace vex::test {

// True in the process that runs this test only: go on. False in any other: the test has been run and its
// outcome recorded, return.
inline bool alone() {
  static constexpr const char* marker = "QUARLEN_TEST_ALONE";
  if (std::getenv(marker)) return true;
  const testing::TestInfo* self = testing::UnitTest::GetInstance()->current_test_info();
  const std::string filter = std::string("--gtest_filter=") + self->test_suite_name() + "." + self->name();
  char program[PATH_MAX] = "";
  if (readlink("/proc/self/exe", program, sizeof program - 1) < 0) ADD_FAILURE() << "no program to run again";
  const pid_t child = fork();
  if (child == 0) {
    setenv(marker, "1", 1);
    execl(program, program, filter.c_str(), "--gtest_brief=1", static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "see the output of the same test above";
  return false;
}

}  // namespace vex::test
