// The range splits: every index in exactly one share, shares as even as promised, no overflow at the far end.
#include "service/work_split.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

namespace {

struct Share {
  vex_int start, length;
  bool operator==(const Share&) const = default;
};

std::ostream& operator<<(std::ostream& out, Share s) {
  return out << s.start << "+" << s.length;
}

Share even(vex_int ithr, vex_int nthr, vex_int n) {
  Share s;
  s.start = vex_serv_divbythreads(&ithr, &nthr, &n, &s.length);
  return s;
}

Share blocks(vex_int ithr, vex_int nthr, vex_int n, vex_int nb) {
  Share s;
  s.start = vex_serv_divbythreadsnb(&ithr, &nthr, &n, &nb, &s.length);
  return s;
}

Share triangle(vex_int ithr, vex_int nthr, vex_int n, char uplo) {
  Share s;
  s.start = vex_serv_divbythreadstr(&ithr, &nthr, &n, &uplo, &s.length);
  return s;
}

// Shares that follow each other without gap or overlap and end at n; empty ones may lie anywhere.
void expect_partition(vex_int nthr, vex_int n, const std::function<Share(vex_int)>& share) {
  vex_int next = 0;
  for (vex_int t = 0; t < nthr; ++t) {
    const Share s = share(t);
    ASSERT_TRUE(s.length == 0 || s.start == next)
        << "thread " << t << " of " << nthr << ", n " << n << ": " << s;
    ASSERT_GE(s.length, 0);
    ASSERT_LE(s.length, n - next);
    next += s.length;
  }
  ASSERT_EQ(next, n);
}

constexpr vex_int far_end = vex_int{1} << 62;
const std::vector<vex_int> lengths = {0,    1,       2,          7,           10,          64,     1000,
                                      4097, 1 << 20, 0x7fffffff, 0x100000001, far_end - 1, far_end};
const std::vector<vex_int> teams = {1, 2, 3, 4, 7, 56, 1000};

}  // namespace

TEST(WorkSplit, AnIndexBelongsToNoThreadOrToTwo) {
  for (const vex_int n : lengths)
    for (const vex_int nthr : teams) {
      expect_partition(nthr, n, [&](vex_int t) { return even(t, nthr, n); });
      for (const vex_int nb :
           {vex_int{-1}, vex_int{0}, vex_int{1}, vex_int{4}, vex_int{192}, vex_int{5} << 59, far_end})
        expect_partition(nthr, n, [&](vex_int t) { return blocks(t, nthr, n, nb); });
      for (const char uplo : {'U', 'u', 'L', 'l', '?'})
        expect_partition(nthr, n, [&](vex_int t) { return triangle(t, nthr, n, uplo); });
    }
}

TEST(WorkSplit, SharesLieElsewhere) {
  const std::vector<Share> tens = {{0, 3}, {3, 3}, {6, 2}, {8, 2}};
  // n = 10, nthr = 4: 55 elements, 13 a share; boundaries at the roots of 13, 26 and 39.
  const std::vector<Share> upper = {{0, 4}, {4, 2}, {6, 2}, {8, 2}}, lower = {{0, 2}, {2, 2}, {4, 2}, {6, 4}};
  for (vex_int t = 0; t < 4; ++t) {
    const auto i = static_cast<std::size_t>(t);
    EXPECT_EQ(even(t, 4, 10), tens[i]);
    EXPECT_EQ(triangle(t, 4, 10, 'u'), upper[i]);
    EXPECT_EQ(triangle(t, 4, 10, 'L'), lower[i]);
  }
  EXPECT_EQ(blocks(0, 2, 10, 4), (Share{0, 4}));
  EXPECT_EQ(blocks(1, 3, 22, 4), (Share{8, 8}));  // five blocks and two left over
  EXPECT_EQ(blocks(2, 3, 22, 4), (Share{16, 6}));
}

TEST(WorkSplit, AThreadOutsideTheTeamGetsAShare) {
  for (const vex_int nthr : {-1, 0, 1, 4})
    for (const vex_int ithr : {4, 5, 100}) {
      EXPECT_EQ(even(ithr, nthr, 10), (Share{0, 0}));
      EXPECT_EQ(blocks(ithr, nthr, 10, 2), (Share{0, 0}));
      EXPECT_EQ(triangle(ithr, nthr, 10, 'U'), (Share{0, 0}));
    }
  EXPECT_EQ(even(0, 0, 10), (Share{0, 10}));
}

// Column j of an upper triangle holds j + 1 elements, column j of a lower one n - j; one column more or less
// at either end of a share is all the imbalance there may be.
TEST(WorkSplit, TriangleSharesCarryUnequalWork) {
  const vex_int n = 5000;
  for (const vex_int nthr : {2, 3, 8, 56})
    for (const char uplo : {'U', 'L'})
      for (vex_int t = 0; t < nthr; ++t) {
        const Share s = triangle(t, nthr, n, uplo);
        double work = 0;
        for (vex_int j = s.start; j < s.start + s.length; ++j)
          work += static_cast<double>(uplo == 'U' ? j + 1 : n - j);
        EXPECT_LE(std::fabs(work - 0.5 * n * (n + 1) / static_cast<double>(nthr)), 2.0 * n) << uplo << t;
      }
}
