// Scaling of a block of C.
#pragma once

#include "blas/engine/kernel_table.h"

namespace vex::blas::engine {

// Scales an m x n block of C by beta; zero stores zeros and reads nothing.
template <typename P>
void scale_block(vex_int m, vex_int n, double beta, double* c, vex_int ldc) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  if (beta == 1) return;
  const V factor = P::splat(beta);
  const int rest = static_cast<int>(m % w);
  const auto lanes = P::first_lanes(rest);
  for (vex_int j = 0; j < n; ++j, c += ldc) {
    vex_int i = 0;
    if (beta == 0) {
      for (; i + w <= m; i += w) P::store(c + i, P::zero());
      if (rest) P::store(lanes, c + i, P::zero());
    } else {
      for (; i + w <= m; i += w) P::store(c + i, P::multiply(P::load(c + i), factor));
      if (rest) P::store(lanes, c + i, P::multiply(P::load(lanes, c + i), factor));
    }
  }
}

}  // namespace vex::blas::engine
