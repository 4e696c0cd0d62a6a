// See dense.h.
#include "tests/reference/dense.h"

#include <cmath>

namespace vex::reference {

namespace {

Answer empty(vex_int rows, vex_int cols) {
  Answer answer;
  answer.rows = rows;
  answer.value.assign(static_cast<std::size_t>(rows * cols), 0);
  answer.magnitude = answer.value;
  return answer;
}

}  // namespace

Answer multiply(bool trans_a, bool trans_b, vex_int m, vex_int n, vex_int k, double alpha, const double* a,
                vex_int lda, const double* b, vex_int ldb, double beta, const double* c, vex_int ldc) {
  Answer answer = empty(m, n);
  for (vex_int j = 0; j < n; ++j) {
    for (vex_int i = 0; i < m; ++i) {
      long double sum = 0, size = 0;
      for (vex_int p = 0; p < k; ++p) {
        const long double product = static_cast<long double>(trans_a ? a[p + i * lda] : a[i + p * lda]) *
                                    (trans_b ? b[j + p * ldb] : b[p + j * ldb]);
        sum += product;
        size += std::fabs(product);
      }
      const long double old = beta == 0 ? 0 : static_cast<long double>(beta) * c[i + j * ldc];
      const auto at = static_cast<std::size_t>(i + j * m);
      answer.value[at] = (alpha == 0 ? 0 : alpha * sum) + old;
      answer.magnitude[at] = (alpha == 0 ? 0 : std::fabs(alpha) * size) + std::fabs(old);
    }
  }
  return answer;
}

Answer triangle_times(bool left, bool lower, bool trans, bool unit, vex_int m, vex_int n, const double* a,
                      vex_int lda, const double* x, vex_int ldx) {
  const auto element = [&](vex_int i, vex_int j) -> long double {
    const vex_int row = trans ? j : i, column = trans ? i : j;
    if (row == column) return unit ? 1 : a[row + column * lda];
    return (row > column) == lower ? a[row + column * lda] : 0;
  };
  Answer answer = empty(m, n);
  for (vex_int j = 0; j < n; ++j) {
    for (vex_int i = 0; i < m; ++i) {
      const auto at = static_cast<std::size_t>(i + j * m);
      for (vex_int p = 0; p < (left ? m : n); ++p) {
        const long double factor = left ? element(i, p) : element(p, j);
        const long double product = factor == 0 ? 0 : factor * (left ? x[p + j * ldx] : x[i + p * ldx]);
        answer.value[at] += product;
        answer.magnitude[at] += std::fabs(product);
      }
    }
  }
  return answer;
}

vex_int index_of_largest(vex_int n, const double* x, vex_int incx) {
  if (n < 1 || incx < 1) return 0;
  vex_int best = 0;
  for (vex_int i = 0; i < n; ++i) {
    const double value = std::fabs(x[i * incx]);
    if (std::isnan(value)) return i + 1;
    if (value > std::fabs(x[best * incx])) best = i;
  }
  return best + 1;
}

}  // namespace vex::reference
