// The doors of the factorization engine: every argument by reference, integers 64-bit, character arguments
// with their lengths at the end of the list.
#pragma once

#include "service/types.h"

extern "C" {

// A = P L U in place. info: 0, k > 0 when U(k,k) is exactly zero (the first such k), -1002 when scratch
// memory was not obtained. Checks nothing: the entries run vex_lapack_errchk_dgetrf first.
void vex_lapack_dgetrf(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                       vex_int* info);

// Argument check of the factorization: info and result 0, or info < 0, a report through the error handler,
// and result 1.
int vex_lapack_errchk_dgetrf(const int* m, const int* n, const double* a, const int* lda, const int* ipiv,
                             int* info);
int vex_lapack_errchk_dgetrf_ilp64(const vex_int* m, const vex_int* n, const double* a, const vex_int* lda,
                                   const vex_int* ipiv, vex_int* info);

// A X = B (trans "N") or A' X = B ("T", "C") with the factors of vex_lapack_dgetrf; X overwrites B.
void vex_lapack_dgetrs(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a,
                       const vex_int* lda, const vex_int* ipiv, double* b, const vex_int* ldb, vex_int* info,
                       vex_int trans_length);

vex_int vex_lapack_ilaenv(const vex_int* ispec, const char* name, const char* opts, const vex_int* n1,
                          const vex_int* n2, const vex_int* n3, const vex_int* n4, vex_int name_length,
                          vex_int opts_length);

double vex_lapack_dlamch(const char* cmach, vex_int cmach_length);
}
