// The spin lock and the counter barrier, with many more threads than any machine has processors.
#include "service/spin_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "service/barrier.h"

namespace {

constexpr int crowd = 56;

template <class Body>
void in_crowd(int threads, Body body) {
  std::vector<std::jthread> team;
  for (int t = 0; t < threads; ++t) team.emplace_back(body, t);
}

}  // namespace

TEST(SpinLock, AnUpdateUnderTheLockIsLost) {
  std::int32_t word = 0;
  long counter = 0, taken_at_once = 0;  // plain: the lock alone protects them
  in_crowd(crowd, [&](int) {
    for (int i = 0; i < 200; ++i) {
      if (vex_serv_trylock(&word))
        ++taken_at_once;
      else
        vex_serv_lock(&word);
      ++counter;
      if (i % 50 == 0) vex_serv_thread_yield();  // lose the processor while holding the lock
      vex_serv_unlock(&word);
    }
  });
  EXPECT_EQ(counter, crowd * 200);
  EXPECT_GT(taken_at_once, 0);
  EXPECT_EQ(word, 0);
}

// Each round everybody writes a cell of their own and then reads all the others': a thread released early, or
// a write that is not carried over, shows as a wrong cell (or, under the thread sanitizer, as a race).
TEST(CounterBarrier, AThreadPassesBeforeAllHaveArrived) {
  vex::service::CounterBarrier barrier;
  for (const int team : {1, 2, 5, crowd}) {  // one block serves teams of several sizes in turn
    std::vector<int> cell(static_cast<std::size_t>(team));
    std::atomic<int> wrong{0};
    in_crowd(team, [&](int t) {
      for (int round = 1; round <= 40; ++round) {
        cell[static_cast<std::size_t>(t)] = round;
        barrier.wait(team, t == round % team);
        for (const int value : cell) wrong += value != round;
        barrier.wait(team, t == (round * 7 + 3) % team);
      }
    });
    EXPECT_EQ(wrong, 0) << team;
  }
}
