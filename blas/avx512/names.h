// The names that this path gives to the engine's routines.
#pragma once

#include "blas/engine/in_place.h"
#include "blas/engine/kernel_table.h"

extern "C" {

vex::blas::engine::Driver vex_blas_avx512_d_generic_fullacopybcopy, vex_blas_avx512_xdgemm_acopiedbcopy,
    vex_blas_avx512_xdgemm_nocopy_driver, vex_blas_avx512_xdsyrk_fullacopybcopy,
    vex_blas_avx512_xdsyrk_acopiedbcopy;
vex::blas::engine::Copier vex_blas_avx512_dgemm_dcopy_down24_ea, vex_blas_avx512_dgemm_dcopy_right24_ea,
    vex_blas_avx512_dgemm_dcopy_right8_ea, vex_blas_avx512_dgemm_dcopy_down8_ea;
vex::blas::engine::CopyFunction vex_blas_avx512_dgemm_copyan, vex_blas_avx512_dgemm_copyat,
    vex_blas_avx512_dgemm_copybn, vex_blas_avx512_dgemm_copybt, vex_blas_avx512_dsymm_copy_lower_left,
    vex_blas_avx512_dsymm_copy_upper_left, vex_blas_avx512_dsymm_copy_lower_right,
    vex_blas_avx512_dsymm_copy_upper_right;
vex::blas::engine::BlockKernel vex_blas_avx512_dgemm_ker0, vex_blas_avx512_dgemm_ker0_cnr,
    vex_blas_avx512_dgemm_kernel_0, vex_blas_avx512_dgemm_kernel_0_cnr, vex_blas_avx512_dgemm_kernel_0_b0,
    vex_blas_avx512_dgemm_kernel_0_b0_cnr, vex_blas_avx512_dsyrk_lower_ker0,
    vex_blas_avx512_dsyrk_lower_ker0_cnr, vex_blas_avx512_dsyrk_upper_ker0,
    vex_blas_avx512_dsyrk_upper_ker0_cnr;
vex::blas::engine::NocopyKernel vex_blas_avx512_dgemm_kernel_nocopy_NN_b0,
    vex_blas_avx512_dgemm_kernel_nocopy_NN_b1, vex_blas_avx512_dgemm_kernel_nocopy_NN_bn,
    vex_blas_avx512_dgemm_kernel_nocopy_NT_b0, vex_blas_avx512_dgemm_kernel_nocopy_NT_b1,
    vex_blas_avx512_dgemm_kernel_nocopy_NT_bn, vex_blas_avx512_dgemm_kernel_nocopy_TN_b0,
    vex_blas_avx512_dgemm_kernel_nocopy_TN_b1, vex_blas_avx512_dgemm_kernel_nocopy_TN_bn,
    vex_blas_avx512_dgemm_kernel_nocopy_TT_b0, vex_blas_avx512_dgemm_kernel_nocopy_TT_b1,
    vex_blas_avx512_dgemm_kernel_nocopy_TT_bn;
vex::blas::engine::FixedKernel vex_blas_avx512_dgemm_nocopy_anbn_meq6_keq6,
    vex_blas_avx512_dgemm_nocopy_anbn_meq6_keq6_b0;
vex::blas::engine::EdgeRoutine vex_blas_avx512_d_pst_wrapper;
void vex_blas_avx512_dgemm_mscale(vex_int m, vex_int n, double beta, double* c, vex_int ldc);
vex::blas::engine::ScaleRoutine vex_blas_avx512_dgemm_mscale_wrapper;
vex::blas::engine::GetBuffers vex_blas_avx512_dgemm_get_bufs, vex_blas_avx512_dgemm_get_bufs_pack;
vex::blas::engine::SizeOfBuffers vex_blas_avx512_dgemm_get_size_bufs;
vex::blas::engine::FreeBuffers vex_blas_avx512_dgemm_free_bufs;
vex::blas::engine::SetBuffers vex_blas_avx512_dgemm_set_bufs_pack;
vex::blas::engine::InitializeStrategy vex_blas_avx512_dgemm_initialize_strategy;
vex::blas::engine::InitializeBuffers vex_blas_avx512_dgemm_initialize_buffers,
    vex_blas_avx512_dtrxm_initialize_buffers;
vex::blas::engine::InitializeKernelInfo vex_blas_avx512_dgemm_initialize_kernel_info;
vex::blas::engine::Driver vex_blas_avx512_xdtrsm_left_lower_fullacopybcopy,
    vex_blas_avx512_xdtrsm_left_upper_fullacopybcopy, vex_blas_avx512_xdtrsm_right_lower_fullacopybcopy,
    vex_blas_avx512_xdtrsm_right_upper_fullacopybcopy, vex_blas_avx512_xdtrsm_unblocked;
vex::blas::engine::CopyFunction vex_blas_avx512_dtrxm_copy_left_lower, vex_blas_avx512_dtrxm_copy_left_upper,
    vex_blas_avx512_dtrxm_copy_right_lower, vex_blas_avx512_dtrxm_copy_right_upper;
vex::blas::engine::SolveKernel vex_blas_avx512_dtrsm_kernel_left_lower,
    vex_blas_avx512_dtrsm_kernel_left_lower_cnr, vex_blas_avx512_dtrsm_kernel_left_upper,
    vex_blas_avx512_dtrsm_kernel_left_upper_cnr, vex_blas_avx512_dtrsm_kernel_right_lower,
    vex_blas_avx512_dtrsm_kernel_right_lower_cnr, vex_blas_avx512_dtrsm_kernel_right_upper,
    vex_blas_avx512_dtrsm_kernel_right_upper_cnr;
vex::blas::engine::UpdateRoutine vex_blas_avx512_dtrsm_update_an, vex_blas_avx512_dtrsm_update_at;
vex::blas::engine::ScaleRoutine vex_blas_avx512_dtrsm_scale_left, vex_blas_avx512_dtrsm_scale_left_unit,
    vex_blas_avx512_dtrsm_scale_right, vex_blas_avx512_dtrsm_scale_right_unit;
vex::blas::engine::Driver vex_blas_avx512_xdtrmm_left_lower_fullacopybcopy,
    vex_blas_avx512_xdtrmm_left_upper_fullacopybcopy, vex_blas_avx512_xdtrmm_right_lower_fullacopybcopy,
    vex_blas_avx512_xdtrmm_right_upper_fullacopybcopy;
vex::blas::engine::CopyFunction vex_blas_avx512_dtrmm_copy_left_lower, vex_blas_avx512_dtrmm_copy_left_upper,
    vex_blas_avx512_dtrmm_copy_right_lower, vex_blas_avx512_dtrmm_copy_right_upper;
vex::blas::engine::BlockKernel vex_blas_avx512_dtrmm_kernel_left_lower,
    vex_blas_avx512_dtrmm_kernel_left_lower_cnr, vex_blas_avx512_dtrmm_kernel_left_upper,
    vex_blas_avx512_dtrmm_kernel_left_upper_cnr, vex_blas_avx512_dtrmm_kernel_right_lower,
    vex_blas_avx512_dtrmm_kernel_right_lower_cnr, vex_blas_avx512_dtrmm_kernel_right_upper,
    vex_blas_avx512_dtrmm_kernel_right_upper_cnr;
vex::blas::engine::CopyFixed vex_blas_avx512_dtrsm_copya_a4, vex_blas_avx512_dtrsm_copya_a4_rf;
vex::blas::engine::FixedSolve vex_blas_avx512_dtrsm_ker_lln_a4_b4, vex_blas_avx512_dtrsm_ker_lln_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_lln_a4_b8, vex_blas_avx512_dtrsm_ker_lln_a4_b8_rf,
    vex_blas_avx512_dtrsm_ker_llu_a4_b4, vex_blas_avx512_dtrsm_ker_llu_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_llu_a4_b8, vex_blas_avx512_dtrsm_ker_llu_a4_b8_rf,
    vex_blas_avx512_dtrsm_ker_lun_a4_b4, vex_blas_avx512_dtrsm_ker_lun_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_lun_a4_b8, vex_blas_avx512_dtrsm_ker_lun_a4_b8_rf,
    vex_blas_avx512_dtrsm_ker_luu_a4_b4, vex_blas_avx512_dtrsm_ker_luu_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_luu_a4_b8, vex_blas_avx512_dtrsm_ker_luu_a4_b8_rf,
    vex_blas_avx512_dtrsm_ker_rln_a4_b4, vex_blas_avx512_dtrsm_ker_rln_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_rln_a4_b8, vex_blas_avx512_dtrsm_ker_rln_a4_b8_rf,
    vex_blas_avx512_dtrsm_ker_rlu_a4_b4, vex_blas_avx512_dtrsm_ker_rlu_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_rlu_a4_b8, vex_blas_avx512_dtrsm_ker_rlu_a4_b8_rf,
    vex_blas_avx512_dtrsm_ker_run_a4_b4, vex_blas_avx512_dtrsm_ker_run_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_run_a4_b8, vex_blas_avx512_dtrsm_ker_run_a4_b8_rf,
    vex_blas_avx512_dtrsm_ker_ruu_a4_b4, vex_blas_avx512_dtrsm_ker_ruu_a4_b4_rf,
    vex_blas_avx512_dtrsm_ker_ruu_a4_b8, vex_blas_avx512_dtrsm_ker_ruu_a4_b8_rf;
}
