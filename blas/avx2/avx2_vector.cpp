// The routines of this path on vectors, and on a matrix and a vector.
#include "blas/avx2/path.h"
#include "blas/engine/matrix_vector.h"
#include "blas/engine/solve_vector.h"
#include "blas/paths.h"

using vex::blas::avx2::Path;
namespace engine = vex::blas::engine;

extern "C" {

// Matrix and vector.

void vex_blas_avx2_xdtrsv(const char* uplo, const char* trans, const char* diag, const vex_int* n,
                          const double* a, const vex_int* lda, double* x, const vex_int* incx, vex_int,
                          vex_int, vex_int) {
  engine::solve_vector<Path>(engine::is(uplo, 'L'), !engine::is(trans, 'N'), engine::is(diag, 'U'), *n, a,
                             *lda, x, *incx);
}

void vex_blas_avx2_xdgemv(const char* trans, const vex_int* m, const vex_int* n, const double* alpha,
                          const double* a, const vex_int* lda, const double* x, const vex_int* incx,
                          const double* beta, double* y, const vex_int* incy, vex_int) {
  engine::multiply_vector<Path>(!engine::is(trans, 'N'), *m, *n, *alpha, a, *lda, x, *incx, *beta, y, *incy);
}

void vex_blas_avx2_xdger(const vex_int* m, const vex_int* n, const double* alpha, const double* x,
                         const vex_int* incx, const double* y, const vex_int* incy, double* a,
                         const vex_int* lda) {
  engine::rank_one_update<Path>(*m, *n, *alpha, x, *incx, y, *incy, a, *lda);
}

// Vectors.

vex_int vex_blas_avx2_xidamax_nonan(const vex_int* n, const double* x, const vex_int* incx) {
  return engine::index_of_largest_nonan<Path>(*n, x, *incx);
}

vex_int vex_blas_avx2_xidamax(const vex_int* n, const double* x, const vex_int* incx) {
  return engine::index_of_largest<Path, vex_blas_avx2_xidamax_nonan>(*n, x, *incx);
}

void vex_blas_avx2_xdcopy(const vex_int* n, const double* x, const vex_int* incx, double* y,
                          const vex_int* incy) {
  engine::copy_vector<Path>(*n, x, *incx, y, *incy);
}

void vex_blas_avx2_xdscal(const vex_int* n, const double* alpha, double* x, const vex_int* incx) {
  engine::scale_vector<Path>(*n, *alpha, x, *incx);
}

void vex_blas_avx2_xdswap(const vex_int* n, double* x, const vex_int* incx, double* y, const vex_int* incy) {
  engine::swap_vectors<Path>(*n, x, *incx, y, *incy);
}

double vex_blas_avx2_xddot(const vex_int* n, const double* x, const vex_int* incx, const double* y,
                           const vex_int* incy) {
  return engine::dot<Path>(*n, x, *incx, y, *incy);
}
}
