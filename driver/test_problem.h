// The random systems that the benchmark solves: A from per-thread random streams, b the sums of A's rows, so
// that the solution is close to all ones.
#pragma once

#include <cstdint>

extern "C" {

// Advances the four 12-bit limbs of `seed` (most significant first; the last one odd) by one step of the
// multiplicative congruential generator modulo 2^48 with multiplier 33952834046453, and returns the new state
// divided by 2^48: a value in [0, 1).
double ran_(std::int32_t* seed);

// Fills A (m by n, column-major, leading dimension lda) with values in [-0.5, 0.5) and b(1..m) with its row
// sums. Two calls with the same arguments and the same maximal OpenMP thread count give the same bits.
void matgen_(const std::int32_t* m, const std::int32_t* n, double* a, const std::int32_t* lda, double* b);
}

namespace vex::driver {

// Which columns belong to whom: blocks of `block` columns are dealt to `streams` random streams in turn. The
// stream of thread number t, counted from 0, starts from the limbs (t + 1, 2, 3, 1325).
struct ColumnDeal {
  std::int64_t block;
  std::int64_t streams;
};

// The deal for n columns when ILAENV answers `block` and `threads` threads may run.
ColumnDeal deal_columns(std::int64_t n, std::int64_t block, std::int64_t threads);

}  // namespace vex::driver
