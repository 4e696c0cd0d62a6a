// Provisional weak definitions of the doors between rooms, so that every room links while its neighbours are
// being built. Each disappears behind the real one; this file goes when the last room stands.
#include <omp.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "blas/blas.h"
#include "service/buffer_cache.h"
#include "service/cleanup.h"
#include "service/environment.h"
#include "service/memory.h"
#include "service/messages.h"
#include "service/progress.h"
#include "service/safe_string.h"
#include "service/xerbla.h"

#define PROVISIONAL __attribute__((weak))

extern "C" {
PROVISIONAL void* vex_serv_allocate(std::size_t size, std::size_t a) { return vex_serv_malloc(size, a); }
PROVISIONAL void vex_serv_deallocate(void* block) { vex_serv_free(block); }
PROVISIONAL void* vex_serv_iface_allocate(std::size_t size, std::size_t a) { return vex_serv_malloc(size, a); }
PROVISIONAL int vex_serv_get_fast_mm_status() { return 0; }
PROVISIONAL void vex_serv_iface_deallocate(void* block) { vex_serv_free(block); }
}

namespace vex::blas {
PROVISIONAL void xgemm(Trans ta, Trans tb, double alpha, ConstMatrixView a, ConstMatrixView b, double beta, MatrixView c) {
  vex_int k = ta == Trans::no ? a.cols : a.rows;
  for (vex_int j = 0; j < c.cols; ++j)
    for (vex_int i = 0; i < c.rows; ++i) {
      double sum = 0;
      for (vex_int p = 0; p < k; ++p) sum += (ta == Trans::no ? a(i, p) : a(p, i)) * (tb == Trans::no ? b(p, j) : b(j, p));
      c(i, j) = (beta == 0 ? 0 : beta * c(i, j)) + alpha * sum;
    }
}
PROVISIONAL void gemm(Trans ta, Trans tb, double alpha, ConstMatrixView a, ConstMatrixView b, double beta, MatrixView c) {
  xgemm(ta, tb, alpha, a, b, beta, c);
}
PROVISIONAL void trsv(Uplo uplo, Trans trans, Diag diag, ConstMatrixView a, double* x, vex_int incx) {
  bool forward = (uplo == Uplo::lower) == (trans == Trans::no);
  vex_int n = a.rows;
  for (vex_int s = 0; s < n; ++s) {
    vex_int i = forward ? s : n - 1 - s;
    double sum = x[i * incx];
    for (vex_int t = 0; t < s; ++t) {
      vex_int j = forward ? t : n - 1 - t;
      sum -= (trans == Trans::no ? a(i, j) : a(j, i)) * x[j * incx];
    }
    x[i * incx] = diag == Diag::unit ? sum : sum / a(i, i);
  }
}
PROVISIONAL void xtrsm(Side, Uplo uplo, Trans trans, Diag diag, double, ConstMatrixView a, MatrixView b) {
  for (vex_int j = 0; j < b.cols; ++j) trsv(uplo, trans, diag, a, b.col(j), 1);  // left side, alpha 1 only
}
PROVISIONAL void trsm(Side s, Uplo u, Trans t, Diag d, double alpha, ConstMatrixView a, MatrixView b) { xtrsm(s, u, t, d, alpha, a, b); }
PROVISIONAL void xgemv(Trans trans, double alpha, ConstMatrixView a, const double* x, vex_int incx, double beta, double* y, vex_int incy) {
  vex_int m = trans == Trans::no ? a.rows : a.cols, n = trans == Trans::no ? a.cols : a.rows;
  for (vex_int i = 0; i < m; ++i) {
    double sum = 0;
    for (vex_int j = 0; j < n; ++j) sum += (trans == Trans::no ? a(i, j) : a(j, i)) * x[j * incx];
    y[i * incy] = (beta == 0 ? 0 : beta * y[i * incy]) + alpha * sum;
  }
}
PROVISIONAL vex_int idamax(vex_int n, const double* x, vex_int incx) {
  if (n < 1 || incx < 1) return 0;
  vex_int best = 0;
  for (vex_int i = 1; i < n; ++i)
    if (std::fabs(x[i * incx]) > std::fabs(x[best * incx])) best = i;
  return best + 1;
}
PROVISIONAL void scal(vex_int n, double alpha, double* x, vex_int incx) { for (vex_int i = 0; i < n; ++i) x[i * incx] *= alpha; }
PROVISIONAL void xswap(vex_int n, double* x, vex_int incx, double* y, vex_int incy) {
  for (vex_int i = 0; i < n; ++i) { double t = x[i * incx]; x[i * incx] = y[i * incy]; y[i * incy] = t; }
}
}  // namespace vex::blas
