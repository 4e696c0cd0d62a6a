#include "lapack/getrf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "lapack/lapack.h"
#include "lapack/panel.h"
#include "service/progress.h"
#include "tests/lapack/factored.h"
#include "tests/support/caught_reports.h"
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

// Pivots as in extended precision, wherever that is not a matter of rounding, and small backward errors
// always.
void expect_close(vex_int m, vex_int n, std::uint64_t seed) {
  GuardedMatrix source(m, n, m);
  fill_random(source.view(), seed);
  const Factored got = factor(source);
  const PlainLu wanted = plain_lu(source.view());
  ASSERT_GT(wanted.narrowest_choice, 1e-10L) << "choose another seed: the pivots hang on rounding";
  ASSERT_EQ(got.ipiv, wanted.ipiv) << m << " x " << n;
  ASSERT_EQ(got.info, 0);
  ASSERT_LE(factor_error(source.view(), got.a.view(), got.ipiv), 2.0) << m << " x " << n;
  ASSERT_TRUE(got.a.guards_intact());
}

TEST(Getrf, FactorsEverySmallShapeToTheLastBit) {
  for (vex_int m = 0; m <= 40; ++m)
    for (vex_int n = 0; n <= 40; ++n)
      for (const Pivots kind : all_pivots) {
        const ExactLu wanted = exact_lu(m, n, kind, static_cast<std::uint64_t>(m * 41 + n));
        ASSERT_TRUE(is_exact(wanted, {wanted.matrix(), n % 3, vex_lapack_dgetrf}));
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
    }
}

TEST(Getrf, FactorsAnyShapeUnblocked) {
  for (const auto& [m, n] : {std::tuple<vex_int, vex_int>{1, 9}, {9, 1}, {100, 100}, {17, 90}, {700, 33}})
    for (const Pivots kind : all_pivots) {
      const ExactLu wanted = exact_lu(m, n, kind, static_cast<std::uint64_t>(m));
      ASSERT_TRUE(is_exact(wanted, {wanted.matrix(), 1, vex_lapack_dgetf2}));
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

TEST(Getrf, TouchesNothingButInfoOfAnEmptyMatrix) {
  for (const auto& [m, n] : {std::pair<vex_int, vex_int>{0, 5}, {5, 0}}) {
    vex_int info = -77;
    vex_lapack_dgetrf(&m, &n, nullptr, &m, nullptr, &info);
    EXPECT_EQ(info, 0);
  }
}

template <typename Integer, typename Check>
void expect_argument_rules(Check check) {
  constexpr Integer least = std::numeric_limits<Integer>::min();
  const struct {
    Integer m, n, lda, wrong;
  } cases[] = {{-1, -1, 0, 1}, {least, 1, 1, 1}, {3, -1, 0, 2}, {3, least, 9, 2}, {3, 2, 2, 4},
               {0, 0, 0, 4},   {0, 0, 1, 0},     {0, 5, 1, 0},  {3, 9, 3, 0}};
  for (const auto& c : cases) {  // the first wrong one in the order m, n, lda is the one reported
    Integer info = -77;
    const CaughtReports reports;
    EXPECT_EQ(check(&c.m, &c.n, nullptr, &c.lda, nullptr, &info), c.wrong != 0);
    EXPECT_EQ(info, -c.wrong);
    EXPECT_EQ(reports.text(), c.wrong ? "DGETRF:" + std::to_string(c.wrong) + " " : "");
  }
}

TEST(Getrf, ReportsTheFirstWrongArgumentInBothWidths) {
  expect_argument_rules<int>(vex_lapack_errchk_dgetrf);
  expect_argument_rules<vex_int>(vex_lapack_errchk_dgetrf_ilp64);
}

int progress_calls = 0;
int stop_at_call = 0;
int note_progress(const int* thread, const int* step, const char* stage, vex_int length) {
  EXPECT_EQ(std::string(stage, static_cast<std::size_t>(length)), "DGETRF");
  EXPECT_EQ(*thread, 0);
  EXPECT_TRUE(0 < *step && *step <= 700);
  return ++progress_calls == stop_at_call;
}

TEST(Getrf, StopsWhenTheProgressCallbackAsks) {
  const vex_progress_callback before = vex_serv_set_progress(note_progress);
  // Panels of it are blocked themselves, so there are calls from within.
  GuardedMatrix source(1400, 700, 1400);
  fill_random(source.view(), 1);
  EXPECT_EQ(factor(source).info, 0);
  const int all_calls = progress_calls;
  EXPECT_GE(all_calls, 2);
  for (stop_at_call = 1; stop_at_call <= all_calls; stop_at_call += all_calls - 1) {
    progress_calls = 0;
    EXPECT_EQ(factor(source).info, -1002);
    EXPECT_EQ(progress_calls, stop_at_call) << "went on after it was asked to stop";
  }
  stop_at_call = 0;
  vex_serv_set_progress(before);
}

TEST(ChooseWay, FollowsTheBoundsBetweenTheWays) {
  constexpr vex_int huge = std::numeric_limits<vex_int>::max();
  const struct {
    vex_int m, n;
    Way way;
  } cases[] = {{0, 9, Way::nothing},      {9, 0, Way::nothing},        {16, 16, Way::small},
               {17, 1, Way::recursive},   {16, 17, Way::recursive},    {150, 149, Way::recursive},
               {150, 150, Way::large},    {4095, 127, Way::recursive}, {4096, 127, Way::tall_skinny},
               {511, 128, Way::large},    {31, 1000000, Way::large},   {16384, 4096, Way::tall_skinny},
               {16388, 4097, Way::large}, {huge, huge, Way::large},    {huge, 1, Way::recursive}};
  for (const auto& c : cases) EXPECT_EQ(vex::lapack::choose_way(c.m, c.n), c.way) << c.m << " x " << c.n;
}

TEST(TallSkinny, TakesATeamOnlyForMatricesTallEnoughForIt) {
  const struct {
    vex_int m, n, threads;
    bool dynamic;
    vex_int team;
  } cases[] = {{7200, 100, 1, true, 0},     {7201, 100, 1, true, 1},
               {4800, 128, 2, true, 2},     {4608, 128, 2, true, 0},
               {4609, 128, 2, false, 2},    {100000, 50, 56, true, 16},  // narrow: 16 threads are enough
               {100000, 50, 56, false, 56}, {61440, 1024, 40, true, 40},
               {10000, 1000, 30, true, 10},  // ten threads have 1000 rows each
               {10000, 1000, 30, false, 0},  // thirty would have fewer than there are columns
               {4000, 1000, 8, true, 0},    {100, 200, 4, true, 0},
               {1000000, 31, 4, true, 0}};
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
