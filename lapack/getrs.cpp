// Solve with the factors: A X = B or A' X = B.
#include <algorithm>

#include "blas/blas.h"
#include "lapack/lapack.h"
#include "lapack/laswp.h"
#include "lapack/small/small.h"
#include "service/safe_string.h"
#include "service/xerbla.h"

namespace vex::lapack {
namespace {

using blas::Diag;
using blas::Trans;
using blas::Uplo;

// Below this many equations and right-hand sides the register-resident kernels do the work.
constexpr vex_int small_limit = 9;

// Up to this many equations a single right-hand side has a routine of its own. Nanoseconds with it and with
// the interchanges and two solves (AVX-512): 97 and 218 for 9 equations, 129 and 191 for 16, 289 and 378 for
// 32, 740 and 805 for 64, 2410 and 2450 for 128.
constexpr vex_int most_equations_of_single = 128;

// A few right-hand sides go through it one after the other, as long as packing the triangles for all of them
// takes longer. Nanoseconds one by one and together, AVX-512 and SSE4.2: 215 and 530, 212 and 678 for 2 with
// 9 equations; 505 and 588, 517 and 671 for 4 with 16; 1542 and 1922, 2633 and 2535 for 4 with 48; 2130 and
// 3756, 4491 and 4657 for 2 with 96. Six lose from 12 equations on.
bool go_one_by_one(vex_int n, vex_int nrhs) {
  constexpr vex_int most_single = 4, most_elements = 192;
  return nrhs == 1 ? n <= most_equations_of_single : nrhs <= most_single && n * nrhs <= most_elements;
}

// False, with B as it was, when the factors are unusual (solve_single.h).
bool solve_one_by_one(ConstMatrixView factors, const vex_int* ipiv, MatrixView x) {
  for (vex_int j = 0; j < x.cols; ++j) {
    if (vex_lapack_ps_dgetrs_single(&factors.rows, factors.data, &factors.ld, ipiv, x.col(j)) == 0)
      return false;
  }
  return true;
}

// X := op(T)^-1 X for the triangle T of the factors.
void solve_triangle(Uplo uplo, Trans trans, Diag diag, ConstMatrixView factors, MatrixView x) {
  if (x.cols == 1) return blas::trsv(uplo, trans, diag, factors, x.data, 1);
  blas::trsm(blas::Side::left, uplo, trans, diag, 1.0, factors, x);
}

void solve(ConstMatrixView factors, const vex_int* ipiv, MatrixView x) {
  laswp(x, 1, x.rows, ipiv, 1);
  solve_triangle(Uplo::lower, Trans::no, Diag::unit, factors, x);
  solve_triangle(Uplo::upper, Trans::no, Diag::non_unit, factors, x);
}

void solve_transposed(ConstMatrixView factors, const vex_int* ipiv, MatrixView x) {
  solve_triangle(Uplo::upper, Trans::yes, Diag::non_unit, factors, x);
  solve_triangle(Uplo::lower, Trans::yes, Diag::unit, factors, x);
  laswp(x, 1, x.rows, ipiv, -1);
}

// The number of the first parameter that is wrong, 0 when none is.
vex_int wrong_parameter(bool trans_known, vex_int n, vex_int nrhs, vex_int lda, vex_int ldb) {
  if (!trans_known) return 1;
  if (n < 0) return 2;
  if (nrhs < 0) return 3;
  if (lda < std::max<vex_int>(1, n)) return 5;
  if (ldb < std::max<vex_int>(1, n)) return 8;
  return 0;
}

}  // namespace
}  // namespace vex::lapack

void vex_lapack_dgetrs(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a,
                       const vex_int* lda, const vex_int* ipiv, double* b, const vex_int* ldb, vex_int* info,
                       vex_int trans_length) {
  using namespace vex::lapack;
  if (*n < small_limit && *nrhs < small_limit) {
    return vex_lapack_ps_dgetrs_small(trans, n, nrhs, a, lda, ipiv, b, ldb, info, trans_length);
  }
  const bool plain = vex_serv_lsame(trans, "N") != 0;
  const bool transposed = vex_serv_lsame(trans, "T") != 0 || vex_serv_lsame(trans, "C") != 0;
  const vex_int parameter = wrong_parameter(plain || transposed, *n, *nrhs, *lda, *ldb);
  *info = -parameter;
  if (parameter != 0) return vex_serv_xerbla("DGETRS", &parameter, 6);
  if (*n == 0 || *nrhs == 0) return;
  const vex::ConstMatrixView factors{a, *n, *n, *lda};
  const vex::MatrixView x{b, *n, *nrhs, *ldb};
  if (!plain) return solve_transposed(factors, ipiv, x);
  if (go_one_by_one(*n, *nrhs) && solve_one_by_one(factors, ipiv, x)) return;
  solve(factors, ipiv, x);
}
