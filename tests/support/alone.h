// For tests of state that the library reads once per process, in a program whose other tests may have read it
// already: runs the calling test again in a new process that runs nothing else.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/run_program.h"

namespace vex::test {

// True in the process that runs this test only: go on. False in any other: the test has been run and its
// outcome recorded, return.
inline bool alone() {
  static constexpr const char* marker = "QUARLEN_TEST_ALONE";
  if (std::getenv(marker)) return true;
  const testing::TestInfo* self = testing::UnitTest::GetInstance()->current_test_info();
  const std::string name = std::string(self->test_suite_name()) + "." + self->name();
  const ProgramResult result = run_own_test(name, {{marker, "1"}});
  EXPECT_EQ(result.status, 0) << result.output << result.errors;
  return false;
}

}  // namespace vex::test
