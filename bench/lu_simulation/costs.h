// What the parts of a factorization cost on a machine of many threads, in nanoseconds. One thread's kernels
// are measured; what threads cost each other is reckoned from two figures of the machine.
#pragma once

#include <cstddef>

#include "service/types.h"

namespace vex::bench {

// The terms that each kernel's time is a sum of, with one measured coefficient per term. The first is the
// arithmetic; the others are the operands' passage through the caches, packing, and the call.
inline constexpr std::size_t multiply_terms =
    5;                                         // m n k, m n, m k, k n, 1     C (m x n) -= A (m x k) B (k x n)
inline constexpr std::size_t solve_terms = 4;  // k k n, k n, k k, 1          k x k triangle, n columns
inline constexpr std::size_t panel_terms = 5;  // m w w, m w, w w w, w w, w   m x w panel
inline constexpr std::size_t swap_terms = 2;   // pivots x columns, columns

struct KernelCosts {
  const char* path;
  double multiply[multiply_terms];
  double solve[solve_terms];
  double panel[panel_terms];
  double swap_in_cache[swap_terms], swap_in_memory[swap_terms];
};

// The measured table of a path: avx512, avx2, avx, avx512_hcx. Null for any other name.
const KernelCosts* measured_costs(const char* path);

struct Machine {
  KernelCosts kernels;
  double latency = 100;      // a cache line's way from one core's cache into another's
  double bandwidth = 0;      // bytes per nanosecond from memory, all threads together
  double multiply_rate = 1;  // how much faster the arithmetic is than in the table
};

// Six memory channels of 23 GB/s for 28 cores; a machine of few cores has the bandwidth of a socket of its
// own.
inline double usual_bandwidth(vex_int threads) {
  return threads < 8 ? 40 : 5.0 * static_cast<double>(threads);
}

// What one member of a team spends on an update, in nanoseconds. `memory` is what it waits in addition
// because the operands cannot come faster while all threads ask for theirs.
struct UpdateCosts {
  double interchange, solve, multiply, memory;
};

// Everything below is nanoseconds. `team` threads share the work evenly, in the granules in which the
// factorization shares it; the member with the largest share counts.
class Costs {
 public:
  Costs(const Machine& machine, vex_int order, vex_int threads)
      : machine_(machine),
        order_(order),
        threads_(threads),
        bandwidth_(machine.bandwidth / static_cast<double>(threads)) {}

  // Panel of `pivots` columns, whose diagonal block begins `rows` above the bottom, applied to `columns`.
  UpdateCosts update(vex_int rows, vex_int pivots, vex_int columns, vex_int team) const;
  double panel(vex_int rows, vex_int width, vex_int team) const;
  // The interchanges of the last `pivots` rows on `columns` columns on the left, by one of all threads.
  double interchange_left(vex_int pivots, vex_int columns) const;
  // All `team` threads meet once.
  double meeting(vex_int team) const { return team > 1 ? machine_.latency * static_cast<double>(team) : 0; }
  // One search for a team among `groups`, of which `found` are gathered; searches follow each other.
  double search(vex_int groups, vex_int found) const;
  // Starting a region of `threads`, and ending it.
  double region(vex_int threads) const { return 2000 + machine_.latency * static_cast<double>(threads); }
  // The whole factorization by one thread, the sequential way with blocks of `width` columns.
  double sequential(vex_int width) const;

 private:
  // The part of a trailing matrix of that many rows and columns that has left the caches when it is next
  // used.
  double missing(vex_int rows) const;
  double interchange(vex_int rows, vex_int pivots, double columns) const;
  double interchange_bytes(vex_int rows, vex_int pivots, double columns) const;
  double solve(vex_int pivots, double columns) const;
  double multiply(double rows, double columns, vex_int inner) const;

  Machine machine_;
  vex_int order_, threads_;
  double bandwidth_;  // one thread's share
};

}  // namespace vex::bench
