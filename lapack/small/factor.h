// Factorization of matrices of at most 16 rows and columns.
#pragma once

#include "service/types.h"

namespace vex::lapack::small {

// A pivot of larger magnitude has a reciprocal that does not overflow.
inline constexpr double safe_minimum = 0x1p-1022;

template <typename Path>
void factor(vex_int m, vex_int n, double* a, vex_int lda, vex_int* ipiv, vex_int* info) {
  *info = 0;
  for (vex_int j = 0; j < m && j < n; ++j) {
    double* const column = a + j * lda;
    vex_int pivot_row = j;
    for (vex_int i = j + 1; i < m; ++i) {
      if (__builtin_fabs(column[i]) > __builtin_fabs(column[pivot_row])) pivot_row = i;
    }
    ipiv[j] = pivot_row + 1;
    const double pivot = column[pivot_row];
    if (pivot != 0.0) {
      for (vex_int k = 0; pivot_row != j && k < n; ++k) {
        const double other = a[j + k * lda];
        a[j + k * lda] = a[pivot_row + k * lda];
        a[pivot_row + k * lda] = other;
      }
      const double reciprocal = 1.0 / pivot;
      const bool multiply = __builtin_fabs(pivot) > safe_minimum;
      for (vex_int i = j + 1; i < m; ++i) column[i] = multiply ? column[i] * reciprocal : column[i] / pivot;
    } else if (*info == 0) {
      *info = j + 1;
    }
    for (vex_int k = j + 1; k < n; ++k) {
      for (vex_int i = j + 1; i < m; ++i) {
        a[i + k * lda] = Path::subtract_product(a[i + k * lda], column[i], a[j + k * lda]);
      }
    }
  }
}

}  // namespace vex::lapack::small
