// The spin lock, its yield, and the 64-bit compare-and-swap. Lock words are plain integers, so that they can
// live in any zeroed memory; every access to them is atomic.
#include "service/spin_lock.h"

#include <sched.h>

#include <atomic>

extern "C" {

int vex_serv_trylock(std::int32_t* word) {
  std::atomic_ref<std::int32_t> lock(*word);
  // Looking first keeps the waiters' copies of the cache line shared until there is something to win. The
  // look itself orders nothing.
  if (lock.load(std::memory_order_relaxed) != 0) return 0;
  std::int32_t free = 0;
  // Acquire pairs with the release in vex_serv_unlock: the new holder sees all that the last one wrote.
  return lock.compare_exchange_strong(free, 1, std::memory_order_acquire, std::memory_order_relaxed);
}

void vex_serv_lock(std::int32_t* word) {
  vex::service::SpinWait wait;
  while (!vex_serv_trylock(word)) wait.once();
}

void vex_serv_unlock(std::int32_t* word) {
  // Pairs with the acquire in vex_serv_trylock.
  std::atomic_ref<std::int32_t>(*word).store(0, std::memory_order_release);
}

void vex_serv_thread_yield() {
  sched_yield();
}

std::int64_t vex_serv_cmpxchg(std::int64_t* target, std::int64_t expected, std::int64_t desired) {
  // Callers publish through the word as well as take from it, hence both directions.
  std::atomic_ref<std::int64_t>(*target).compare_exchange_strong(expected, desired, std::memory_order_acq_rel,
                                                                 std::memory_order_acquire);
  return expected;
}
}
