// The environment reader at the edges of its buffer, and its mode.
#include "service/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr char name[] = "VEX_TEST_VALUE";

// Reads the variable into a heap block of exactly `capacity` characters, so that a sanitizer sees a step
// outside.
struct Answer {
  int length;
  std::string text;
};

Answer read(int capacity) {
  std::vector<char> buffer(static_cast<std::size_t>(capacity), 'x');
  const int length = vex_serv_getenv(name, buffer.data(), capacity);
  return {length, std::string(buffer.data())};
}

}  // namespace

TEST(Environment, AValueOverflowsItsBuffer) {
  for (const int length : {0, 1, 31, 256, 4095, 4096}) {
    const std::string value(static_cast<std::size_t>(length), 'v');
    setenv(name, value.c_str(), 1);
    const Answer roomy = read(length + 1);
    EXPECT_EQ(roomy.length, length);
    EXPECT_EQ(roomy.text, value);
    if (length == 0) continue;
    for (const int capacity : {1, length}) {
      const Answer tight = read(capacity);
      EXPECT_EQ(tight.length, -length) << capacity;
      EXPECT_EQ(tight.text, "");
    }
    EXPECT_EQ(vex_serv_getenv(name, nullptr, 0), -length);
    EXPECT_EQ(vex_serv_getenv(name, nullptr, -5), -length);
  }
  unsetenv(name);
  EXPECT_EQ(read(8).length, 0);
  EXPECT_EQ(read(8).text, "");
  char buffer[4] = "abc";
  EXPECT_EQ(vex_serv_getenv(nullptr, buffer, 4), 0);
  EXPECT_STREQ(buffer, "");
}

TEST(Environment, TheModeHidesWhatItShouldAnswer) {
  char buffer[64];
  ASSERT_EQ(vex_serv_get_envmode_variable(), 0);
  const struct {
    const char* variable;
    bool always;
  } cases[] = {{"LANG", true},
               {"VEXROOT", true},
               {"LD_LIBRARY_PATH", true},
               {"HCX_LD_LIBRARY_PATH", true},
               {"QOR_BLAS_COMPUTE_MODE", true},
               {"VEX_NUM_THREADS", false},
               {"LANGUAGE", false},
               {"LAN", false}};
  for (const auto& row : cases) {
    const char* before = std::getenv(row.variable);
    const std::string restored = before ? before : "";
    setenv(row.variable, "value", 1);
    vex_serv_set_envmode_variable(1);
    EXPECT_EQ(vex_serv_getenv(row.variable, buffer, sizeof buffer), row.always ? 5 : 0) << row.variable;
    vex_serv_set_envmode_variable(-1);
    EXPECT_EQ(vex_serv_getenv(row.variable, buffer, sizeof buffer), 5) << row.variable;
    vex_serv_set_envmode_variable(0);
    unsetenv(row.variable);
    if (before) setenv(row.variable, restored.c_str(), 1);
  }
}
