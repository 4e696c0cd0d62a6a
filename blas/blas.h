// The doors of the dense kernel floor. Each routine comes twice: the value-typed function that the engine
// above calls, and the named routine that takes every argument by reference with the lengths of its character
// arguments at the end. The plain names may use threads; the x names run on the calling thread.
#pragma once

#include "blas/matrix_view.h"
#include "service/types.h"

namespace vex::blas {

enum class Side : char { left = 'L', right = 'R' };
enum class Uplo : char { lower = 'L', upper = 'U' };
enum class Trans : char { no = 'N', yes = 'T' };
enum class Diag : char { non_unit = 'N', unit = 'U' };

// C := alpha * op(A) * op(B) + beta * C. C is m x n (its rows and cols), the inner extent k is op(A)'s
// columns. beta = 0 stores without reading C.
void gemm(Trans trans_a, Trans trans_b, double alpha, ConstMatrixView a, ConstMatrixView b, double beta,
          MatrixView c);
void xgemm(Trans trans_a, Trans trans_b, double alpha, ConstMatrixView a, ConstMatrixView b, double beta,
           MatrixView c);

// op(A) * X = alpha * B (left) or X * op(A) = alpha * B (right); X overwrites B.
void trsm(Side side, Uplo uplo, Trans trans, Diag diag, double alpha, ConstMatrixView a, MatrixView b);
void xtrsm(Side side, Uplo uplo, Trans trans, Diag diag, double alpha, ConstMatrixView a, MatrixView b);

// op(A) * x = b with one right-hand side; x overwrites b. A is square.
void trsv(Uplo uplo, Trans trans, Diag diag, ConstMatrixView a, double* x, vex_int incx);

// y := alpha * op(A) * x + beta * y.
void xgemv(Trans trans, double alpha, ConstMatrixView a, const double* x, vex_int incx, double beta,
           double* y, vex_int incy);

// A := alpha * x * y' + A.
void ger(double alpha, const double* x, vex_int incx, const double* y, vex_int incy, MatrixView a);

// One-based index of the first element of largest magnitude; the first NaN wins over everything. 0 when n < 1
// or incx < 1.
vex_int idamax(vex_int n, const double* x, vex_int incx);
vex_int xidamax(vex_int n, const double* x, vex_int incx);

void copy(vex_int n, const double* x, vex_int incx, double* y, vex_int incy);
void scal(vex_int n, double alpha, double* x, vex_int incx);
void xswap(vex_int n, double* x, vex_int incx, double* y, vex_int incy);
double xdot(vex_int n, const double* x, vex_int incx, const double* y, vex_int incy);

}  // namespace vex::blas
