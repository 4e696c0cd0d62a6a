// The counter barrier: arrive, then spin, then yield between checks.
#include "service/barrier.h"

#include "service/spin_lock.h"

namespace vex::service {

void CounterBarrier::wait(std::int64_t team_size, bool is_master) {
  // No release can happen before this thread has arrived, so what it reads here is the release before this
  // use: it has seen that one itself, or whoever called it into the team has.
  const std::int64_t target = released_.load(std::memory_order_relaxed) + team_size - 1;
  SpinWait wait;
  if (is_master) {
    // Pairs with the release half of the arrivals; each continues the chain of those before it, so the last
    // one seen carries them all.
    while (arrived_.load(std::memory_order_acquire) != target) wait.once();
    released_.store(target, std::memory_order_release);
  } else {
    arrived_.fetch_add(1, std::memory_order_release);
    // Pairs with the master's store. Another team may use the block again before a slow thread gets to look,
    // so the release may be past the target by then.
    while (released_.load(std::memory_order_acquire) < target) wait.once();
  }
}

}  // namespace vex::service
