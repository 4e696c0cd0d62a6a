// The environment reader at the edges of its buffer.
#include "service/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

TEST(Environment, AValueOverflowsItsBuffer) {
  constexpr char name[] = "VEX_TEST_VALUE";
  // Into a heap block of exactly its capacity, so that a sanitizer sees a step outside.
  const auto expect_read = [&](int capacity, int length, const std::string& text) {
    std::vector<char> buffer(static_cast<std::size_t>(capacity), 'x');
    EXPECT_EQ(vex_serv_getenv(name, buffer.data(), capacity), length) << capacity;
    EXPECT_EQ(buffer.data(), text);
  };
  for (const int length : {0, 1, 31, 4095, 4096}) {
    const std::string value(static_cast<std::size_t>(length), 'v');
    setenv(name, value.c_str(), 1);
    expect_read(length + 1, length, value);
    if (length == 0) continue;
    expect_read(1, -length, "");
    expect_read(length, -length, "");
    EXPECT_EQ(vex_serv_getenv(name, nullptr, 0), -length);
    EXPECT_EQ(vex_serv_getenv(name, nullptr, -5), -length);
  }
  unsetenv(name);
  expect_read(8, 0, "");
}
