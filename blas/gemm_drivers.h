// The ways in which threads share one multiply. All cut C and never the inner dimension, so every element of
// C sees the same operations for every thread count and whichever driver runs; a team that is smaller than
// asked for takes more parts each.
//
//     driver                    C cut into  op(A)          op(B)          best for
//     1D_row                    rows        own            all, by each   few columns or threads
//     1D_col                    columns     all, by each   own            few rows or threads
//     2D_xgemm_p                a grid      own, by each   own, by each   small C
//     2D_bsrc                   columns     shared, ahead  read in place  very few rows
//     2D_acopy_n                columns     shared, ahead  own            wide C
//     2D_bcopy                  rows        own            shared         tall C
//     2D_abcopy_abx_m_km_par_p  a grid      shared         shared         many threads
//
// "own" and "by each" are packed by every thread for itself; "shared" by all together (shared_copy.h).
#pragma once

#include "blas/gemm_product.h"
#include "blas/gemm_threads.h"

extern "C" {

// Each runs the whole product on state->chosen threads in the grid state->parts. 0, or 1 when the memory to
// be shared was not to be had: C is untouched then. The first three share none and always succeed.
using vex_gemm_driver = int(const vex::blas::Product* product, const vex::blas::ThreadState* state);
vex_gemm_driver vex_blas_dgemm_1D_row, vex_blas_dgemm_1D_col, vex_blas_dgemm_2D_xgemm_p,
    vex_blas_dgemm_2D_bsrc, vex_blas_dgemm_2D_acopy_n, vex_blas_dgemm_2D_bcopy,
    vex_blas_dgemm_2D_abcopy_abx_m_km_par_p;
}

namespace vex::blas {

// The driver of state.driver, and 2D_xgemm_p in its place when memory is short.
void run_driver(const Product& product, const ThreadState& state);

}  // namespace vex::blas
