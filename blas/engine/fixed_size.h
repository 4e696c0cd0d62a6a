// The product whose m and k are both 6, neither operand transposed: op(A) stays in registers while the
// columns of B and C pass by.
#pragma once

#include "blas/engine/nocopy_tile.h"

namespace vex::blas::engine {

inline constexpr vex_int fixed_extent = 6;

// C := beta C + alpha A B; alpha and beta are any numbers, and C is not read when `store`. An element sees
// the operations of the other ways: each value of B times alpha, products added over k from zero, C times
// beta.
template <typename P, bool store>
[[gnu::always_inline]] inline void multiply_fixed(vex_int n, double alpha, const double* a, vex_int lda,
                                                  const double* b, vex_int ldb, double beta, double* c,
                                                  vex_int ldc) {
  using V = typename P::Vector;
  constexpr int w = P::width, k = static_cast<int>(fixed_extent), vectors = (k + w - 1) / w;
  const auto lanes = P::first_lanes(k - (vectors - 1) * w);
  const V times = P::splat(alpha), factor = P::splat(beta);
  V values[k][vectors];
#pragma GCC unroll 6
  for (int p = 0; p < k; ++p)
#pragma GCC unroll 2
    for (int i = 0; i < vectors; ++i)
      values[p][i] = i == vectors - 1 ? P::load(lanes, a + p * lda + i * w) : P::load(a + p * lda + i * w);
  for (vex_int j = 0; j < n; ++j, b += ldb, c += ldc) {
    V sum[vectors];
#pragma GCC unroll 2
    for (int i = 0; i < vectors; ++i) sum[i] = P::zero();
#pragma GCC unroll 6
    for (int p = 0; p < k; ++p) {
      const V value = P::multiply(P::broadcast(b + p), times);
#pragma GCC unroll 2
      for (int i = 0; i < vectors; ++i) sum[i] = P::multiply_add(values[p][i], value, sum[i]);
    }
#pragma GCC unroll 2
    for (int i = 0; i < vectors; ++i) {
      double* const target = c + i * w;
      if (i == vectors - 1)
        P::store(lanes, target, store ? sum[i] : P::add(P::multiply(P::load(lanes, target), factor), sum[i]));
      else
        P::store(target, store ? sum[i] : P::add(P::multiply(P::load(target), factor), sum[i]));
    }
  }
}

}  // namespace vex::blas::engine
