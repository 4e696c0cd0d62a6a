#include "lapack/laswp.h"

#include <gtest/gtest.h>

#include "tests/reference/lu.h"
#include "tests/support/caught_reports.h"
#include "tests/support/guarded_matrix.h"
#include "tests/support/thread_limit.h"

namespace {

using namespace vex::test;
using Laswp = decltype(vex_lapack_dlaswp);

struct Swaps {
  vex_int k1, k2, incx;
  std::vector<vex_int> ipiv;
};

// The definition, one row at a time over all columns.
void plain_laswp(vex::MatrixView a, const Swaps& s) {
  if (s.incx == 0) return;
  for (vex_int step = 0; step <= s.k2 - s.k1; ++step) {
    const vex_int r = s.incx > 0 ? s.k1 + step : s.k2 - step;
    const vex_int p = s.ipiv[static_cast<std::size_t>(s.k1 + (r - s.k1) * std::abs(s.incx) - 1)];
    for (vex_int j = 0; j < a.cols; ++j) std::swap(a(r - 1, j), a(p - 1, j));
  }
}

void expect_like_definition(Laswp& laswp, vex_int m, vex_int n, const Swaps& s) {
  // An index may lie below the rows of the range, anywhere in the leading dimension.
  GuardedMatrix got(m + 2, n, m + 2), wanted(m + 2, n, m + 2);
  for (GuardedMatrix* a : {&got, &wanted})
    a->fill_by([](vex_int i, vex_int j) { return static_cast<double>(i + 1000 * j); });
  plain_laswp(wanted.view(), s);
  laswp(&n, got.data(), &got.ld, &s.k1, &s.k2, s.ipiv.data(), &s.incx);
  ASSERT_EQ(got.values(), wanted.values()) << "rows " << s.k1 << " to " << s.k2 << ", increment " << s.incx;
  ASSERT_TRUE(got.guards_intact());
}

TEST(Laswp, SwapsInTheOrderOfTheDefinitionForEveryRangeAndIncrement) {
  const ThreadLimit limit(3);
  Random random(5);
  const vex_int m = 11;
  for (const vex_int n : {0, 1, 9, 128, 129, 131})
    for (vex_int k1 = 1; k1 <= m; k1 += 2)
      for (vex_int k2 = k1 - 1; k2 <= m; ++k2)
        for (const vex_int incx : {1, 2, -1, -3, 0}) {
          Swaps s{k1, k2, incx, std::vector<vex_int>(static_cast<std::size_t>(3 * m))};
          for (vex_int& p : s.ipiv) p = random.below(m + 2) + 1;
          for (Laswp* laswp : {&vex_lapack_xdlaswp, &vex_lapack_dlaswp})
            expect_like_definition(*laswp, m, n, s);
        }
}

TEST(Laswp, StopsAtAnIndexOutsideTheLeadingDimensionAndReportsIt) {
  const ThreadLimit limit(2);
  for (Laswp* laswp : {&vex_lapack_xdlaswp, &vex_lapack_dlaswp})
    for (const vex_int n : {1, 200})
      for (const vex_int incx : {1, -1})
        for (const vex_int bad : {vex_int{0}, vex_int{-5}, vex_int{9}, INT64_MAX, INT64_MIN}) {
          const CaughtReports reports;
          GuardedMatrix a(8, n, 8);
          for (vex_int i = 0; i < 8; ++i) a(i, 0) = static_cast<double>(i);
          std::vector<vex_int> ipiv = {2, 3, 4, 5, 6, 7};
          ipiv[incx > 0 ? 4 : 1] = bad;
          const vex_int k1 = 1, k2 = 6;
          laswp(&n, a.data(), &a.ld, &k1, &k2, ipiv.data(), &incx);
          EXPECT_EQ(reports.text(), "DLASWP:6 ");
          // The four swaps made before it have carried one row along.
          EXPECT_EQ(a(incx > 0 ? 4 : 2, 0), incx > 0 ? 0.0 : 6.0);
          EXPECT_TRUE(a.guards_intact());
        }
}

}  // namespace
