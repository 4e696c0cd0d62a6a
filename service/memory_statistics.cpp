// The counters behind the peak: three numbers under one lock, looked at only while counting is on.
#include "service/memory_statistics.h"

#include <atomic>

#include "service/spin_lock.h"

namespace vex::service {
namespace {

constinit std::atomic<bool> enabled{false};

struct Statistics {
  std::int32_t lock = 0;  // innermost of the memory rooms' locks: nothing is called while it is held
  std::int64_t bytes = 0;
  std::int64_t blocks = 0;
  std::int64_t peak = 0;
};
constinit Statistics statistics;

void count(std::int64_t bytes, std::int64_t blocks) {
  // The flag orders nothing; it is looked at again under the lock.
  if (!enabled.load(std::memory_order_relaxed)) return;
  SpinGuard guard(statistics.lock);
  if (!enabled.load(std::memory_order_relaxed)) return;
  statistics.bytes += bytes;
  statistics.blocks += blocks;
  if (bytes > 0 && statistics.bytes > statistics.peak) statistics.peak = statistics.bytes;
}

}  // namespace

void count_obtained(std::size_t bytes) {
  count(static_cast<std::int64_t>(bytes), 1);
}

void count_released(std::size_t bytes) {
  count(-static_cast<std::int64_t>(bytes), -1);
}

void enable_statistics(std::int64_t bytes, std::int64_t blocks) {
  SpinGuard guard(statistics.lock);
  statistics.bytes = bytes;
  statistics.blocks = blocks;
  statistics.peak = 0;
  enabled.store(true, std::memory_order_relaxed);
}

void disable_statistics() {
  SpinGuard guard(statistics.lock);
  enabled.store(false, std::memory_order_relaxed);
}

std::int64_t peak_bytes() {
  SpinGuard guard(statistics.lock);
  return statistics.peak;
}

std::int64_t take_peak_bytes() {
  SpinGuard guard(statistics.lock);
  if (!enabled.load(std::memory_order_relaxed)) return -1;
  const std::int64_t peak = statistics.peak;
  statistics.peak = statistics.bytes;
  return peak;
}

}  // namespace vex::service
