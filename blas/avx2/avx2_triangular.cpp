// The triangular multiply of this path: drivers, copies of diagonal blocks, kernels.
#include "blas/avx2/names.h"
#include "blas/avx2/path.h"
#include "blas/engine/triangular_multiply.h"

using vex::blas::avx2::Path;
using namespace vex::blas::engine;

extern "C" {

void vex_blas_avx2_xdtrmm_left_lower_fullacopybcopy(const BlockedCall& x) {
  drive_triangular_multiply<true, true>(x);
}
void vex_blas_avx2_xdtrmm_left_upper_fullacopybcopy(const BlockedCall& x) {
  drive_triangular_multiply<true, false>(x);
}
void vex_blas_avx2_xdtrmm_right_lower_fullacopybcopy(const BlockedCall& x) {
  drive_triangular_multiply<false, true>(x);
}
void vex_blas_avx2_xdtrmm_right_upper_fullacopybcopy(const BlockedCall& x) {
  drive_triangular_multiply<false, false>(x);
}

void vex_blas_avx2_dtrmm_copy_left_lower(Source s, Packed p, double* t, Scalar f) {
  copy_factor<12, true, true>(s, p, t, f);
}
void vex_blas_avx2_dtrmm_copy_left_upper(Source s, Packed p, double* t, Scalar f) {
  copy_factor<12, true, false>(s, p, t, f);
}
void vex_blas_avx2_dtrmm_copy_right_lower(Source s, Packed p, double* t, Scalar f) {
  copy_factor<4, false, true>(s, p, t, f);
}
void vex_blas_avx2_dtrmm_copy_right_upper(Source s, Packed p, double* t, Scalar f) {
  copy_factor<4, false, false>(s, p, t, f);
}

// As with the multiply, the twins for the reproducible setting do the same.
void vex_blas_avx2_dtrmm_kernel_left_lower(const BlockProduct& x) {
  multiply_diagonal_block<Path, true, true>(x, vex_blas_avx2_dgemm_ker0);
}
void vex_blas_avx2_dtrmm_kernel_left_upper(const BlockProduct& x) {
  multiply_diagonal_block<Path, true, false>(x, vex_blas_avx2_dgemm_ker0);
}
void vex_blas_avx2_dtrmm_kernel_right_lower(const BlockProduct& x) {
  multiply_diagonal_block<Path, false, true>(x, vex_blas_avx2_dgemm_ker0);
}
void vex_blas_avx2_dtrmm_kernel_right_upper(const BlockProduct& x) {
  multiply_diagonal_block<Path, false, false>(x, vex_blas_avx2_dgemm_ker0);
}
void vex_blas_avx2_dtrmm_kernel_left_lower_cnr(const BlockProduct& x) {
  multiply_diagonal_block<Path, true, true>(x, vex_blas_avx2_dgemm_ker0_cnr);
}
void vex_blas_avx2_dtrmm_kernel_left_upper_cnr(const BlockProduct& x) {
  multiply_diagonal_block<Path, true, false>(x, vex_blas_avx2_dgemm_ker0_cnr);
}
void vex_blas_avx2_dtrmm_kernel_right_lower_cnr(const BlockProduct& x) {
  multiply_diagonal_block<Path, false, true>(x, vex_blas_avx2_dgemm_ker0_cnr);
}
void vex_blas_avx2_dtrmm_kernel_right_upper_cnr(const BlockProduct& x) {
  multiply_diagonal_block<Path, false, false>(x, vex_blas_avx2_dgemm_ker0_cnr);
}
}
