// The sequential routines of each code path. All arguments by reference, lengths of the character arguments
// last.
#pragma once

#include "service/types.h"

namespace vex::blas::engine {
struct PathEngine;
}

namespace vex::blas {

namespace engine {
struct PathEngine;
}
// How the path fills the records of a multiply-like operation, for engine/drivers.h to run it.
using EngineFunction = const engine::PathEngine*();

using DgemmFunction = void(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                           const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                           const double* b, const vex_int* ldb, const double* beta, double* c,
                           const vex_int* ldc, vex_int trans_a_length, vex_int trans_b_length);
using DgemmParallelFunction = int(const char* trans_a, const char* trans_b, const vex_int* m,
                                  const vex_int* n, const vex_int* k, const double* alpha, const double* a,
                                  const vex_int* lda, const double* b, const vex_int* ldb, const double* beta,
                                  double* c, const vex_int* ldc, const int* threads);
using DtrsmFunction = void(const char* side, const char* uplo, const char* trans, const char* diag,
                           const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                           const vex_int* lda, double* b, const vex_int* ldb, vex_int side_length,
                           vex_int uplo_length, vex_int trans_length, vex_int diag_length);
using DtrsvFunction = void(const char* uplo, const char* trans, const char* diag, const vex_int* n,
                           const double* a, const vex_int* lda, double* x, const vex_int* incx,
                           vex_int uplo_length, vex_int trans_length, vex_int diag_length);
using DgemvFunction = void(const char* trans, const vex_int* m, const vex_int* n, const double* alpha,
                           const double* a, const vex_int* lda, const double* x, const vex_int* incx,
                           const double* beta, double* y, const vex_int* incy, vex_int trans_length);
using DgerFunction = void(const vex_int* m, const vex_int* n, const double* alpha, const double* x,
                          const vex_int* incx, const double* y, const vex_int* incy, double* a,
                          const vex_int* lda);
using IdamaxFunction = vex_int(const vex_int* n, const double* x, const vex_int* incx);
using DcopyFunction = void(const vex_int* n, const double* x, const vex_int* incx, double* y,
                           const vex_int* incy);
using DscalFunction = void(const vex_int* n, const double* alpha, double* x, const vex_int* incx);
using DswapFunction = void(const vex_int* n, double* x, const vex_int* incx, double* y, const vex_int* incy);
using DdotFunction = double(const vex_int* n, const double* x, const vex_int* incx, const double* y,
                            const vex_int* incy);

}  // namespace vex::blas

extern "C" {

vex::blas::EngineFunction vex_blas_def_engine, vex_blas_cnr_def_engine, vex_blas_mc3_engine,
    vex_blas_avx2_engine, vex_blas_avx512_engine;
vex::blas::DgemmFunction vex_blas_def_xdgemm, vex_blas_cnr_def_xdgemm, vex_blas_mc3_xdgemm,
    vex_blas_avx2_xdgemm, vex_blas_avx512_xdgemm;
// Products with m, n or k equal to 1.
vex::blas::DgemmFunction vex_blas_def_xdgemmger, vex_blas_cnr_def_xdgemmger, vex_blas_mc3_xdgemmger,
    vex_blas_avx2_xdgemmger, vex_blas_avx512_xdgemmger;
// Products with a transposed A, a plain B and at most 15 columns; the letters are not looked at.
vex::blas::DgemmFunction vex_blas_avx512_dgemm_narrow;
vex::blas::DgemmParallelFunction vex_blas_def_xdgemm_par, vex_blas_cnr_def_xdgemm_par,
    vex_blas_mc3_xdgemm_par, vex_blas_avx2_xdgemm_par, vex_blas_avx512_xdgemm_par;
vex::blas::DtrsmFunction vex_blas_def_xdtrsm, vex_blas_cnr_def_xdtrsm, vex_blas_mc3_xdtrsm,
    vex_blas_avx2_xdtrsm, vex_blas_avx512_xdtrsm;
vex::blas::DtrsmFunction vex_blas_def_xdtrsm_v1, vex_blas_cnr_def_xdtrsm_v1, vex_blas_mc3_xdtrsm_v1,
    vex_blas_avx2_xdtrsm_v1, vex_blas_avx512_xdtrsm_v1;
vex::blas::DtrsvFunction vex_blas_def_xdtrsv, vex_blas_cnr_def_xdtrsv, vex_blas_mc3_xdtrsv,
    vex_blas_avx2_xdtrsv, vex_blas_avx512_xdtrsv;
vex::blas::DgemvFunction vex_blas_def_xdgemv, vex_blas_cnr_def_xdgemv, vex_blas_mc3_xdgemv,
    vex_blas_avx2_xdgemv, vex_blas_avx512_xdgemv;
vex::blas::DgerFunction vex_blas_def_xdger, vex_blas_cnr_def_xdger, vex_blas_mc3_xdger, vex_blas_avx2_xdger,
    vex_blas_avx512_xdger;
vex::blas::IdamaxFunction vex_blas_def_xidamax, vex_blas_cnr_def_xidamax, vex_blas_mc3_xidamax,
    vex_blas_avx2_xidamax, vex_blas_avx512_xidamax;
vex::blas::IdamaxFunction vex_blas_mc3_xidamax_nonan, vex_blas_avx2_xidamax_nonan;  // no element is a NaN
vex::blas::DcopyFunction vex_blas_def_xdcopy, vex_blas_cnr_def_xdcopy, vex_blas_mc3_xdcopy,
    vex_blas_avx2_xdcopy, vex_blas_avx512_xdcopy;
vex::blas::DscalFunction vex_blas_def_xdscal, vex_blas_cnr_def_xdscal, vex_blas_mc3_xdscal,
    vex_blas_avx2_xdscal, vex_blas_avx512_xdscal;
vex::blas::DswapFunction vex_blas_def_xdswap, vex_blas_cnr_def_xdswap, vex_blas_mc3_xdswap,
    vex_blas_avx2_xdswap, vex_blas_avx512_xdswap;
vex::blas::DdotFunction vex_blas_def_xddot, vex_blas_cnr_def_xddot, vex_blas_mc3_xddot, vex_blas_avx2_xddot,
    vex_blas_avx512_xddot;
}
