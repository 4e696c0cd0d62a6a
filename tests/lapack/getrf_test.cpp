#include "lapack/getrf.h"

#include <cmath>
#include <limits>
#include <tuple>

#include "lapack/lapack.h"
#include "lapack/panel.h"
#include "tests/lapack/factored.h"
#include "tests/support/thread_limit.h"

namespace {

using vex::lapack::Way;
using namespace vex::test;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double safe_minimum = std::numeric_limits<double>::min();

Factored factor(const GuardedMatrix& source, vex_int gap = 3) {
  return {source.view(), gap, vex_lapack_dgetrf};
}

// Small backward errors, and multipliers that only the largest candidate in each column leaves that small.
void expect_close(vex_int m, vex_int n, std::uint64_t seed) {
  GuardedMatrix source(m, n, m);
  fill_random(source.view(), seed);
  const Factored got = factor(source);
  ASSERT_EQ(got.info, 0);
  ASSERT_LE(factor_error(source.view(), got.a.view(), got.ipiv), 2.0) << m << " x " << n;
  for (vex_int j = 0; j < n; ++j)
    for (vex_int i = j + 1; i < m; ++i) ASSERT_LE(std::fabs(got.a(i, j)), 1.0) << m << " x " << n;
  ASSERT_TRUE(got.a.guards_intact());
}

TEST(Getrf, FactorsEverySmallShapeToTheLastBit) {
  for (vex_int m = 0; m <= 40; ++m)
    for (vex_int n = 0; n <= 40; ++n)
      for (const Pivots kind : all_pivots) {
        const ExactLu wanted = exact_lu(m, n, kind, static_cast<std::uint64_t>(m * 41 + n));
        ASSERT_TRUE(is_exact(wanted, {wanted.matrix(), n % 3, vex_lapack_dgetrf}));
        ASSERT_TRUE(is_exact(wanted, {wanted.matrix(), n % 3, vex_lapack_dgetf2})) << "unblocked";
      }
}

TEST(Getrf, FactorsLargeShapesToTheLastBitOnAnyThreadCount) {
  // Square, wide and tall; either side of the block widths and of the bounds between the ways; the last two
  // are tall enough for halved panels and for the tall-skinny way.
  constexpr vex_int shapes[][2] = {{49, 49},   {97, 200},   {129, 129}, {300, 300}, {260, 40},
                                   {777, 513}, {530, 1010}, {40, 1500}, {2200, 96}, {5000, 130}};
  for (const auto& [m, n] : shapes)
    for (const Pivots kind : all_pivots) {
      const ExactLu wanted = exact_lu(m, n, kind, static_cast<std::uint64_t>(m));
      for (const int threads : {1, 3}) {
        const ThreadLimit limit(threads);
        ASSERT_TRUE(is_exact(wanted, {wanted.matrix(), 5, vex_lapack_dgetrf})) << threads << " threads";
      }
      ASSERT_TRUE(is_exact(wanted, {wanted.matrix(), 1, vex_lapack_dgetf2})) << "unblocked";
    }
}

TEST(Getrf, StaysWithinTheComponentwiseBoundOnRandomMatrices) {
  for (vex_int m = 1; m <= 40; ++m)
    for (vex_int n = 1; n <= 40; n += m <= 16 ? 1 : 3)
      expect_close(m, n, 7 + static_cast<std::uint64_t>(m * 41 + n));
  for (const auto& [m, n] : {std::tuple<vex_int, vex_int>{160, 160}, {301, 120}, {120, 301}, {1100, 50}})
    expect_close(m, n, 3);
}

TEST(Getrf, EndsWithPivotsInRangeWhateverTheMatrixHolds) {
  const double specials[] = {not_a_number, infinity, -infinity, 0.0, -0.0, 5e-324, safe_minimum, 1.0};
  for (const vex_int n : {1, 2, 3, 4, 5, 6, 7, 8, 11, 16, 17, 60, 130})
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
      SCOPED_TRACE(testing::Message() << "order " << n << ", seed " << seed);
      Random random(seed);
      GuardedMatrix source(n, n, n);
      fill_random(source.view(), seed);
      for (vex_int hits = random.below(2 * n) + 1; hits > 0; --hits) {
        source(random.below(n), 0) = specials[random.below(8)];
        source(random.below(n), random.below(n)) = specials[random.below(8)];
      }
      const Factored got = factor(source, 1);
      for (vex_int j = 0; j < n; ++j) {
        const vex_int pivot = got.ipiv[static_cast<std::size_t>(j)];
        ASSERT_TRUE(j < pivot && pivot <= n);
      }
      // The smallest orders scan for a greater magnitude, which no NaN has; the others take the first NaN.
      const auto less = [small = n <= 16](double u, double v) {
        return std::fabs(u) < std::fabs(v) || (!small && std::isnan(v) && !std::isnan(u));
      };
      vex_int first = 0;
      for (vex_int i = 1; i < n; ++i)
        if (less(source(first, 0), source(i, 0))) first = i;
      ASSERT_EQ(got.ipiv[0], first + 1);
      ASSERT_TRUE(0 <= got.info && got.info <= n);
      if (got.info > 0) {
        ASSERT_EQ(got.a(got.info - 1, got.info - 1), 0.0);
      }
      ASSERT_TRUE(got.a.guards_intact());
    }
}

