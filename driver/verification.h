// The kernels that verify a solution. Each is one parallel region over fixed blocks of rows, so that its
// result has the same bits for every number of threads. Matrices are column-major, leading dimensions in
// elements.
#pragma once

#include <cstdint>

extern "C" {

// y(1..m) = y - A x for the m by n matrix A.
void mxpy_(const std::int32_t* m, const std::int32_t* n, const double* a, const std::int32_t* lda,
           const double* x, double* y);

// Largest |v(i)|, i = 1..m; only the first column is read. 0 for m = 0. NaN when an entry is NaN.
double normi_(const std::int32_t* m, const std::int32_t* n, const double* v, const std::int32_t* ldv);

// Largest sum of |a(i, j)| over a row i = 1..m: the infinity norm, whatever its name says. 0 for m = 0. NaN
// when an entry is NaN.
double norm1_(const std::int32_t* m, const std::int32_t* n, const double* a, const std::int32_t* lda);
}
