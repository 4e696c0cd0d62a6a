#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "lapack/lapack.h"
#include "lapack/small/small.h"
#include "tests/reference/lu.h"
#include "tests/support/caught_reports.h"
#include "tests/support/guarded_matrix.h"

namespace {

using namespace vex::test;

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Problem {
  GuardedMatrix factors, b;
  std::vector<vex_int> ipiv;
  vex_int info = -77;

  void solve(char trans) {
    const vex::MatrixView lu = factors.view(), x = b.view();
    vex_lapack_dgetrs(&trans, &x.rows, &x.cols, lu.data, &lu.ld, ipiv.data(), x.data, &x.ld, &info, 1);
  }
};

// Both operands with unused rows between the columns.
Problem problem(vex_int n, vex_int nrhs) {
  return {GuardedMatrix(n, n, n + 1), GuardedMatrix(n, nrhs, n + 2),
          std::vector<vex_int>(static_cast<std::size_t>(n))};
}

// A right-hand side made from a whole-numbered solution of a matrix with short binary factors: no rounding on
// the way, so the solution has to come back to the last bit, through interchanges and both triangles.
void expect_exact(char trans, vex_int n, vex_int nrhs) {
  const ExactLu lu = exact_lu(n, n, Pivots::scattered, static_cast<std::uint64_t>(n));
  Problem p = problem(n, nrhs);
  p.ipiv = lu.ipiv;
  const auto wanted = [](vex_int i, vex_int c) { return static_cast<double>((i * 7 + c * 3) % 5 - 2); };
  for (vex_int j = 0; j < n; ++j) {
    for (vex_int i = 0; i < n; ++i) p.factors(i, j) = lu.factors[static_cast<std::size_t>(i + j * n)];
  }
  for (vex_int c = 0; c < nrhs; ++c) {
    for (vex_int i = 0; i < n; ++i) {
      for (vex_int k = 0; k < n; ++k) {
        const vex_int at = trans == 'N' || trans == 'n' ? i + k * n : k + i * n;
        p.b(i, c) += lu.a[static_cast<std::size_t>(at)] * wanted(k, c);
      }
    }
  }
  p.solve(trans);
  ASSERT_EQ(p.info, 0);
  for (vex_int c = 0; c < nrhs; ++c) {
    for (vex_int i = 0; i < n; ++i)
      ASSERT_EQ(p.b(i, c), wanted(i, c)) << trans << ", " << n << " by " << nrhs;
  }
  ASSERT_TRUE(p.b.guards_intact() && p.factors.guards_intact());
}

void expect_close(char trans, vex_int n, vex_int nrhs) {
  Problem p = problem(n, nrhs);
  GuardedMatrix b(n, nrhs, n);
  fill_random(p.factors.view(), static_cast<std::uint64_t>(n));
  fill_random(b.view(), static_cast<std::uint64_t>(nrhs));
  for (vex_int c = 0; c < nrhs; ++c) std::copy_n(b.view().col(c), n, p.b.view().col(c));
  const vex::MatrixView lu = p.factors.view();
  vex_lapack_dgetrf(&n, &n, lu.data, &lu.ld, p.ipiv.data(), &p.info);
  p.solve(trans);
  ASSERT_EQ(p.info, 0);
  ASSERT_LE(solve_error(trans != 'N', p.factors.view(), p.ipiv, p.b.view(), b.view()), 4.0)
      << trans << ", " << n << " by " << nrhs;
}

TEST(Getrs, SolvesEverySmallShapeToTheLastBit) {
  for (const char trans : {'N', 'n', 'T', 't', 'C', 'c'}) {
    for (vex_int n = 1; n <= 20; ++n) {
      for (vex_int nrhs = 1; nrhs <= 10; ++nrhs) expect_exact(trans, n, nrhs);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Getrs, StaysWithinTheComponentwiseBoundOnRandomMatrices) {
  for (const char trans : {'N', 'T'}) {
    for (const vex_int n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 17, 40, 133}) {
      for (const vex_int nrhs : {1, 2, 3, 4, 5, 6, 7, 8, 9, 100}) expect_close(trans, n, nrhs);
      if (HasFatalFailure()) return;
    }
  }
}

// Where multiplying by a reciprocal would not do, and where a pivot index is no row.
TEST(Getrs, DividesByEveryDiagonalAndRefusesEveryBadPivotWithOneRightHandSide) {
  for (const double diagonal : {0.0, 0x1p-1074, -0x1.8p-1023, 1.7e308, infinity}) {
    Problem p = problem(20, 1);
    for (vex_int i = 0; i < 20; ++i) p.factors(i, i) = 1, p.ipiv[static_cast<std::size_t>(i)] = i + 1;
    p.factors(0, 0) = diagonal;
    p.b(0, 0) = diagonal < 1 ? 0x3p-1074 : 3;
    const double wanted = p.b(0, 0) / diagonal;
    p.solve('N');
    EXPECT_EQ(p.b(0, 0), wanted) << diagonal;
    p.ipiv[3] = 0;
    const CaughtReports reports;
    p.solve('N');
    EXPECT_EQ(reports.list(), (std::vector<std::pair<std::string, vex_int>>{{"DLASWP", 6}}));
  }
}

TEST(Getrs, ReportsTheFirstWrongArgumentOnBothPaths) {
  constexpr vex_int least = std::numeric_limits<vex_int>::min();
  struct Case {
    char trans;
    vex_int n, nrhs, lda, ldb, wrong;
  };
  for (const Case& c : {Case{'X', -1, -1, 0, 0, 1},
                        {'X', 20, 1, 20, 20, 1},
                        {'N', -1, -1, 0, 0, 2},
                        {'N', least, 9, 1, 1, 2},
                        {'T', 3, -1, 0, 0, 3},
                        {'T', 20, -1, 0, 0, 3},
                        {'c', 3, 2, 2, 0, 5},
                        {'N', 20, 2, 19, 0, 5},
                        {'N', 3, 2, 3, 2, 8},
                        {'N', 20, 2, 20, 19, 8},
                        {'N', 0, 0, 0, 1, 5},
                        {'N', 0, 12, 1, 0, 8}}) {
    const CaughtReports reports;
    vex_int info = -77;
    vex_lapack_dgetrs(&c.trans, &c.n, &c.nrhs, nullptr, &c.lda, nullptr, nullptr, &c.ldb, &info, 1);
    EXPECT_EQ(info, -c.wrong);
    EXPECT_EQ(reports.list(), (std::vector<std::pair<std::string, vex_int>>{{"DGETRS", c.wrong}}));
  }
}

TEST(Getrs, TouchesNothingWithoutEquationsOrRightHandSides) {
  const vex_int zero = 0, one = 1, five = 5, twenty = 20;
  for (const auto& [n, nrhs] :
       {std::pair(&zero, &five), {&five, &zero}, {&zero, &twenty}, {&twenty, &zero}}) {
    vex_int info = -77;
    vex_lapack_dgetrs("N", n, nrhs, nullptr, *n > 0 ? n : &one, nullptr, nullptr, *n > 0 ? n : &one, &info,
                      1);
    EXPECT_EQ(info, 0);
  }
}

}  // namespace
