// Plain loops in extended precision: the answers that the kernels are measured against, each with the sum of
// the magnitudes that went into it, so that errors are bounded element by element.
#pragma once

#include <vector>

#include "service/types.h"

namespace vex::reference {

struct Answer {
  std::vector<long double> value;      // column-major, rows x cols, no padding
  std::vector<long double> magnitude;  // |alpha| |op(A)| |op(B)| + |beta C|
  vex_int rows = 0;
  long double at(vex_int i, vex_int j) const { return value[static_cast<std::size_t>(i + j * rows)]; }
  long double size_at(vex_int i, vex_int j) const {
    return magnitude[static_cast<std::size_t>(i + j * rows)];
  }
};

Answer multiply(bool trans_a, bool trans_b, vex_int m, vex_int n, vex_int k, double alpha, const double* a,
                vex_int lda, const double* b, vex_int ldb, double beta, const double* c, vex_int ldc);

// What op(A) X (left) or X op(A) (right) gives for a triangular A: a solve is right when this is its
// right-hand side again.
Answer triangle_times(bool left, bool lower, bool trans, bool unit, vex_int m, vex_int n, const double* a,
                      vex_int lda, const double* x, vex_int ldx);

// First element of largest magnitude, one-based; the first NaN over all.
vex_int index_of_largest(vex_int n, const double* x, vex_int incx);

}  // namespace vex::reference
