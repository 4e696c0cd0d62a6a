// Factorization of a whole matrix or of a tall block of columns by the calling thread.
#pragma once

#include "blas/matrix_view.h"

extern "C" {

// Unblocked A = P L U, left-looking. ipiv receives min(m, n) one-based pivot rows; info 0, or the first
// column (one-based) whose pivot is exactly zero.
void vex_lapack_dgetf2(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                       vex_int* info);

// Blocked A = P L U. thread and first_column (0 when the caller factors a whole matrix) are what the progress
// callback hears. Returns 0, or 1 when that callback asked to stop; the matrix is then half done. The first
// form multiplies and solves through the public kernel layer, which may use threads, the second on the
// calling thread.
int vex_lapack_dgetrf_local(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                            vex_int* info, const vex_int* thread, const vex_int* first_column);
int vex_lapack_xdgetrf_local(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                             vex_int* info, const vex_int* thread, const vex_int* first_column);

// The sequential way for a whole matrix: the first of the two forms, info -1002 when it was stopped.
void vex_lapack_xdgetrf(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                        vex_int* info);
}

namespace vex::lapack {

// info of a factorization that ended early: scratch memory was not obtained, or a stop was asked for.
inline constexpr vex_int info_not_finished = -1002;

}  // namespace vex::lapack
