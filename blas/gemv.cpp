// The product of a matrix and a vector, and the triangular solve with one right-hand side: the way to the
// code path's kernels. Both run on the calling thread.
#include "blas/blas.h"
#include "blas/dispatch.h"
#include "blas/named_entries.h"

namespace vex::blas {

namespace {

constinit Dispatched<DgemvFunction> path_xdgemv{vex_blas_def_xdgemv, vex_blas_cnr_def_xdgemv,
                                                vex_blas_mc3_xdgemv, vex_blas_avx2_xdgemv,
                                                vex_blas_avx512_xdgemv};
constinit Dispatched<DtrsvFunction> path_xdtrsv{vex_blas_def_xdtrsv, vex_blas_cnr_def_xdtrsv,
                                                vex_blas_mc3_xdtrsv, vex_blas_avx2_xdtrsv,
                                                vex_blas_avx512_xdtrsv};

}  // namespace

void xgemv(Trans trans, double alpha, ConstMatrixView a, const double* x, vex_int incx, double beta,
           double* y, vex_int incy) {
  const char letter = static_cast<char>(trans);
  path_xdgemv.get()(&letter, &a.rows, &a.cols, &alpha, a.data, &a.ld, x, &incx, &beta, y, &incy, 1);
}

void trsv(Uplo uplo, Trans trans, Diag diag, ConstMatrixView a, double* x, vex_int incx) {
  const char letters[3] = {static_cast<char>(uplo), static_cast<char>(trans), static_cast<char>(diag)};
  path_xdtrsv.get()(letters, letters + 1, letters + 2, &a.cols, a.data, &a.ld, x, &incx, 1, 1, 1);
}

}  // namespace vex::blas

using namespace vex::blas;

extern "C" {

void vex_blas_xdgemv(const char* trans, const vex_int* m, const vex_int* n, const double* alpha,
                     const double* a, const vex_int* lda, const double* x, const vex_int* incx,
                     const double* beta, double* y, const vex_int* incy, vex_int trans_length) {
  path_xdgemv.get()(trans, m, n, alpha, a, lda, x, incx, beta, y, incy, trans_length);
}

void vex_blas_xdtrsv(const char* uplo, const char* trans, const char* diag, const vex_int* n, const double* a,
                     const vex_int* lda, double* x, const vex_int* incx, vex_int uplo_length,
                     vex_int trans_length, vex_int diag_length) {
  path_xdtrsv.get()(uplo, trans, diag, n, a, lda, x, incx, uplo_length, trans_length, diag_length);
}

void vex_blas_dtrsv(const char* uplo, const char* trans, const char* diag, const vex_int* n, const double* a,
                    const vex_int* lda, double* x, const vex_int* incx, vex_int uplo_length,
                    vex_int trans_length, vex_int diag_length) {
  path_xdtrsv.get()(uplo, trans, diag, n, a, lda, x, incx, uplo_length, trans_length, diag_length);
}
}
