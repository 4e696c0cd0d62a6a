// The library's one lock: a 32-bit word, 0 free and 1 held.
#pragma once

#include <atomic>
#include <cstdint>

extern "C" {

void vex_serv_lock(std::int32_t* word);
int vex_serv_trylock(std::int32_t* word);  // 1 when taken
void vex_serv_unlock(std::int32_t* word);
void vex_serv_thread_yield();
// Compare-and-swap; returns the previous value.
std::int64_t vex_serv_cmpxchg(std::int64_t* target, std::int64_t expected, std::int64_t desired);
}

namespace vex::service {

// The two below in line, for where a call would be felt.

inline bool try_lock(std::int32_t& word) {
  std::atomic_ref<std::int32_t> lock(word);
  // Looking first keeps the waiters' copies of the cache line shared until there is something to win. The
  // look itself orders nothing.
  if (lock.load(std::memory_order_relaxed) != 0) return false;
  std::int32_t free = 0;
  // Acquire pairs with the release in unlock: the new holder sees all that the last one wrote.
  return lock.compare_exchange_strong(free, 1, std::memory_order_acquire, std::memory_order_relaxed);
}

inline void unlock(std::int32_t& word) {
  // Pairs with the acquire in try_lock.
  std::atomic_ref<std::int32_t>(word).store(0, std::memory_order_release);
}

// How every wait inside the library passes its time: the first 5000 failed checks follow each other at once,
// and before each further one the processor is offered to somebody else, so that a machine with many more
// threads than processors still gets on.
class SpinWait {
 public:
  void once() {
    if (failed_ < spins_before_yield) {
      ++failed_;
    } else {
      vex_serv_thread_yield();
      ++yields_;
    }
  }
  std::int64_t yields() const { return yields_; }

 private:
  static constexpr int spins_before_yield = 5000;
  int failed_ = 0;
  std::int64_t yields_ = 0;
};

// Holds a lock word for the length of a scope.
class SpinGuard {
 public:
  explicit SpinGuard(std::int32_t& word) : word_(&word) { vex_serv_lock(word_); }
  ~SpinGuard() { vex_serv_unlock(word_); }
  SpinGuard(const SpinGuard&) = delete;
  SpinGuard& operator=(const SpinGuard&) = delete;

 private:
  std::int32_t* word_;
};

}  // namespace vex::service
