// The fixed-size kernels of the solve in place. In their names: side, effective triangle, non-unit or unit
// diagonal, the 4 x 4 diagonal block, the right-hand sides, and rf where the diagonal divides instead of its
// reciprocals multiplying.
#include "blas/avx2/names.h"
#include "blas/avx2/path.h"
#include "blas/engine/fixed_solve.h"

using vex::blas::avx2::Path;
using namespace vex::blas::engine;

extern "C" {

void vex_blas_avx2_dtrsm_copya_a4(const MatrixDescriptor* e, SideIndex side, double* t) {
  copy_fixed<false>(e, side, t);
}
void vex_blas_avx2_dtrsm_copya_a4_rf(const MatrixDescriptor* e, SideIndex side, double* t) {
  copy_fixed<true>(e, side, t);
}
void vex_blas_avx2_dtrsm_ker_lln_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::reciprocals, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_lln_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::divisors, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_lln_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::reciprocals, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_lln_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::divisors, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_llu_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_llu_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_llu_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::unit, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_llu_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, true, Diagonal::unit, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_lun_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::reciprocals, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_lun_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::divisors, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_lun_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::reciprocals, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_lun_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::divisors, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_luu_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_luu_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_luu_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::unit, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_luu_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, true, false, Diagonal::unit, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rln_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::reciprocals, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rln_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::divisors, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rln_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::reciprocals, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rln_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::divisors, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rlu_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rlu_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rlu_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::unit, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_rlu_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, true, Diagonal::unit, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_run_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::reciprocals, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_run_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::divisors, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_run_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::reciprocals, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_run_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::divisors, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_ruu_a4_b4(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_ruu_a4_b4_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::unit, 1>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_ruu_a4_b8(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::unit, 2>(e, x, ld);
}
void vex_blas_avx2_dtrsm_ker_ruu_a4_b8_rf(const double* e, double* x, vex_int ld) {
  solve_fixed<Path, false, false, Diagonal::unit, 2>(e, x, ld);
}
}

const FixedKernels Path::fixed_kernels{
    {vex_blas_avx2_dtrsm_copya_a4, vex_blas_avx2_dtrsm_copya_a4_rf},
    {{{{{vex_blas_avx2_dtrsm_ker_lln_a4_b4, vex_blas_avx2_dtrsm_ker_lln_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_lln_a4_b8, vex_blas_avx2_dtrsm_ker_lln_a4_b8_rf}},
       {{vex_blas_avx2_dtrsm_ker_llu_a4_b4, vex_blas_avx2_dtrsm_ker_llu_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_llu_a4_b8, vex_blas_avx2_dtrsm_ker_llu_a4_b8_rf}}},
      {{{vex_blas_avx2_dtrsm_ker_lun_a4_b4, vex_blas_avx2_dtrsm_ker_lun_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_lun_a4_b8, vex_blas_avx2_dtrsm_ker_lun_a4_b8_rf}},
       {{vex_blas_avx2_dtrsm_ker_luu_a4_b4, vex_blas_avx2_dtrsm_ker_luu_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_luu_a4_b8, vex_blas_avx2_dtrsm_ker_luu_a4_b8_rf}}}},
     {{{{vex_blas_avx2_dtrsm_ker_rln_a4_b4, vex_blas_avx2_dtrsm_ker_rln_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_rln_a4_b8, vex_blas_avx2_dtrsm_ker_rln_a4_b8_rf}},
       {{vex_blas_avx2_dtrsm_ker_rlu_a4_b4, vex_blas_avx2_dtrsm_ker_rlu_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_rlu_a4_b8, vex_blas_avx2_dtrsm_ker_rlu_a4_b8_rf}}},
      {{{vex_blas_avx2_dtrsm_ker_run_a4_b4, vex_blas_avx2_dtrsm_ker_run_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_run_a4_b8, vex_blas_avx2_dtrsm_ker_run_a4_b8_rf}},
       {{vex_blas_avx2_dtrsm_ker_ruu_a4_b4, vex_blas_avx2_dtrsm_ker_ruu_a4_b4_rf},
        {vex_blas_avx2_dtrsm_ker_ruu_a4_b8, vex_blas_avx2_dtrsm_ker_ruu_a4_b8_rf}}}}}};
