// Products of this path that are not packed: a kernel for each pair of transpositions and each kind of beta,
// and the product of fixed size. They have no twins for the reproducible setting, which picks from the kernel
// table: the order of an element's operations never depends on place, threads or alignment.
#include "blas/avx2/names.h"
#include "blas/avx2/path.h"
#include "blas/engine/fixed_size.h"

using vex::blas::avx2::Path;
using namespace vex::blas::engine;

extern "C" {

// clang-format off: one line for each routine
void vex_blas_avx2_dgemm_kernel_nocopy_NN_b0(const NocopyProduct& x) {
  multiply_in_place<Path, false, false>(x, Beta::zero);
}
void vex_blas_avx2_dgemm_kernel_nocopy_NN_b1(const NocopyProduct& x) {
  multiply_in_place<Path, false, false>(x, Beta::one);
}
void vex_blas_avx2_dgemm_kernel_nocopy_NN_bn(const NocopyProduct& x) {
  multiply_in_place<Path, false, false>(x, Beta::other);
}
void vex_blas_avx2_dgemm_kernel_nocopy_NT_b0(const NocopyProduct& x) {
  multiply_in_place<Path, false, true>(x, Beta::zero);
}
void vex_blas_avx2_dgemm_kernel_nocopy_NT_b1(const NocopyProduct& x) {
  multiply_in_place<Path, false, true>(x, Beta::one);
}
void vex_blas_avx2_dgemm_kernel_nocopy_NT_bn(const NocopyProduct& x) {
  multiply_in_place<Path, false, true>(x, Beta::other);
}
void vex_blas_avx2_dgemm_kernel_nocopy_TN_b0(const NocopyProduct& x) {
  multiply_in_place<Path, true, false>(x, Beta::zero);
}
void vex_blas_avx2_dgemm_kernel_nocopy_TN_b1(const NocopyProduct& x) {
  multiply_in_place<Path, true, false>(x, Beta::one);
}
void vex_blas_avx2_dgemm_kernel_nocopy_TN_bn(const NocopyProduct& x) {
  multiply_in_place<Path, true, false>(x, Beta::other);
}
void vex_blas_avx2_dgemm_kernel_nocopy_TT_b0(const NocopyProduct& x) {
  multiply_in_place<Path, true, true>(x, Beta::zero);
}
void vex_blas_avx2_dgemm_kernel_nocopy_TT_b1(const NocopyProduct& x) {
  multiply_in_place<Path, true, true>(x, Beta::one);
}
void vex_blas_avx2_dgemm_kernel_nocopy_TT_bn(const NocopyProduct& x) {
  multiply_in_place<Path, true, true>(x, Beta::other);
}
// clang-format on

void vex_blas_avx2_dgemm_nocopy_anbn_meq6_keq6(vex_int n, double alpha, const double* a, vex_int lda,
                                               const double* b, vex_int ldb, double beta, double* c,
                                               vex_int ldc) {
  multiply_fixed<Path, false>(n, alpha, a, lda, b, ldb, beta, c, ldc);
}

void vex_blas_avx2_dgemm_nocopy_anbn_meq6_keq6_b0(vex_int n, double alpha, const double* a, vex_int lda,
                                                  const double* b, vex_int ldb, double, double* c,
                                                  vex_int ldc) {
  multiply_fixed<Path, true>(n, alpha, a, lda, b, ldb, 0, c, ldc);
}
}

// clang-format off: a row for each pair of transpositions
const NocopyKernels Path::nocopy{{
    {{vex_blas_avx2_dgemm_kernel_nocopy_NN_b0, vex_blas_avx2_dgemm_kernel_nocopy_NN_b1,
      vex_blas_avx2_dgemm_kernel_nocopy_NN_bn},
     {vex_blas_avx2_dgemm_kernel_nocopy_NT_b0, vex_blas_avx2_dgemm_kernel_nocopy_NT_b1,
      vex_blas_avx2_dgemm_kernel_nocopy_NT_bn}},
    {{vex_blas_avx2_dgemm_kernel_nocopy_TN_b0, vex_blas_avx2_dgemm_kernel_nocopy_TN_b1,
      vex_blas_avx2_dgemm_kernel_nocopy_TN_bn},
     {vex_blas_avx2_dgemm_kernel_nocopy_TT_b0, vex_blas_avx2_dgemm_kernel_nocopy_TT_b1,
      vex_blas_avx2_dgemm_kernel_nocopy_TT_bn}},
}};
// clang-format on
