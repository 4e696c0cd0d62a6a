// What only the smallest orders do, on whatever code path the process runs; the build tries every path.

#include <cmath>
#include <limits>

#include "tests/lapack/factored.h"

namespace {

using namespace vex::test;

TEST(GetrfSmall, UnrolledOrdersDisagreeWithTheLoop) {
  for (vex_int n = 3; n <= 7; ++n)
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
      // A further column changes nothing about the others but sends the matrix to the loop.
      GuardedMatrix source(n, n + 1, n);
      fill_random(source.view(), seed);
      const Factored wide(source.view(), 0, vex_lapack_dgetrf);
      const Factored square(source.view().block(0, 0, n, n), 0, vex_lapack_dgetrf);
      ASSERT_EQ(square.ipiv, wide.ipiv);
      ASSERT_EQ(square.a.values(), GuardedMatrix(wide.a.view().block(0, 0, n, n)).values()) << n;
    }
}

TEST(GetrfSmall, NonFiniteNumbersReachFinishedRowsOrColumns) {
  for (vex_int n = 3; n <= 30; ++n)
    for (const vex_int column : {vex_int{2}, n - 1}) {
      // The pivots stay where they are; the infinity meets only what the elimination combines it with.
      GuardedMatrix a(n, n, n);
      for (vex_int i = 0; i < n; ++i) a(i, i) = 4;
      a(1, column) = std::numeric_limits<double>::infinity();
      a(2, 0) = 1;
      const Factored got(a.view(), 0, vex_lapack_dgetrf);
      EXPECT_EQ(got.info, 0);
      for (vex_int j = 0; j < n; ++j)
        for (vex_int i = 0; i < n; ++i) {
          const bool reached = (j == column && i >= 1) || (j > column && i > column);  // 0 * infinity
          EXPECT_TRUE(reached || std::isfinite(got.a(i, j))) << n << ": " << i << ", " << j;
        }
    }
}

TEST(GetrfSmall, MultiplierOfOrderTwoNotFormedByDivision) {
  int differs = 0;
  for (std::uint64_t seed = 1; seed <= 100; ++seed) {
    GuardedMatrix a(2, 2, 2);
    fill_random(a.view(), seed);
    const double large = std::max(std::fabs(a(0, 0)), std::fabs(a(1, 0)));
    const double small = std::min(std::fabs(a(0, 0)), std::fabs(a(1, 0)));
    EXPECT_EQ(std::fabs(Factored(a.view(), 0, vex_lapack_dgetrf).a(1, 0)), small / large);
    differs += small / large != small * (1 / large);
  }
  EXPECT_GT(differs, 0) << "the data cannot tell a division from a multiplication";
}

TEST(GetrsSmall, NoReciprocalsOrAZeroPivotSpreadDownwards) {
  const vex_int nrhs = 5;
  for (vex_int n = 1; n <= 8; ++n) {
    GuardedMatrix factors(n, n, n), b(n, nrhs, n);
    std::vector<vex_int> ipiv;
    for (vex_int i = 0; i < n; ++i) ipiv.push_back(i + 1), factors(i, i) = i == n / 2 ? 0 : 49;
    b.fill(5.0);
    vex_int info = -77;
    vex_lapack_dgetrs("N", &n, &nrhs, factors.data(), &n, ipiv.data(), b.data(), &n, &info, 1);
    for (vex_int c = 0; c < nrhs; ++c) {
      for (vex_int i = n / 2 + 1; i < n; ++i) EXPECT_EQ(b(i, c), 5 * (1.0 / 49)) << "order " << n;
      EXPECT_FALSE(std::isfinite(b(n / 2, c)));
    }
  }
}

}  // namespace
