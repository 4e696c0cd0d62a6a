// Solve with the factors of at most 8 equations for at most 8 right-hand sides.
#pragma once

#include "service/types.h"
#include "service/xerbla.h"

namespace vex::lapack::small {

template <typename Path>
void solve_plain(vex_int n, vex_int nrhs, const double* a, vex_int lda, const vex_int* ipiv, double* b,
                 vex_int ldb) {
  for (vex_int c = 0; c < nrhs; ++c) {
    double* const x = b + c * ldb;
    for (vex_int i = 0; i < n; ++i) {
      const double other = x[i];
      x[i] = x[ipiv[i] - 1];
      x[ipiv[i] - 1] = other;
    }
    for (vex_int j = 0; j < n; ++j) {
      for (vex_int i = j + 1; i < n; ++i) x[i] = Path::subtract_product(x[i], a[i + j * lda], x[j]);
    }
    for (vex_int j = n - 1; j >= 0; --j) {
      x[j] *= 1.0 / a[j + j * lda];
      for (vex_int i = 0; i < j; ++i) x[i] = Path::subtract_product(x[i], a[i + j * lda], x[j]);
    }
  }
}

template <typename Path>
void solve_transposed(vex_int n, vex_int nrhs, const double* a, vex_int lda, const vex_int* ipiv, double* b,
                      vex_int ldb) {
  for (vex_int c = 0; c < nrhs; ++c) {
    double* const x = b + c * ldb;
    for (vex_int j = 0; j < n; ++j) {
      for (vex_int i = 0; i < j; ++i) x[j] = Path::subtract_product(x[j], a[i + j * lda], x[i]);
      x[j] *= 1.0 / a[j + j * lda];
    }
    for (vex_int j = n - 1; j >= 0; --j) {
      for (vex_int i = j + 1; i < n; ++i) x[j] = Path::subtract_product(x[j], a[i + j * lda], x[i]);
    }
    for (vex_int i = n - 1; i >= 0; --i) {
      const double other = x[i];
      x[i] = x[ipiv[i] - 1];
      x[ipiv[i] - 1] = other;
    }
  }
}

template <typename Path>
void solve(char trans, vex_int n, vex_int nrhs, const double* a, vex_int lda, const vex_int* ipiv, double* b,
           vex_int ldb, vex_int* info) {
  const char letter = trans >= 'a' && trans <= 'z' ? static_cast<char>(trans - 'a' + 'A') : trans;
  const vex_int least_ld = n > 1 ? n : 1;
  vex_int parameter = 0;
  if (letter != 'N' && letter != 'T' && letter != 'C') {
    parameter = 1;
  } else if (n < 0) {
    parameter = 2;
  } else if (nrhs < 0) {
    parameter = 3;
  } else if (lda < least_ld) {
    parameter = 5;
  } else if (ldb < least_ld) {
    parameter = 8;
  }
  *info = -parameter;
  if (parameter != 0) return vex_serv_xerbla("DGETRS", &parameter, 6);
  if (letter == 'N') {
    solve_plain<Path>(n, nrhs, a, lda, ipiv, b, ldb);
  } else {
    solve_transposed<Path>(n, nrhs, a, lda, ipiv, b, ldb);
  }
}

}  // namespace vex::lapack::small