TEST(Getrf, DividesByAPivotWhoseReciprocalOverflows) {
  for (const vex_int n : {2, 3, 7, 8, 16, 20, 200})
    for (const double pivot : {safe_minimum, -safe_minimum / 16}) {  // the reciprocal of the first is finite
      GuardedMatrix a(n, n, n);
      for (vex_int i = 1; i < n; ++i) a(i, i) = 1;
      a(0, 0) = pivot;
      a(1, 0) = pivot / 4;
      const Factored got = factor(a);
      EXPECT_EQ(got.info, 0);
      EXPECT_EQ(got.a(1, 0), 0.25) << n;
    }
}

TEST(ChooseWay, FollowsTheBoundsBetweenTheWays) {
  constexpr vex_int huge = std::numeric_limits<vex_int>::max();
  constexpr Way small = Way::small, recursive = Way::recursive, tall = Way::tall_skinny, large = Way::large;
  const struct {
    vex_int m, n;
    Way way;
  } cases[] = {{0, 9, Way::nothing}, {9, 0, Way::nothing},  {16, 16, small},       {17, 1, recursive},
               {16, 17, recursive},  {150, 149, recursive}, {150, 150, large},     {4095, 127, recursive},
               {4096, 127, tall},    {511, 128, large},     {31, 1000000, large},  {16384, 4096, tall},
               {16388, 4097, large}, {huge, huge, large},   {huge, 31, recursive}, {384, 128, large},
               {huge, 32, tall},     {95, 32, recursive},   {huge, 1, recursive},  {31, huge, large}};
  for (const auto& c : cases) EXPECT_EQ(vex::lapack::choose_way(c.m, c.n), c.way) << c.m << " x " << c.n;
}

TEST(TallSkinny, TakesATeamOnlyForMatricesTallEnoughForIt) {
  // Sixteen threads are enough for a narrow matrix unless the count is fixed. With 10000 x 1000 ten threads
  // have 1000 rows each, thirty would have fewer than there are columns.
  const struct {
    vex_int m, n, threads;
    bool dynamic;
    vex_int team;
  } cases[] = {{7200, 100, 1, true, 0},    {7201, 100, 1, true, 1},     {4800, 128, 2, true, 2},
               {4608, 128, 2, true, 0},    {4609, 128, 2, false, 2},    {61440, 1024, 40, true, 40},
               {4000, 1000, 8, true, 0},   {100, 200, 4, true, 0},      {1000000, 31, 4, true, 0},
               {100000, 50, 56, true, 16}, {100000, 50, 56, false, 56}, {10000, 1000, 30, true, 10},
               {10000, 1000, 30, false, 0}};
  for (const auto& c : cases)
    EXPECT_EQ(vex::lapack::tall_team_size(c.m, c.n, c.threads, c.dynamic), c.team)
        << c.m << " x " << c.n << ", " << c.threads << " threads";
}

TEST(PlanParallel, NeverAsksForMoreThreadsOrTeamsThanThereAre) {
  constexpr vex_int huge = std::numeric_limits<vex_int>::max();
  constexpr vex_int sizes[] = {17, 300, 3000, 20000, huge};
  for (const int path : {0, 1, 3, 5, 6, 7})
    for (const vex_int threads : {1, 2, 3, 4, 8, 28, 56, 68, 1024})
      for (const vex_int m : sizes)
        for (const vex_int n : sizes) {
          const vex::lapack::ParallelPlan plan = vex::lapack::plan_parallel(m, n, path, threads);
          EXPECT_TRUE(0 < plan.width && plan.width <= plan.nominal_width);
          EXPECT_TRUE(0 < plan.early_panel && plan.early_panel <= plan.late_panel &&
                      plan.late_panel <= threads);
          EXPECT_TRUE(0 < plan.early_update && plan.early_update <= plan.late_update &&
                      plan.late_update <= threads);
          EXPECT_TRUE(1 <= plan.threads && plan.threads <= threads);
          EXPECT_TRUE(std::min(m, n) > plan.width || plan.threads == 1);
        }
}

TEST(PlanParallel, BindsColumnsToThreadsOnlyWithTeamsOfOneOnWideRegisters) {
  const auto bound = [](vex_int late_update, int path) {
    return vex::lapack::plan_parallel({1, 1, 48, 48, 0, 50, 1, late_update}, 1000, 1000, path, 56)
        .thread_hint;
  };
  EXPECT_TRUE(bound(1, 7) && !bound(2, 7) && !bound(1, 5));
}

}  // namespace
