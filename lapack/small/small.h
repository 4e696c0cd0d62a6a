// Factorization and solve of systems so small that the call itself is most of the cost: no blocking, no
// threads, no calls into other kernels, one routine of each kind per code path.
#pragma once

#include "service/types.h"

extern "C" {

using vex_dgetrf_small = void(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                              vex_int* ipiv, vex_int* info);
using vex_dgetrs_small = void(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a,
                              const vex_int* lda, const vex_int* ipiv, double* b, const vex_int* ldb,
                              vex_int* info, vex_int trans_length);

// A = P L U for max(m, n) <= 16, by the routine of this machine's code path. Arguments as vex_lapack_dgetrf.
// Ends the process with message 1226 and status 1 when the code path has no such routine.
vex_dgetrf_small vex_lapack_ps_dgetrf_small;
vex_dgetrf_small vex_lapack_ps_def_dgetrf_small, vex_lapack_ps_mc3_dgetrf_small,
    vex_lapack_ps_avx2_dgetrf_small, vex_lapack_ps_avx512_dgetrf_small;

// A = P L U of any shape by one thread, left-looking, without the blocks of the blocked form: the routine of
// this machine's code path, and those of each.
vex_dgetrf_small vex_lapack_ps_dgetf2;
vex_dgetrf_small vex_lapack_ps_def_dgetf2, vex_lapack_ps_mc3_dgetf2, vex_lapack_ps_avx2_dgetf2,
    vex_lapack_ps_avx512_dgetf2;

// A X = B or A' X = B for n < 9 and nrhs < 9. Arguments, and their check, as vex_lapack_dgetrs.
vex_dgetrs_small vex_lapack_ps_dgetrs_small;
vex_dgetrs_small vex_lapack_ps_def_dgetrs_small, vex_lapack_ps_mc3_dgetrs_small,
    vex_lapack_ps_avx2_dgetrs_small, vex_lapack_ps_avx512_dgetrs_small;

// A x = b for 0 < n <= 128 and arguments that are right, without the vector routines. 0 and an untouched b
// when the case is not an ordinary one: a pivot index outside the matrix, or a number on the diagonal whose
// reciprocal loses bits or does not exist.
using vex_dgetrs_single = int(const vex_int* n, const double* a, const vex_int* lda, const vex_int* ipiv,
                              double* b);
vex_dgetrs_single vex_lapack_ps_dgetrs_single;
vex_dgetrs_single vex_lapack_ps_def_dgetrs_single, vex_lapack_ps_mc3_dgetrs_single,
    vex_lapack_ps_avx2_dgetrs_single, vex_lapack_ps_avx512_dgetrs_single;
}
