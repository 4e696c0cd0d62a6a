// The counter barrier of a team of threads.
//
// Two words that only ever grow: how many arrivals there have been, and the number of arrivals up to which
// everybody has been released. Between uses both hold the same number, and each use computes its target from
// it, so a block needs no reset, and a team of another size, or with another master, may use it next.
#pragma once

#include <atomic>
#include <cstdint>

namespace vex::service {

class CounterBarrier {
 public:
  // Returns when all `team_size` threads of the team have called. Exactly one of them is the master, and it
  // may be any. Whatever a member wrote before is visible to every member afterwards.
  void wait(std::int64_t team_size, bool is_master);

 private:
  // Waiters watch the release word while others still arrive, so the two keep to a cache line each, a pair of
  // lines apart from whatever lies beside them.
  alignas(128) std::atomic<std::int64_t> arrived_{0};
  alignas(64) std::atomic<std::int64_t> released_{0};
};

}  // namespace vex::service
