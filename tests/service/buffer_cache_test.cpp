// The caching allocator: which buffer serves a request, blocks that change threads, threads that end, and
// memory that runs out.
#include "service/buffer_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <cstring>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "service/bank.h"
#include "service/cleanup.h"
#include "service/memory.h"
#include "service/system_allocator.h"
#include "service/thread_registry.h"
#include "tests/support/alone.h"
#include "tests/support/counting_allocator.h"

namespace {

using vex::test::CountingAllocator;
using vex::test::in_unused_memory;

// A thread's five slots in the plainest terms.
struct PlainBank {
  struct PlainSlot {
    std::size_t capacity = 0;  // 0: empty
    bool in_use = false;
  };
  PlainSlot slots[5];

  // The slot that serves the request: the best by the first rule that any slot meets; nothing when all are in
  // use.
  std::optional<int> take(std::size_t need) {
    using Rank = std::tuple<int, std::size_t, int>;
    std::optional<Rank> best;
    for (int i = 0; i < 5; ++i) {
      const std::size_t capacity = slots[i].capacity;
      if (slots[i].in_use) continue;
      const int rule = capacity == need ? 0 : capacity > need ? 1 : capacity == 0 ? 2 : 3;
      const Rank rank{rule, rule == 1 ? capacity : 0, i};
      if (!best || rank < *best) best = rank;
    }
    if (!best) return {};
    const int chosen = std::get<2>(*best);
    slots[chosen] = {std::max(slots[chosen].capacity, need), true};
    return chosen;
  }
};

TEST(BufferCache, WrongSlotChosen) {
  if (!vex::test::alone()) return;
  in_unused_memory([] {
    vex::service::mm_init();
    std::mt19937 random(7);
    vex::service::Bank bank{};
    PlainBank model;
    std::vector<std::pair<void*, int>> held;
    for (int step = 0; step < 20000; ++step) {
      if (step % 500 == 499) {
        vex::service::mm_free_all_banks(bank);
        for (auto& slot : model.slots) {
          if (!slot.in_use) slot.capacity = 0;
        }
      }
      if (random() % 2 && !held.empty()) {
        const auto [block, slot] = held[random() % held.size()];
        std::erase(held, std::pair(block, slot));
        EXPECT_TRUE(bank.give_back(block));
        model.slots[slot].in_use = false;
        continue;
      }
      const std::size_t size = 1 + random() % 12 * 50, alignment = random() % 4 ? 64 : 128;
      const auto [block, full] = bank.take(size, alignment);
      const std::optional<int> slot = model.take(size + alignment);
      ASSERT_EQ(full, !slot.has_value());
      if (!slot) continue;
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0u);
      ASSERT_EQ(bank.slots[*slot].address, block);
      for (int i = 0; i < 5; ++i) ASSERT_EQ(bank.slots[i].capacity, model.slots[i].capacity) << i;
      std::memset(block, 1, size);
      held.push_back({block, *slot});
    }
    for (const auto& [block, slot] : held) bank.give_back(block);
    EXPECT_TRUE(vex::service::mm_free_all_banks(bank));
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
}

TEST(BufferCache, SecondPairAllocates) {
  if (!vex::test::alone()) return;
  in_unused_memory([] {
    for (std::size_t size :
         {std::size_t{1}, std::size_t{4096}, std::size_t{1} << 22, std::size_t{0x8000000}}) {
      void* block = vex_serv_allocate(size, 128);
      vex_serv_deallocate(block);
      const long before = CountingAllocator::obtained;
      EXPECT_EQ(vex_serv_allocate(size, 128), block);
      vex_serv_deallocate(block);
      EXPECT_EQ(CountingAllocator::obtained, before);
    }
    EXPECT_EQ(CountingAllocator::advised, 2);  // the two of 2 MiB and more
    vex_serv_thread_free_buffers();
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
}

TEST(BufferCache, PlainBlocksStayCached) {
  if (!vex::test::alone()) return;
  in_unused_memory([] {
    EXPECT_EQ(vex_serv_allocate(0, 128), nullptr);
    vex_serv_deallocate(nullptr);
    void* large = vex_serv_allocate(0x8000001, 128);
    EXPECT_NE(large, nullptr);
    vex_serv_deallocate(large);
    EXPECT_EQ(CountingAllocator::live(), 0);
    std::vector<void*> blocks;
    for (std::size_t size = 100; size <= 700; size += 100) blocks.push_back(vex_serv_allocate(size, 128));
    std::int32_t count = 0;
    EXPECT_EQ(vex_serv_mem_stat(&count), 2800 + 7 * 128 + 2 * 24);
    EXPECT_EQ(count, 7);
    for (void* block : blocks) vex_serv_deallocate(block);
    EXPECT_EQ(CountingAllocator::live(), 5);
    vex_serv_free_buffers();
    EXPECT_EQ(vex_serv_mem_stat(&count), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
}

TEST(BufferCache, SwitchIgnoredOrTooLateAccepted) {
  if (!vex::test::alone()) return;
  const auto cached = [] {
    vex_serv_deallocate(vex_serv_allocate(100, 128));
    return CountingAllocator::live() == 1;
  };
  in_unused_memory([&] {
    EXPECT_TRUE(cached());
    EXPECT_EQ(vex_serv_disable_fast_mm(), 0);
    EXPECT_EQ(vex_serv_get_fast_mm_status(), 0);
  });
  in_unused_memory([&] {
    EXPECT_EQ(vex_serv_disable_fast_mm(), 1);
    EXPECT_EQ(vex_serv_get_fast_mm_status(), 1);
    EXPECT_EQ(vex_serv_disable_fast_mm(), 0);
    EXPECT_FALSE(cached());
  });
  for (const std::string& value : {std::string("0"), std::string(" "), std::string(5000, 'x')}) {
    in_unused_memory([&] {
      setenv("VEX_DISABLE_FAST_MM", value.c_str(), 1);
      EXPECT_FALSE(cached());
    });
  }
  in_unused_memory([&] {
    setenv("VEX_DISABLE_FAST_MM", "", 1);
    EXPECT_TRUE(cached());
  });
}

TEST(BufferCache, BlockLostOrLeakedWhenThreadsPassItOnOrEnd) {
  if (!vex::test::alone()) return;
  in_unused_memory([] {
    void* mine = vex_serv_allocate(1000, 128);
    std::thread([&] { vex_serv_deallocate(mine); }).join();
    EXPECT_EQ(vex_serv_allocate(1000, 128), mine);
    vex_serv_deallocate(mine);
    vex_serv_thread_free_buffers();
    EXPECT_EQ(CountingAllocator::live(), 0);
    char* survivor[2];
    std::thread([&] {
      vex_serv_deallocate(vex_serv_allocate(5000, 128));  // in no use: goes with the thread
      for (char*& block : survivor) {
        block = static_cast<char*>(vex_serv_allocate(1000, 128));
        std::strcpy(block, "alive");
      }
    }).join();
    EXPECT_EQ(CountingAllocator::live(), 2);
    vex_serv_free_buffers();
    EXPECT_EQ(CountingAllocator::live(), 2);
    for (char* block : survivor) {
      EXPECT_STREQ(block, "alive");
      vex_serv_deallocate(block);
    }
    EXPECT_EQ(CountingAllocator::live(), 0);
    std::int32_t blocks;
    EXPECT_EQ(vex_serv_mem_stat(&blocks), 0);
    EXPECT_EQ(blocks, 0);
  });
}

TEST(BufferCache, CleanUpTakesBlocksInUseOrStrandsThreads) {
  if (!vex::test::alone()) return;
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
      vex_serv_deallocate(vex_serv_allocate(100, 128));
      EXPECT_EQ(CountingAllocator::live(), 1);
      std::thread([] { vex_serv_deallocate(vex_serv_allocate(300, 128)); }).join();
      EXPECT_EQ(CountingAllocator::live(), 1);
      for (int i = 0; i < 40; ++i) {  // more often than a clean-up registry has entries
        vex_serv_deallocate(vex_serv_allocate(100, 128));
        clean_up();
      }
      EXPECT_EQ(vex_serv_mem_stat(nullptr), 0);
      EXPECT_EQ(CountingAllocator::live(), 0);
    });
  }
}

// Threads past the 1024th, all alive at once, each keeping its own buffer and giving one to its neighbour.
TEST(BufferCache, LateThreadsLoseTheirBanks) {
  if (!vex::test::alone()) return;
  constexpr int count = 1500;
  in_unused_memory([] {
    std::vector<void*> passed(count);
    std::barrier everybody(count);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
      threads.emplace_back([&, i] {
        void* kept = vex_serv_allocate(200, 128);
        passed[i] = vex_serv_allocate(1000, 128);
        everybody.arrive_and_wait();
        vex_serv_deallocate(passed[(i + 1) % count]);
        vex_serv_deallocate(kept);
        if (vex_serv_allocate(200, 128) != kept) std::abort();
        everybody.arrive_and_wait();
        for (std::size_t round = 1; round <= 20; ++round) {
          void* block = vex_serv_allocate(300 * round, 128);
          std::memset(block, 1, 300 * round);
          vex_serv_deallocate(block);
          if (i % 100 == 0) vex_serv_free_buffers();
        }
        everybody.arrive_and_wait();
      });
    }
    for (std::thread& thread : threads) thread.join();
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
  if (!vex::test::alone()) return;
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
// registry.
TEST(BufferCache, WalkersAndOwnersAndEndsMeet) {
  if (!vex::test::alone()) return;
  in_unused_memory([] {
    constexpr int threads = 64, rounds = 300, tray_size = 100;
    struct Parcel {
      std::mutex lock;
      unsigned char* block = nullptr;
      std::size_t size = 0;
      unsigned char mark = 0;
    };
    static Parcel tray[tray_size];
    const auto work = [](unsigned seed) {
      std::mt19937 random(seed);
      for (int round = 0; round < rounds; ++round) {
        Parcel mine;
        mine.size = 1 + random() % 3000;
        mine.mark = static_cast<unsigned char>(random());
        mine.block = static_cast<unsigned char*>(vex_serv_allocate(mine.size, 64 << random() % 3));
        mine.block[0] = mine.block[mine.size - 1] = mine.mark;
        {
          Parcel& place = tray[random() % tray_size];
          std::lock_guard guard(place.lock);
          std::swap(mine.block, place.block);
          std::swap(mine.size, place.size);
          std::swap(mine.mark, place.mark);
        }
        if (!mine.block) continue;
        if (mine.block[0] != mine.mark || mine.block[mine.size - 1] != mine.mark) std::abort();
        vex_serv_deallocate(mine.block);
        if (random() % 50 == 0) vex_serv_free_buffers();
        if (random() % 20 == 0) vex_serv_thread_free_buffers();
      }
    };
    vex_serv_peak_mem_usage(1);
    std::atomic<bool> done{false};
    std::thread walker([&] {
      while (!done) {
        if (vex_serv_mem_stat(nullptr) < 0) std::abort();
        vex_serv_free_buffers();
      }
    });
    for (int generation = 0; generation < 3; ++generation) {
      std::vector<std::thread> workers;
      for (unsigned i = 0; i < threads; ++i) workers.emplace_back(work, generation * threads + i);
      for (std::thread& worker : workers) worker.join();
    }
    done = true;
    walker.join();
    for (Parcel& parcel : tray) vex_serv_deallocate(parcel.block);
    vex_serv_free_buffers();
    std::int32_t blocks = -1;
    EXPECT_EQ(vex_serv_mem_stat(&blocks), 0);
    EXPECT_EQ(blocks, 0);
    EXPECT_EQ(CountingAllocator::live(), 0);
    vex_serv_peak_mem_usage(-1);
    EXPECT_EQ(vex_serv_peak_mem_usage(2), 0);
    EXPECT_LE(vex::service::record_count(), 70u + tray_size);
  });
}

}  // namespace
