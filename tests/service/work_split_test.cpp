// The range splits: every index in exactly one share, shares as even as promised, no overflow at the far end.
#include "service/work_split.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using Share = std::pair<vex_int, vex_int>;  // start and length

// By blocks of nb, or evenly where nb is `none`.
constexpr vex_int none = -99;
Share share(vex_int ithr, vex_int nthr, vex_int n, vex_int nb = none) {
  vex_int length;
  const vex_int start = nb == none ? vex_serv_divbythreads(&ithr, &nthr, &n, &length)
                                   : vex_serv_divbythreadsnb(&ithr, &nthr, &n, &nb, &length);
  return {start, length};
}

}  // namespace

TEST(WorkSplit, AnIndexBelongsToNoThreadOrToTwo) {
  constexpr vex_int far_end = vex_int{1} << 62;
  for (const vex_int n : {vex_int{0}, vex_int{1}, vex_int{7}, vex_int{64}, vex_int{1000}, vex_int{4097},
                          vex_int{0x7fffffff}, vex_int{0x100000001}, far_end - 1, far_end})
    for (const vex_int nthr : {1, 2, 3, 4, 7, 56, 1000})
      for (const vex_int nb :
           {none, vex_int{-1}, vex_int{0}, vex_int{1}, vex_int{4}, vex_int{192}, vex_int{5} << 59, far_end}) {
        vex_int next = 0;
        for (vex_int t = 0; t < nthr; ++t) {
          const auto [start, length] = share(t, nthr, n, nb);
          ASSERT_TRUE(length == 0 || start == next) << "thread " << t << " of " << nthr << ", n " << n;
          ASSERT_TRUE(0 <= length && length <= n - next);
          next += length;
        }
        ASSERT_EQ(next, n);
      }
}

TEST(WorkSplit, SharesLieElsewhereOrAThreadOutsideTheTeamGetsOne) {
  const std::vector<Share> tens = {{0, 3}, {3, 3}, {6, 2}, {8, 2}, {0, 0}};
  for (vex_int t = 0; t < 5; ++t) EXPECT_EQ(share(t, 4, 10), tens[static_cast<std::size_t>(t)]);
  EXPECT_EQ(share(0, 2, 10, 4), (Share{0, 4}));
  EXPECT_EQ(share(1, 3, 22, 4), (Share{8, 8}));  // five blocks and two left over
  EXPECT_EQ(share(2, 3, 22, 4), (Share{16, 6}));
  for (const vex_int nthr : {-1, 0, 1, 4}) EXPECT_EQ(share(4, nthr, 10, 2), (Share{0, 0}));
  EXPECT_EQ(share(0, 0, 10), (Share{0, 10}));
}
