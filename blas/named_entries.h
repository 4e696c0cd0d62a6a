// The named entries of the dense kernel floor: the routines that other languages and tools know by name.
#pragma once

#include "blas/paths.h"

extern "C" {

// Checks its arguments (reported to the error handler by position), may use threads.
vex::blas::DgemmFunction vex_blas_dgemm;
vex::blas::DtrsmFunction vex_blas_dtrsm;
vex::blas::DtrsvFunction vex_blas_dtrsv;
vex::blas::DgerFunction vex_blas_dger;
vex::blas::IdamaxFunction vex_blas_idamax;
vex::blas::DcopyFunction vex_blas_dcopy;
vex::blas::DscalFunction vex_blas_dscal;

// Checks nothing, may use threads: a product with m, n or k equal to 1.
vex::blas::DgemmFunction vex_blas_dgemmger;

// Checks nothing, runs on the calling thread.
vex::blas::DgemmFunction vex_blas_xdgemm;
vex::blas::DgemmFunction vex_blas_xdgemmger;
vex::blas::DtrsmFunction vex_blas_xdtrsm;
vex::blas::DtrsvFunction vex_blas_xdtrsv;
vex::blas::DgemvFunction vex_blas_xdgemv;
vex::blas::DgerFunction vex_blas_xdger;
vex::blas::IdamaxFunction vex_blas_xidamax;
vex::blas::DcopyFunction vex_blas_xdcopy;
vex::blas::DscalFunction vex_blas_xdscal;
vex::blas::DswapFunction vex_blas_xdswap;
vex::blas::DdotFunction vex_blas_xddot;

// The rank-one update by *threads threads, each with its own columns of A; by the calling one when that is 1.
void vex_blas_dger_omp(const vex_int* m, const vex_int* n, const double* alpha, const double* x,
                       const vex_int* incx, const double* y, const vex_int* incy, double* a,
                       const vex_int* lda, const int* threads);

// Checks nothing. The path's own way to share a product among *threads threads: 1 when it has done it, 0 when
// it has none.
vex::blas::DgemmParallelFunction vex_blas_xdgemm_par;
}
