// The random systems that the benchmark solves.
#include "driver/test_problem.h"

#include <omp.h>
#include <vex.h>

#include <algorithm>
#include <cstddef>

namespace vex::driver {
namespace {

constexpr std::int32_t limb = 4096;

struct Stream {
  std::int32_t s1, s2, s3, s4;
};

// One step in 12-bit limbs, whose products and carries stay within 32 bits.
inline double next(Stream& s) {
  constexpr std::int32_t m1 = 494, m2 = 322, m3 = 2508, m4 = 2549;
  std::int32_t i4 = s.s4 * m4;
  std::int32_t i3 = i4 / limb;
  i4 -= limb * i3;
  i3 += s.s3 * m4 + s.s4 * m3;
  std::int32_t i2 = i3 / limb;
  i3 -= limb * i2;
  i2 += s.s2 * m4 + s.s3 * m3 + s.s4 * m2;
  std::int32_t i1 = i2 / limb;
  i2 -= limb * i1;
  i1 = (i1 + s.s1 * m4 + s.s2 * m3 + s.s3 * m2 + s.s4 * m1) % limb;
  s = {i1, i2, i3, i4};
  constexpr double r = 1.0 / limb;
  return (i1 + (i2 + (i3 + i4 * r) * r) * r) * r;
}

// All columns of one stream, in increasing order, drawn from it without a break.
void fill_columns(std::int64_t stream, const ColumnDeal& deal, std::int64_t m, std::int64_t n, double* a,
                  std::int64_t lda) {
  Stream state{static_cast<std::int32_t>(stream) + 1, 2, 3, 1325};
  for (std::int64_t first = stream * deal.block; first < n; first += deal.streams * deal.block) {
    for (std::int64_t j = first; j < std::min(first + deal.block, n); ++j) {
      double* column = a + j * lda;
      for (std::int64_t i = 0; i < m; ++i) column[i] = next(state) - 0.5;
    }
  }
}

// Column by column: contiguous, and the same order of additions whatever the number of threads.
void sum_rows(std::int64_t m, std::int64_t n, const double* a, std::int64_t lda, double* b) {
  std::fill_n(b, m, 0.0);
  for (std::int64_t j = 0; j < n; ++j) {
    const double* column = a + j * lda;
    for (std::int64_t i = 0; i < m; ++i) b[i] += column[i];
  }
}

}  // namespace

ColumnDeal deal_columns(std::int64_t n, std::int64_t block, std::int64_t threads) {
  block = std::max<std::int64_t>(block, 1);
  const std::int64_t blocks = n / block + (n % block >= 1);
  return {block, std::max<std::int64_t>(std::min(blocks, threads), 1)};
}

}  // namespace vex::driver

double ran_(std::int32_t* seed) {
  vex::driver::Stream state{seed[0], seed[1], seed[2], seed[3]};
  const double value = vex::driver::next(state);
  seed[0] = state.s1;
  seed[1] = state.s2;
  seed[2] = state.s3;
  seed[3] = state.s4;
  return value;
}

void matgen_(const std::int32_t* m, const std::int32_t* n, double* a, const std::int32_t* lda, double* b) {
  using namespace vex::driver;
  const std::int32_t ispec = 1, none = -1, threads = omp_get_max_threads();
  // Dealt in the factorization's own blocks, so that each thread touches first what it is likely to work on.
  const std::int32_t block = ILAENV(&ispec, "DGETRF", " ", n, n, &threads, &none, 6, 1);
  const ColumnDeal deal = deal_columns(*n, block, threads);
  const std::int64_t rows = *m, columns = *n, stride = *lda;
#pragma omp parallel num_threads(static_cast <int>(deal.streams)) default(none) \
    firstprivate(deal, rows, columns, a, stride)
  {
    // The runtime may grant fewer threads than streams: each then fills the columns of the missing ones as
    // well.
    const std::int64_t granted = omp_get_num_threads();
    for (std::int64_t stream = omp_get_thread_num(); stream < deal.streams; stream += granted) {
      fill_columns(stream, deal, rows, columns, a, stride);
    }
  }
  sum_rows(rows, columns, a, stride, b);
}
