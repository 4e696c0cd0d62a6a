// Row interchanges recorded as pivot indices.
#pragma once

#include "blas/matrix_view.h"

extern "C" {

// For each row r from k1 to k2 (one-based): swaps rows r and ipiv(k1 + (r - k1) * |incx|) of the n columns of
// a, in ascending order of r when incx > 0 and descending when incx < 0; nothing when incx = 0. A pivot index
// outside 1 ... lda stops the routine, is reported as parameter 6 of DLASWP and leaves the swaps made before
// it.
void vex_lapack_xdlaswp(const vex_int* n, double* a, const vex_int* lda, const vex_int* k1, const vex_int* k2,
                        const vex_int* ipiv, const vex_int* incx);

// The same; more than 128 columns are split among the threads when incx = 1.
void vex_lapack_dlaswp(const vex_int* n, double* a, const vex_int* lda, const vex_int* k1, const vex_int* k2,
                       const vex_int* ipiv, const vex_int* incx);
}

namespace vex::lapack {

// The rows that a sequence of interchanges visits and the pivot index that belongs to each: both advance by a
// fixed step. `row` is one-based.
struct RowWalk {
  vex_int row, row_step, count;
  const vex_int* pivot;
  vex_int pivot_step;
};

RowWalk row_walk(vex_int k1, vex_int k2, const vex_int* ipiv, vex_int incx);

// The value-typed forms of the two routines above. `a` starts at the row that pivot index 1 means.
void xlaswp(MatrixView a, const RowWalk& walk);
void laswp(MatrixView a, vex_int k1, vex_int k2, const vex_int* ipiv, vex_int incx);

}  // namespace vex::lapack
