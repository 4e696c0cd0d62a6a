#include <cmath>
#include <limits>

#include "lapack/lapack.h"
#include "lapack/small/small.h"
#include "tests/lapack/factored.h"
#include "tests/reference/dense.h"
#include "tests/support/caught_reports.h"

namespace {

using namespace vex::test;
using vex::ConstMatrixView;

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Problem {
  GuardedMatrix factors, b;
  std::vector<vex_int> ipiv;
  vex_int info = -77;

  // Both operands with unused rows between the columns.
  Problem(ConstMatrixView lu, vex_int nrhs, const std::vector<vex_int>& pivots)
      : factors(lu, 1), b(lu.rows, nrhs, lu.rows + 2), ipiv(pivots) {}
  void solve(char trans) {
    vex_lapack_dgetrs(&trans, &b.rows, &b.cols, factors.data(), &factors.ld, ipiv.data(), b.data(), &b.ld,
                      &info, 1);
  }
};

// A right-hand side made from a whole-numbered solution of a matrix with short binary factors: no rounding on
// the way, so the solution has to come back to the last bit, through interchanges and both triangles.
void expect_exact(char trans, vex_int n, vex_int nrhs) {
  const ExactLu lu = exact_lu(n, n, Pivots::scattered, static_cast<std::uint64_t>(n));
  Problem p({lu.factors.data(), n, n, n}, nrhs, lu.ipiv);
  const bool plain = trans == 'N' || trans == 'n';
  const auto wanted = [](vex_int i, vex_int c) { return static_cast<double>((i * 7 + c * 3) % 5 - 2); };
  p.b.fill_by([&](vex_int i, vex_int c) {
    double sum = 0;
    for (vex_int k = 0; k < n; ++k) sum += (plain ? lu.matrix()(i, k) : lu.matrix()(k, i)) * wanted(k, c);
    return sum;
  });
  p.solve(trans);
  ASSERT_EQ(p.info, 0);
  GuardedMatrix solution(n, nrhs, n);
  solution.fill_by(wanted);
  ASSERT_EQ(p.b.values(), solution.values()) << trans << ", " << n << " by " << nrhs;
  ASSERT_TRUE(p.b.guards_intact() && p.factors.guards_intact());
}

void expect_close(char trans, vex_int n, vex_int nrhs) {
  GuardedMatrix a(n, n, n), b(n, nrhs, n);
  fill_random(a.view(), static_cast<std::uint64_t>(n));
  fill_random(b.view(), static_cast<std::uint64_t>(nrhs));
  const Factored lu(a.view(), 0, vex_lapack_dgetrf);
  Problem p(lu.a.view(), nrhs, lu.ipiv);
  p.b.fill_by([&](vex_int i, vex_int c) { return b(i, c); });
  p.solve(trans);
  ASSERT_EQ(p.info, 0);
  const vex::reference::Answer product = vex::reference::multiply(
      trans != 'N', false, n, nrhs, n, 1, a.data(), n, p.b.data(), p.b.ld, 0, nullptr, 0);
  const double allowed = 2 * static_cast<double>(n) * std::numeric_limits<double>::epsilon();
  for (vex_int c = 0; c < nrhs; ++c)
    for (vex_int i = 0; i < n; ++i)
      ASSERT_LE(std::fabs(product.at(i, c) - b(i, c)), allowed * product.size_at(i, c))
          << trans << ", " << n << " by " << nrhs;
}

TEST(Getrs, SolvesEverySmallShapeToTheLastBit) {
  for (const char trans : {'N', 'n', 'T', 't', 'C', 'c'})
    for (vex_int n = 1; n <= 20; ++n)
      for (vex_int nrhs = 1; nrhs <= 10; ++nrhs) expect_exact(trans, n, nrhs);
}

TEST(Getrs, StaysWithinTheComponentwiseBoundOnRandomMatrices) {
  for (const char trans : {'N', 'T'})
    for (const vex_int n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 17, 40, 133})
      for (const vex_int nrhs : {1, 2, 3, 4, 5, 6, 7, 8, 9, 100}) expect_close(trans, n, nrhs);
}

// Where multiplying by a reciprocal would not do, and where a pivot index is no row.
TEST(Getrs, DividesByEveryDiagonalAndRefusesEveryBadPivotWithOneRightHandSide) {
  for (const double diagonal : {0.0, 0x1p-1074, -0x1.8p-1023, 1.7e308, infinity}) {
    Problem p(GuardedMatrix(20, 20, 20).view(), 1, {});
    for (vex_int i = 0; i < 20; ++i) p.factors(i, i) = i > 0 ? 1 : diagonal, p.ipiv.push_back(i + 1);
    p.b(0, 0) = diagonal < 1 ? 0x3p-1074 : 3;
    const double wanted = p.b(0, 0) / diagonal;
    p.solve('N');
    EXPECT_EQ(p.b(0, 0), wanted) << diagonal;
    p.ipiv[3] = 0;
    const CaughtReports reports;
    p.solve('N');
    EXPECT_EQ(reports.text(), "DLASWP:6 ");
  }
}

TEST(Getrs, ReportsTheFirstWrongArgumentOnBothPaths) {
  constexpr vex_int least = std::numeric_limits<vex_int>::min();
  const struct {
    char trans;
    vex_int n, nrhs, lda, ldb, wrong;
  } cases[] = {
      {'X', -1, -1, 0, 0, 1}, {'X', 20, 1, 20, 20, 1}, {'N', -1, -1, 0, 0, 2}, {'N', least, 9, 1, 1, 2},
      {'T', 3, -1, 0, 0, 3},  {'T', 20, -1, 0, 0, 3},  {'c', 3, 2, 2, 0, 5},   {'N', 20, 2, 19, 0, 5},
      {'N', 3, 2, 3, 2, 8},   {'N', 20, 2, 20, 19, 8}, {'N', 0, 0, 0, 1, 5},   {'N', 0, 12, 1, 0, 8},
      {'N', 0, 5, 1, 1, 0},   {'N', 5, 0, 5, 5, 0},    {'N', 0, 20, 1, 1, 0},  {'N', 20, 0, 20, 20, 0}};
  for (const auto& c : cases) {  // and nothing is touched where there is nothing to solve
    const CaughtReports reports;
    vex_int info = -77;
    vex_lapack_dgetrs(&c.trans, &c.n, &c.nrhs, nullptr, &c.lda, nullptr, nullptr, &c.ldb, &info, 1);
    EXPECT_EQ(info, -c.wrong);
    EXPECT_EQ(reports.text(), c.wrong ? "DGETRS:" + std::to_string(c.wrong) + " " : "");
  }
}

}  // namespace
