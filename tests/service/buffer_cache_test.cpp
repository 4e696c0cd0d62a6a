// The caching allocator: which buffer serves a request, blocks that change threads, threads that end, and
// memory that runs out.
#include "service/buffer_cache.h"

#include <barrier>
#include <cstring>
#include <random>
#include <thread>

#include "service/bank.h"
#include "service/cleanup.h"
#include "service/memory.h"
#include "service/system_allocator.h"
#include "service/thread_registry.h"
#include "tests/support/counting_allocator.h"

namespace {

using vex::test::CountingAllocator;
using vex::test::in_unused_memory;

// A block of just the size, else the smallest that is larger, else an empty slot, else the first too small.
TEST(BufferCache, WrongSlotChosen) {
  in_unused_memory([] {
    vex::service::mm_init();
    vex::service::Bank bank{};
    void* held[5] = {};
    const auto take = [&](std::size_t size, int slot) {
      const auto [block, full] = bank.take(size, 128);
      EXPECT_EQ(full, slot < 0);
      if (full) return;
      EXPECT_EQ(bank.slots[slot].address, block) << size;
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 128, 0u);
      std::memset(block, 1, size);
      held[slot] = block;
    };
    const auto give_back = [&](std::initializer_list<int> slots) {
      for (const int slot : slots) EXPECT_TRUE(bank.give_back(held[slot]));
    };
    for (int slot = 0; slot < 3; ++slot) take(std::size_t{1000} << slot, slot);
    give_back({0, 1, 2});
    for (const auto& [size, slot] : {std::pair(1500, 1), {1000, 0}, {1000, 2}, {600, 3}, {9000, 4}, {1, -1}})
      take(static_cast<std::size_t>(size), slot);
    give_back({3, 0});
    take(5000, 0);
    EXPECT_EQ(bank.capacity(), 5000u + 2000 + 4000 + 600 + 9000 + 5 * 128);
    EXPECT_FALSE(vex::service::mm_free_all_banks(bank));
    EXPECT_EQ(CountingAllocator::live(), 4);
    give_back({0, 1, 2, 4});
    EXPECT_TRUE(vex::service::mm_free_all_banks(bank));
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
}

TEST(BufferCache, SecondPairAllocatesOrPlainBlocksStayCached) {
  in_unused_memory([] {
    for (std::size_t size : {std::size_t{1}, std::size_t{1} << 22, std::size_t{0x8000000}}) {
      void* block = vex_serv_allocate(size, 128);
      vex_serv_deallocate(block);
      const long before = CountingAllocator::obtained;
      EXPECT_EQ(vex_serv_allocate(size, 128), block);
      vex_serv_deallocate(block);
      EXPECT_EQ(CountingAllocator::obtained, before);
    }
    EXPECT_EQ(CountingAllocator::advised, 2);  // the two of 2 MiB and more
    vex_serv_thread_free_buffers();
    EXPECT_EQ(vex_serv_allocate(0, 128), nullptr);
    vex_serv_deallocate(nullptr);
    vex_serv_deallocate(vex_serv_allocate(0x8000001, 128));
    EXPECT_EQ(CountingAllocator::live(), 0);
    std::vector<void*> blocks;
    for (std::size_t size = 100; size <= 700; size += 100) blocks.push_back(vex_serv_allocate(size, 128));
    std::int32_t count = 0;
    EXPECT_EQ(vex_serv_mem_stat(&count), 2800 + 7 * 128 + 2 * 24);
    EXPECT_EQ(count, 7);
    for (void* block : blocks) vex_serv_deallocate(block);
    EXPECT_EQ(CountingAllocator::live(), 5);
    vex_serv_free_buffers();
    EXPECT_EQ(vex_serv_mem_stat(&count) + count + CountingAllocator::live(), 0);
  });
}

TEST(BufferCache, SwitchIgnoredOrTooLateAccepted) {
  const auto cached = [] {
    vex_serv_deallocate(vex_serv_allocate(100, 128));
    return CountingAllocator::live() == 1;
  };
  in_unused_memory([&] {
    EXPECT_EQ(vex_serv_disable_fast_mm(), 1);
    EXPECT_FALSE(cached());
  });
  for (const std::string& value : {std::string(), std::string("0"), std::string(5000, 'x')})
    in_unused_memory([&] {
      setenv("VEX_DISABLE_FAST_MM", value.c_str(), 1);
      EXPECT_EQ(cached(), value.empty());
      EXPECT_EQ(vex_serv_disable_fast_mm(), 0);
      EXPECT_EQ(vex_serv_get_fast_mm_status(), value.empty() ? 0 : 1);
    });
}

TEST(BufferCache, CleanUpTakesBlocksInUseOrStrandsThreads) {
  for (const auto clean_up : {vex_serv_core_cleanup, vex_serv_thr_cleanup}) {
    in_unused_memory([&] {
      std::barrier meet(2);
      // Lives across the clean-up with a block of its own, and with one that it gets from the other side.
      char* passed = static_cast<char*>(vex_serv_allocate(100, 128));
      std::thread survivor([&] {
        char* kept = static_cast<char*>(vex_serv_allocate(1000, 128));
        vex_serv_deallocate(vex_serv_allocate(5000, 128));
        std::strcpy(kept, "alive");
        meet.arrive_and_wait();
        meet.arrive_and_wait();
        EXPECT_STREQ(kept, "alive");
        vex_serv_deallocate(kept);
        vex_serv_deallocate(passed);
        vex_serv_deallocate(vex_serv_allocate(300, 128));
      });
      meet.arrive_and_wait();
      EXPECT_EQ(CountingAllocator::live(), 3);
      clean_up();
      EXPECT_EQ(CountingAllocator::live(), 2);
      meet.arrive_and_wait();
      survivor.join();
      EXPECT_EQ(CountingAllocator::live(), 0);
      for (int i = 0; i < 40; ++i) {  // more often than a clean-up registry has entries
        vex_serv_deallocate(vex_serv_allocate(100, 128));
        clean_up();
      }
      EXPECT_EQ(CountingAllocator::live(), 0);
    });
  }
}

// Threads past the 1024th, all alive at once, each keeping its own buffer and giving one to its neighbour.
TEST(BufferCache, LateThreadsLoseTheirBanks) {
  constexpr int count = 1500;
  in_unused_memory([] {
    std::vector<void*> passed(count);
    std::barrier everybody(count);
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i)
      threads.emplace_back([&, i] {
        void* kept = vex_serv_allocate(200, 128);
        passed[i] = vex_serv_allocate(1000, 128);
        everybody.arrive_and_wait();
        vex_serv_deallocate(passed[(i + 1) % count]);
        vex_serv_deallocate(kept);
        if (vex_serv_allocate(200, 128) != kept) std::abort();
        everybody.arrive_and_wait();
        if (i % 100 == 0) vex_serv_free_buffers();
        everybody.arrive_and_wait();
      });
    threads.clear();
    EXPECT_EQ(vex::service::record_count(), static_cast<std::size_t>(count));
    // The blocks in use at their owner's end, and the one segment of later records.
    EXPECT_EQ(CountingAllocator::live(), count + 1);
    EXPECT_EQ(vex_serv_mem_stat(nullptr), count * 328);
  });
}

// What a caller may do, every block checked; answers how many requests came back null.
int exercise() {
  int nulls = 0;
  std::vector<void*> blocks;
  for (std::size_t size : {300, 100, 200, 600, 400, 500, 100}) {
    void* block = size % 3 == 0 ? vex_serv_malloc(size, 64) : vex_serv_allocate(size, 256);
    block ? blocks.push_back(block) : static_cast<void>(++nulls);
    if (block) std::memset(block, 1, size);
  }
  std::thread([&] {
    void* block = vex_serv_allocate(700, 64);
    block ? vex_serv_deallocate(block) : static_cast<void>(++nulls);
    for (void*& passed : blocks) {
      vex_serv_deallocate(passed);
      passed = vex_serv_allocate(800, 64);
      if (!passed) ++nulls;
    }
  }).join();
  for (void* block : blocks) vex_serv_deallocate(block);
  return nulls;
}

TEST(BufferCache, FailedAllocationLeaksOrBreaksLaterCalls) {
  in_unused_memory([] {
    int failures = 0;
    for (long n = 1;; ++n) {
      CountingAllocator::failing = n;
      const int nulls = exercise();
      const bool reached = CountingAllocator::failing == 0;
      CountingAllocator::failing = 0;
      ASSERT_EQ(nulls, reached ? 1 : 0) << n;
      ASSERT_EQ(exercise(), 0);
      vex_serv_free_buffers();
      ASSERT_EQ(CountingAllocator::live(), 0) << n;
      ASSERT_EQ(vex_serv_mem_stat(nullptr), 0);
      if (!reached) break;
      ++failures;
    }
    EXPECT_GE(failures, 14);
  });
}

// Blocks go from hand to hand through a shared tray while threads come and go and one thread walks the
// registry. A block holds its size in front and a mark that follows from it at its end.
TEST(BufferCache, WalkersAndOwnersAndEndsMeet) {
  in_unused_memory([] {
    constexpr std::size_t tray_size = 100, smallest = sizeof(std::size_t) + 1;
    static std::atomic<unsigned char*> tray[tray_size];
    const auto work = [](unsigned seed) {
      std::mt19937 random(seed);
      for (int round = 0; round < 300; ++round) {
        std::size_t size = smallest + random() % 3000;
        auto* block = static_cast<unsigned char*>(vex_serv_allocate(size, 64 << random() % 3));
        std::memcpy(block, &size, sizeof size);
        block[size - 1] = static_cast<unsigned char>(size % 251);
        block = tray[random() % tray_size].exchange(block);
        if (!block) continue;
        std::memcpy(&size, block, sizeof size);
        if (size >= smallest + 3000 || block[size - 1] != size % 251) std::abort();
        vex_serv_deallocate(block);
        if (random() % 50 == 0) vex_serv_free_buffers();
        if (random() % 20 == 0) vex_serv_thread_free_buffers();
      }
    };
    std::atomic<bool> done{false};
    std::thread walker([&] {
      while (!done) {
        if (vex_serv_mem_stat(nullptr) < 0) std::abort();
        vex_serv_free_buffers();
      }
    });
    for (unsigned generation = 0; generation < 3; ++generation) {
      std::vector<std::jthread> workers;
      for (unsigned i = 0; i < 64; ++i) workers.emplace_back(work, generation * 64 + i);
    }
    done = true;
    walker.join();
    for (auto& block : tray) vex_serv_deallocate(block);
    vex_serv_free_buffers();
    EXPECT_EQ(vex_serv_mem_stat(nullptr), 0);
    EXPECT_EQ(CountingAllocator::live(), 0);
    EXPECT_LE(vex::service::record_count(), 70u + tray_size);
  });
}

}  // namespace
