// A program with an allocator of its own, which counts: it must be used as it is, and not at all for a buffer
// that the cache holds.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>

#include "service/buffer_cache.h"
#include "service/memory.h"
#include "service/platform.h"

extern "C" {
void* __libc_malloc(std::size_t bytes);
void __libc_free(void* block);
}

namespace {

std::atomic<long> calls;
std::atomic<void*> newest_block;
std::atomic<std::size_t> newest_size;

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(std::size_t bytes) {
  ++calls;
  void* block = __libc_malloc(bytes);
  newest_block = block;
  newest_size = bytes;
  return block;
}

__attribute__((visibility("default"))) void free(void* block) {
  ++calls;
  __libc_free(block);
}
}

namespace {

TEST(ReplacedMalloc, WrappedOrPassedBy) {
  EXPECT_FALSE(vex::service::real_platform.allocator_is_libcs());
  void* block = vex_serv_malloc(1000, 64);
  void* system_block;
  std::memcpy(&system_block, static_cast<char*>(block) - 24, sizeof system_block);
  EXPECT_EQ(newest_size, 1000u + 64 + 24);
  EXPECT_EQ(newest_block, system_block);
  vex_serv_free(block);
}

TEST(ReplacedMalloc, CalledForABufferThatIsCached) {
  for (std::size_t size = 1; size <= std::size_t{128} << 20; size *= 8) {
    vex_serv_deallocate(vex_serv_allocate(size, 64));
    const long before = calls;
    vex_serv_deallocate(vex_serv_allocate(size, 64));
    EXPECT_EQ(calls, before) << size;
  }
}

}  // namespace
