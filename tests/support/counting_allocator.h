// The real machine with a system allocator that counts, and that fails where a test wants it to.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>

#include "service/platform.h"
#include "tests/support/alone.h"
#include "tests/support/fresh_process.h"

namespace vex::test {

struct CountingAllocator {
  inline static std::atomic<long> obtained{0}, released{0};
  inline static std::atomic<long> failing{0};  // the failing-th call from now on gives null; 0: none does
  inline static std::atomic<long> advised{0};

  static void* obtain(std::size_t bytes) {
    long left = failing;  // threads may count down at once
    while (left > 0 && !failing.compare_exchange_weak(left, left - 1)) continue;
    if (left == 1) return nullptr;
    if (bytes >> 40 != 0) return nullptr;  // where a sanitizer would rather end the process
    ++obtained;
    return std::malloc(bytes);
  }
  static void release(void* block) {
    ++released;
    std::free(block);
  }
  static long live() { return obtained - released; }

  // The table in force, for further changes. Blocks carry the library's own header, as when malloc is libc's.
  static service::Platform& install() {
    static service::Platform table;
    table = service::real_platform;
    table.system_malloc = obtain;
    table.system_free = release;
    table.allocator_is_libcs = [] { return true; };
    table.advise_huge_pages = [](void*, std::size_t) { ++advised; };
    service::set_platform(&table);
    return table;
  }
};

// Runs a test's body, expectations and all, in a process whose memory rooms nobody has used, and returns what
// it printed: nothing where the test does not run alone, for then it is run again as a whole.
inline std::string in_unused_memory(const std::function<void()>& body) {
  if (!alone()) return {};
  const ProcessResult result = in_fresh_process([&] {
    CountingAllocator::install();
    body();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure());
  });
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(result.errors, "");  // where a sanitizer speaks; its say at the end of the process is cut off
  return result.output;
}

}  // namespace vex::test
