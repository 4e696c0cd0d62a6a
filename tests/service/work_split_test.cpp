// The range splits: every index in exactly one share, shares as even as promised, no overflow at the far end.
#include "service/work_split.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

namespace {

using Share = std::pair<vex_int, vex_int>;  // start and length

Share even(vex_int ithr, vex_int nthr, vex_int n) {
  vex_int length;
  const vex_int start = vex_serv_divbythreads(&ithr, &nthr, &n, &length);
  return {start, length};
}

Share blocks(vex_int ithr, vex_int nthr, vex_int n, vex_int nb) {
  vex_int length;
  const vex_int start = vex_serv_divbythreadsnb(&ithr, &nthr, &n, &nb, &length);
  return {start, length};
}

// Shares that follow each other without gap or overlap and end at n; empty ones may lie anywhere.
void expect_partition(vex_int nthr, vex_int n, const std::function<Share(vex_int)>& share) {
  vex_int next = 0;
  for (vex_int t = 0; t < nthr; ++t) {
    const auto [start, length] = share(t);
    ASSERT_TRUE(length == 0 || start == next) << "thread " << t << " of " << nthr << ", n " << n;
    ASSERT_GE(length, 0);
    ASSERT_LE(length, n - next);
    next += length;
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
    }
}

TEST(WorkSplit, SharesLieElsewhere) {
  const std::vector<Share> tens = {{0, 3}, {3, 3}, {6, 2}, {8, 2}};
  for (vex_int t = 0; t < 4; ++t) EXPECT_EQ(even(t, 4, 10), tens[static_cast<std::size_t>(t)]);
  EXPECT_EQ(blocks(0, 2, 10, 4), (Share{0, 4}));
  EXPECT_EQ(blocks(1, 3, 22, 4), (Share{8, 8}));  // five blocks and two left over
  EXPECT_EQ(blocks(2, 3, 22, 4), (Share{16, 6}));
}

TEST(WorkSplit, AThreadOutsideTheTeamGetsAShare) {
  for (const vex_int nthr : {-1, 0, 1, 4})
    for (const vex_int ithr : {4, 5, 100}) {
      EXPECT_EQ(even(ithr, nthr, 10), (Share{0, 0}));
      EXPECT_EQ(blocks(ithr, nthr, 10, 2), (Share{0, 0}));
    }
  EXPECT_EQ(even(0, 0, 10), (Share{0, 10}));
}
