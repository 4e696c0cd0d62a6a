// The spin lock, its yield, and the 64-bit compare-and-swap. Lock words are plain integers, so that they can
// live in any zeroed memory; every access to them is atomic.
#include "service/spin_lock.h"

#include <sched.h>

#include <atomic>

extern "C" {

int vex_serv_trylock(std::int32_t* word) {
  return vex::service::try_lock(*word);
}

void vex_serv_lock(std::int32_t* word) {
  vex::service::SpinWait wait;
  while (!vex_serv_trylock(word)) wait.once();
}

void vex_serv_unlock(std::int32_t* word) {
  vex::service::unlock(*word);
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
