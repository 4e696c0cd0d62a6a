// Plain blocks: what lies below them, their alignment, and what happens when the system has no more.
#include "service/memory.h"

#include <cstdint>
#include <cstring>

#include "service/alignment.h"
#include "service/executable_pages.h"
#include "service/huge_pages.h"
#include "tests/support/counting_allocator.h"

namespace {

using vex::test::CountingAllocator;
using vex::test::in_unused_memory;

TEST(Memory, BlockMisalignedOutsideItsSystemBlockOrHeaderWrong) {
  using Sizes = std::pair<std::size_t, std::size_t>;
  for (const auto& [asked, alignment] : {Sizes(0, 64), {48, 64}, {100, 64}, {128, 128}, {1 << 21, 1 << 21}})
    for (std::size_t size : {0, 1, 63, 64, 100000}) {
      auto* block = static_cast<unsigned char*>(vex_serv_malloc(size, asked));
      const auto address = reinterpret_cast<std::uintptr_t>(block);
      struct {
        std::uintptr_t system_block;
        std::uint64_t total;
        std::uint32_t alignment;
      } header;
      std::memcpy(&header, block - 24, sizeof header);
      EXPECT_EQ(header.alignment, alignment);
      EXPECT_EQ(header.total, size + alignment + 24);
      EXPECT_EQ(address, (header.system_block + alignment + 24) & ~(alignment - 1));
      std::memset(block, 0xA5, size);
      vex_serv_free(block);
    }
}

TEST(Memory, OverflowingSizesServed) {
  in_unused_memory([] {
    for (std::size_t size : {SIZE_MAX, SIZE_MAX - 87, SIZE_MAX - 1000, SIZE_MAX / 2})
      EXPECT_EQ(vex_serv_malloc(size, 64), nullptr) << size;
    EXPECT_EQ(vex_serv_malloc(1, std::size_t{1} << 63), nullptr);
    EXPECT_EQ(vex_serv_calloc(std::size_t{1} << 33, std::size_t{1} << 31, 64), nullptr);
  });
}

TEST(Memory, CallocDirtyOrReallocLosesContents) {
  void* dirty = vex_serv_malloc(1000, 64);
  std::memset(dirty, 0xFF, 1000);
  vex_serv_free(dirty);
  auto* block = static_cast<unsigned char*>(vex_serv_calloc(10, 100, 4096));
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(block[i], 0);
  for (int i = 0; i < 1000; ++i) block[i] = static_cast<unsigned char>(i % 251);
  std::size_t kept = 1000;
  for (std::size_t size : {5000, 700, 700, 3000, 1, 9000, 0}) {
    block = static_cast<unsigned char*>(vex_serv_realloc(block, size));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 4096, 0u);
    kept = std::min(kept, size);
    for (std::size_t i = 0; i < kept; ++i) ASSERT_EQ(block[i], i % 251);
    std::memset(block + kept, 0, size - kept);
  }
  vex_serv_free(block);
}

TEST(Memory, StatisticsDriftOrPeakForgotten) {
  in_unused_memory([] {
    EXPECT_EQ(vex_serv_peak_mem_usage(-1), -1);
    void* before = vex_serv_malloc(1000, 64);  // 1088 bytes with its alignment and header
    vex_serv_peak_mem_usage(1);
    EXPECT_EQ(vex_serv_peak_mem_usage(2), 0);
    void* block = vex_serv_malloc(2000, 64);
    EXPECT_EQ(vex_serv_peak_mem_usage(2), 1088 + 2088);
    vex_serv_free(before);
    EXPECT_EQ(vex_serv_peak_mem_usage(-1), 1088 + 2088);
    EXPECT_EQ(vex_serv_peak_mem_usage(2), 2088);
    vex_serv_peak_mem_usage(0);
    vex_serv_free(block);
    EXPECT_EQ(vex_serv_peak_mem_usage(-1), -1);
    EXPECT_EQ(vex_serv_mem_stat(nullptr), 0);
  });
}

TEST(Memory, HugePageAdviceOutsideTheBlock) {
  static char* advised;
  static std::ptrdiff_t bytes;
  vex::service::Platform table = vex::service::real_platform;
  table.advise_huge_pages = [](void* start, std::size_t length) {
    advised = static_cast<char*>(start);
    bytes = static_cast<std::ptrdiff_t>(length);
  };
  vex::service::set_platform(&table);
  constexpr std::ptrdiff_t page = 1 << 21;
  static char arena[6 * page];
  char* base = vex::service::align_up(arena, page);
  // Start and size of the block, and of what is advised.
  const std::ptrdiff_t cases[][4] = {{0, page, 0, page},
                                     {0, page - 1, 0, 0},
                                     {1, 2 * page - 2, 0, 0},
                                     {1, 2 * page - 1, page, page},
                                     {64, 4 * page, page, 3 * page}};
  for (const auto& [start, size, first, length] : cases) {
    advised = base, bytes = 0;
    vex::service::advise_huge_pages(base + start, static_cast<std::size_t>(size));
    EXPECT_EQ(bytes, length);
    EXPECT_EQ(advised - base, first);
  }
  vex::service::set_platform(nullptr);
}

TEST(ExecutablePages, WritableOrNotExecutable) {
  const unsigned char code[] = {0xB8, 42, 0, 0, 0, 0xC3};  // mov eax, 42; ret
  void* pages = vex_serv_jit_alloc(sizeof code);
  const auto call = [&] { return reinterpret_cast<int (*)()>(pages)(); };
  std::memcpy(pages, code, sizeof code);
  EXPECT_NE(vex::test::in_fresh_process(call).status, 0);
  EXPECT_EQ(vex_serv_jit_set_exec(pages, sizeof code), 0);
  EXPECT_EQ(call(), 42);
  EXPECT_NE(vex::test::in_fresh_process([&] { std::memset(pages, 0, 1); }).status, 0);
  vex_serv_jit_free(pages, sizeof code);
}

}  // namespace
