// The triangular solve of this path: the engine's drivers, copies and kernels under this path's names.
#include "blas/avx2/names.h"
#include "blas/avx2/path.h"
#include "blas/engine/solve.h"
#include "blas/engine/solve_update.h"
#include "blas/paths.h"

using vex::blas::avx2::Path;
using namespace vex::blas::engine;

extern "C" {

void vex_blas_avx2_xdtrsm(const char* side, const char* uplo, const char* trans, const char* diag,
                          const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                          const vex_int* lda, double* b, const vex_int* ldb, vex_int, vex_int, vex_int,
                          vex_int) {
  solve<Path>(side, uplo, trans, diag, *m, *n, *alpha, a, *lda, b, *ldb);
}

void vex_blas_avx2_xdtrsm_v1(const char* side, const char* uplo, const char* trans, const char* diag,
                             const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                             const vex_int* lda, double* b, const vex_int* ldb, vex_int, vex_int, vex_int,
                             vex_int) {
  solve_v1<Path>(is(side, 'L'), is(uplo, 'L'), !is(trans, 'N'), is(diag, 'U'), *m, *n, *alpha, a, *lda, b,
                 *ldb);
}

// The same from the records of a call.
void vex_blas_avx2_xdtrsm_unblocked(const BlockedCall& x) {
  solve_v1<Path>(x);
}

// Drivers, by side and effective triangle.
void vex_blas_avx2_xdtrsm_left_lower_fullacopybcopy(const BlockedCall& x) {
  drive_solve_left_lower(x);
}
void vex_blas_avx2_xdtrsm_left_upper_fullacopybcopy(const BlockedCall& x) {
  drive_solve_left_upper(x);
}
void vex_blas_avx2_xdtrsm_right_lower_fullacopybcopy(const BlockedCall& x) {
  drive_solve_right_lower(x);
}
void vex_blas_avx2_xdtrsm_right_upper_fullacopybcopy(const BlockedCall& x) {
  drive_solve_right_upper(x);
}

// Copies of diagonal blocks. From the right the triangle applies transposed, so an upper one is solved
// forwards.
void vex_blas_avx2_dtrxm_copy_left_lower(Source s, Packed, double* t, Scalar f) {
  copy_triangle<Path, true, true>(s, t, f);
}
void vex_blas_avx2_dtrxm_copy_left_upper(Source s, Packed, double* t, Scalar f) {
  copy_triangle<Path, true, false>(s, t, f);
}
void vex_blas_avx2_dtrxm_copy_right_lower(Source s, Packed, double* t, Scalar f) {
  copy_triangle<Path, false, false>(s, t, f);
}
void vex_blas_avx2_dtrxm_copy_right_upper(Source s, Packed, double* t, Scalar f) {
  copy_triangle<Path, false, true>(s, t, f);
}

// Kernels. The operations of an element and their order do not depend on place, threads or alignment, so the
// twins for the reproducible setting do the same under names of their own.
void vex_blas_avx2_dtrsm_kernel_left_lower(const SolveBlock& x) {
  solve_diagonal<Path, true, true>(x);
}
void vex_blas_avx2_dtrsm_kernel_left_lower_cnr(const SolveBlock& x) {
  vex_blas_avx2_dtrsm_kernel_left_lower(x);
}
void vex_blas_avx2_dtrsm_kernel_left_upper(const SolveBlock& x) {
  solve_diagonal<Path, true, false>(x);
}
void vex_blas_avx2_dtrsm_kernel_left_upper_cnr(const SolveBlock& x) {
  vex_blas_avx2_dtrsm_kernel_left_upper(x);
}
void vex_blas_avx2_dtrsm_kernel_right_lower(const SolveBlock& x) {
  solve_diagonal<Path, false, false>(x);
}
void vex_blas_avx2_dtrsm_kernel_right_lower_cnr(const SolveBlock& x) {
  vex_blas_avx2_dtrsm_kernel_right_lower(x);
}
void vex_blas_avx2_dtrsm_kernel_right_upper(const SolveBlock& x) {
  solve_diagonal<Path, false, true>(x);
}
void vex_blas_avx2_dtrsm_kernel_right_upper_cnr(const SolveBlock& x) {
  vex_blas_avx2_dtrsm_kernel_right_upper(x);
}

// Updates with few right-hand sides.
void vex_blas_avx2_dtrsm_update_an(const SolveUpdate& x) {
  update_unknowns<Path, false>(x);
}
void vex_blas_avx2_dtrsm_update_at(const SolveUpdate& x) {
  update_unknowns<Path, true>(x);
}

// B := alpha B.
void vex_blas_avx2_dtrsm_scale_left(const MatrixDescriptor* b, double alpha) {
  scale_block<Path>(b->rows, b->columns, alpha, first_element(*b), b->ld);
}
void vex_blas_avx2_dtrsm_scale_left_unit(const MatrixDescriptor* b, double alpha) {
  scale_block<Path>(b->rows, b->columns, alpha, first_element(*b), b->ld);
}
void vex_blas_avx2_dtrsm_scale_right(const MatrixDescriptor* b, double alpha) {
  scale_block<Path>(b->rows, b->columns, alpha, first_element(*b), b->ld);
}
void vex_blas_avx2_dtrsm_scale_right_unit(const MatrixDescriptor* b, double alpha) {
  scale_block<Path>(b->rows, b->columns, alpha, first_element(*b), b->ld);
}
}
