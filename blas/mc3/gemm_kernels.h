// The multiply kernels of this path, one of which suits the processor at hand.
#pragma once

#include "blas/engine/kernel_table.h"
#include "blas/engine/strategy.h"

namespace vex::blas::mc3 {

// All that is particular to a kernel.
struct GemmKernel {
  const char* name;
  engine::BlockKernel *kernel, *kernel_cnr;
  engine::EdgeRoutine* edge;
  engine::CopyFunction *copy_an, *copy_at, *copy_bn, *copy_bt;
  engine::ScaleRoutine* scale;
  engine::BlockConstants blocks;
};
static_assert(sizeof(GemmKernel) == 160);

}  // namespace vex::blas::mc3

extern "C" {

// Entry 1 is for cores with 256 KiB of second cache (microarchitecture 66), entry 0 for all others. Both
// slice the inner dimension alike, so no result depends on which one runs.
extern const vex::blas::mc3::GemmKernel vex_mc3_d_all_gemm_ker[2];

vex::blas::engine::BlockKernel vex_blas_mc3_dgemm_ker0, vex_blas_mc3_dgemm_ker1,
    // kernel_E_C: entry E, blocks without (0) or with (1) tiles cut by their edges; b0 stores instead of
    // adding.
    vex_blas_mc3_dgemm_kernel_0_0, vex_blas_mc3_dgemm_kernel_0_1, vex_blas_mc3_dgemm_kernel_1_0,
    vex_blas_mc3_dgemm_kernel_1_1, vex_blas_mc3_dgemm_kernel_0_0_b0, vex_blas_mc3_dgemm_kernel_0_1_b0,
    vex_blas_mc3_dgemm_kernel_1_0_b0, vex_blas_mc3_dgemm_kernel_1_1_b0;
}
