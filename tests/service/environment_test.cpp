// The environment reader at the edges of its buffer.
#include "service/environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

TEST(Environment, AValueOverflowsItsBuffer) {
  constexpr char name[] = "VEX_TEST_VALUE";
  for (const int length : {0, 1, 31, 4095, 4096}) {
    const std::string value(static_cast<std::size_t>(length), 'v');
    setenv(name, value.c_str(), 1);
    for (const int capacity : {1, length, length + 1}) {
      if (capacity == 0) continue;
      const bool fits = length < capacity;
      // A heap block of exactly its capacity, so that a sanitizer sees a step outside.
      std::vector<char> buffer(static_cast<std::size_t>(capacity), 'x');
      EXPECT_EQ(vex_serv_getenv(name, buffer.data(), capacity), fits ? length : -length) << capacity;
      EXPECT_EQ(buffer.data(), fits ? value : "");
    }
    EXPECT_EQ(vex_serv_getenv(name, nullptr, -5), -length);
  }
}
