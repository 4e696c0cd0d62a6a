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
#include "tests/reference/lu.h"
#include "tests/support/caught_reports.h"
#include "tests/support/guarded_matrix.h"
#include "tests/support/thread_limit.h"

namespace {

using vex::lapack::Way;
using namespace vex::test;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double safe_minimum = std::numeric_limits<double>::min();

struct Factored {
  GuardedMatrix a;
  std::vector<vex_int> ipiv;
  vex_int info = -77;
};

// Factors what `source` holds, with `gap` unused rows between the columns.
Factored factor(vex::ConstMatrixView source, vex_int gap,
                decltype(vex_lapack_dgetrf) routine = vex_lapack_dgetrf) {
  const vex_int m = source.rows, n = source.cols, ld = std::max<vex_int>(1, m) + gap;
  Factored result{GuardedMatrix(m, n, ld), std::vector<vex_int>(static_cast<std::size_t>(std::min(m, n))),
                  -77};
  for (vex_int j = 0; j < n; ++j) std::copy_n(source.col(j), m, result.a.view().col(j));
  routine(&m, &n, result.a.view().data, &ld, result.ipiv.data(), &result.info);
  return result;
}

void expect_exact(const ExactLu& wanted, vex_int m, vex_int n, vex_int gap,
                  decltype(vex_lapack_dgetrf) routine = vex_lapack_dgetrf) {
  Factored got = factor({wanted.a.data(), m, n, m}, gap, routine);
  ASSERT_EQ(got.info, wanted.info) << m << " x " << n;
  ASSERT_EQ(got.ipiv, wanted.ipiv) << m << " x " << n;
  for (vex_int j = 0; j < n; ++j) {
    for (vex_int i = 0; i < m; ++i) {
      ASSERT_EQ(got.a(i, j), wanted.factors[static_cast<std::size_t>(i + j * m)])
          << "element " << i << ", " << j << " of " << m << " x " << n;
    }
  }
  ASSERT_TRUE(got.a.guards_intact()) << m << " x " << n;
}

// Pivots as in extended precision, wherever that is not a matter of rounding, and small backward errors
// always.
void expect_close(vex_int m, vex_int n, std::uint64_t seed) {
  GuardedMatrix source(m, n, std::max<vex_int>(1, m));
  fill_random(source.view(), seed);
  Factored got = factor(source.view(), 3);
  const PlainLu wanted = plain_lu(source.view());
  ASSERT_GT(wanted.narrowest_choice, 1e-10L) << "choose another seed: the pivots hang on rounding";
  ASSERT_EQ(got.ipiv, wanted.ipiv) << m << " x " << n;
  ASSERT_EQ(got.info, 0);
  ASSERT_LE(factor_error(source.view(), got.a.view(), got.ipiv), 2.0) << m << " x " << n;
  ASSERT_TRUE(got.a.guards_intact());
}

TEST(Getrf, FactorsEverySmallShapeToTheLastBit) {
  for (vex_int m = 0; m <= 40; ++m) {
    for (vex_int n = 0; n <= 40; ++n) {
      for (const Pivots kind : {Pivots::scattered, Pivots::tied, Pivots::singular}) {
        expect_exact(exact_lu(m, n, kind, static_cast<std::uint64_t>(m * 41 + n)), m, n, n % 3);
      }
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Getrf, FactorsLargeShapesToTheLastBitOnAnyThreadCount) {
  // Square, wide and tall; either side of the block widths and of the bounds between the ways; the last two
  // are tall enough for halved panels and for the tall-skinny way.
  constexpr vex_int shapes[][2] = {{49, 49},   {97, 200},   {129, 129}, {300, 300}, {260, 40},
                                   {777, 513}, {530, 1010}, {40, 1500}, {2200, 96}, {5000, 130}};
  for (const auto& [m, n] : shapes) {
    for (const Pivots kind : {Pivots::scattered, Pivots::tied, Pivots::singular}) {
      const ExactLu wanted = exact_lu(m, n, kind, static_cast<std::uint64_t>(m));
      for (const int threads : {1, 3}) {
        const ThreadLimit limit(threads);
        expect_exact(wanted, m, n, 5);
      }
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Getrf, FactorsAnyShapeUnblocked) {
  for (const auto& [m, n] : {std::tuple<vex_int, vex_int>{1, 9}, {9, 1}, {100, 100}, {17, 90}, {700, 33}}) {
    for (const Pivots kind : {Pivots::scattered, Pivots::tied, Pivots::singular})
      expect_exact(exact_lu(m, n, kind, static_cast<std::uint64_t>(m)), m, n, 1, vex_lapack_dgetf2);
  }
}

TEST(Getrf, StaysWithinTheComponentwiseBoundOnRandomMatrices) {
  for (vex_int m = 1; m <= 40; m += 3) {
    for (vex_int n = 1; n <= 40; n += 2) expect_close(m, n, 7 + static_cast<std::uint64_t>(m * 41 + n));
  }
  for (const auto& [m, n] : {std::tuple<vex_int, vex_int>{160, 160}, {301, 120}, {120, 301}, {1100, 50}}) {
    expect_close(m, n, 3);
  }
}

TEST(Getrf, EndsWithPivotsInRangeWhateverTheMatrixHolds) {
  const double specials[] = {not_a_number, infinity, -infinity, 0.0, -0.0, 5e-324, safe_minimum, 1.0};
  for (const vex_int n : {1, 2, 3, 7, 8, 16, 17, 60, 130}) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
      Random random(seed);
      GuardedMatrix source(n, n, n);
      fill_random(source.view(), seed);
      for (vex_int hits = random.below(2 * n) + 1; hits > 0; --hits) {
        const vex_int i = random.below(n), j = random.below(n);
        source(i, j) = specials[random.below(8)];
      }
      Factored got = factor(source.view(), 1);
      for (vex_int j = 0; j < n; ++j) {
        const vex_int pivot = got.ipiv[static_cast<std::size_t>(j)];
        ASSERT_TRUE(j < pivot && pivot <= n) << "order " << n << ", seed " << seed;
      }
      ASSERT_TRUE(0 <= got.info && got.info <= n);
      if (n > 16) {  // the smallest orders have a rule of their own
        const double* const x = source.view().data;
        const auto less = [](double u, double v) {
          return !std::isnan(u) && !(std::fabs(u) >= std::fabs(v));
        };
        ASSERT_EQ(got.ipiv[0], std::max_element(x, x + n, less) - x + 1)
            << "order " << n << ", seed " << seed;
      }
      if (got.info > 0) {
        ASSERT_EQ(got.a(got.info - 1, got.info - 1), 0.0);
      }
      ASSERT_TRUE(got.a.guards_intact());
    }
  }
}

TEST(Getrf, DividesByAPivotWhoseReciprocalOverflows) {
  // The reciprocal of the second pivot would be infinite; of the first it is just finite.
  for (const double pivot : {safe_minimum, safe_minimum / 8}) {
    const vex_int n = 20, order = 20;
    GuardedMatrix a(n, n, n);
    for (vex_int i = 0; i < n; ++i) a(i, i) = 1;
    a(0, 0) = pivot;
    a(5, 0) = -pivot / 2;
    a(6, 0) = pivot / 4;
    std::vector<vex_int> ipiv(20);
    vex_int info = -77;
    vex_lapack_dgetf2(&order, &n, a.view().data, &n, ipiv.data(), &info);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(a(5, 0), -0.5);
    EXPECT_EQ(a(6, 0), 0.25);
  }
}

TEST(Getrf, TouchesNothingButInfoOfAnEmptyMatrix) {
  const vex_int zero = 0, five = 5;
  vex_int info = -77;
  vex_lapack_dgetrf(&zero, &five, nullptr, &five, nullptr, &info);
  EXPECT_EQ(info, 0);
  info = -77;
  vex_lapack_dgetrf(&five, &zero, nullptr, &five, nullptr, &info);
  EXPECT_EQ(info, 0);
}

template <typename Integer, typename Check>
void expect_argument_rules(Check check) {
  struct Case {
    Integer m, n, lda, wrong;
  };
  constexpr Integer least = std::numeric_limits<Integer>::min();
  // The first wrong one in the order m, n, lda is the one reported.
  for (const Case& c : {Case{-1, -1, 0, 1},
                        {least, 1, 1, 1},
                        {3, -1, 0, 2},
                        {3, least, 9, 2},
                        {3, 2, 2, 4},
                        {0, 0, 0, 4},
                        {0, 0, 1, 0},
                        {0, 5, 1, 0},
                        {3, 9, 3, 0}}) {
    Integer info = -77;
    const CaughtReports reports;
    EXPECT_EQ(check(&c.m, &c.n, nullptr, &c.lda, nullptr, &info), c.wrong != 0);
    EXPECT_EQ(info, -c.wrong);
    ASSERT_EQ(reports.list().size(), c.wrong != 0 ? 1u : 0u);
    if (c.wrong == 0) continue;
    EXPECT_EQ(reports.list()[0], std::pair(std::string("DGETRF"), vex_int{c.wrong}));
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
  GuardedMatrix source(1400, 700,
                       1400);  // panels of it are blocked themselves, so there are calls from within
  fill_random(source.view(), 1);
  progress_calls = 0;
  EXPECT_EQ(factor(source.view(), 0).info, 0);
  const int all_calls = progress_calls;
  EXPECT_GE(all_calls, 2);
  for (stop_at_call = 1; stop_at_call <= all_calls; stop_at_call += all_calls - 1) {
    progress_calls = 0;
    EXPECT_EQ(factor(source.view(), 0).info, -1002);
    EXPECT_EQ(progress_calls, stop_at_call) << "went on after it was asked to stop";
  }
  stop_at_call = 0;
  vex_serv_set_progress(before);
}

TEST(ChooseWay, FollowsTheBoundsBetweenTheWays) {
  constexpr vex_int huge = std::numeric_limits<vex_int>::max();
  struct Case {
    vex_int m, n;
    Way way;
  };
  for (const Case& c :
       {Case{0, 9, Way::nothing},      {9, 0, Way::nothing},          {16, 16, Way::small},
        {17, 1, Way::recursive},       {16, 17, Way::recursive},      {200, 90, Way::recursive},
        {150, 149, Way::recursive},    {150, 150, Way::large},        {400, 100, Way::recursive},
        {4095, 127, Way::recursive},   {4096, 127, Way::tall_skinny}, {600, 128, Way::tall_skinny},
        {511, 128, Way::large},        {1000000, 31, Way::recursive}, {31, 1000000, Way::large},
        {1000000, 31, Way::recursive}, {1000, 31, Way::recursive},    {16384, 4096, Way::tall_skinny},
        {16388, 4097, Way::large},     {huge, huge, Way::large},      {huge, 4096, Way::tall_skinny},
        {huge, 1, Way::recursive}}) {
    EXPECT_EQ(vex::lapack::choose_way(c.m, c.n), c.way) << c.m << " x " << c.n;
  }
}

TEST(TallSkinny, TakesATeamOnlyForMatricesTallEnoughForIt) {
  struct Case {
    vex_int m, n, threads;
    bool dynamic;
    vex_int team;
  };
  for (const Case& c : {Case{7200, 100, 1, true, 0},
                        {7201, 100, 1, true, 1},
                        {4800, 128, 2, true, 2},
                        {4608, 128, 2, true, 0},
                        {4609, 128, 2, false, 2},
                        {100000, 50, 56, true, 16},  // narrow: 16 threads are enough
                        {100000, 50, 56, false, 56},
                        {61440, 1024, 40, true, 40},
                        {10000, 1000, 30, true, 10},  // ten threads have 1000 rows each
                        {10000, 1000, 30, false, 0},  // thirty would have fewer than there are columns
                        {4000, 1000, 8, true, 0},
                        {100, 200, 4, true, 0},
                        {1000000, 31, 4, true, 0}}) {
    EXPECT_EQ(vex::lapack::tall_team_size(c.m, c.n, c.threads, c.dynamic), c.team)
        << c.m << " x " << c.n << ", " << c.threads << " threads";
  }
}

TEST(PlanParallel, NeverAsksForMoreThreadsOrTeamsThanThereAre) {
  constexpr vex_int huge = std::numeric_limits<vex_int>::max();
  for (const int path : {0, 1, 3, 5, 6, 7}) {
    for (const vex_int threads : {1, 2, 3, 4, 8, 28, 56, 68, 1024}) {
      for (const vex_int m : {vex_int{17}, vex_int{300}, vex_int{3000}, vex_int{20000}, huge}) {
        for (const vex_int n : {vex_int{17}, vex_int{300}, vex_int{3000}, vex_int{20000}, huge}) {
          const vex::lapack::ParallelPlan plan = vex::lapack::plan_parallel(m, n, path, threads);
          EXPECT_TRUE(0 < plan.width && plan.width <= plan.nominal_width);
          EXPECT_TRUE(0 < plan.early_panel && plan.early_panel <= plan.late_panel &&
                      plan.late_panel <= threads);
          EXPECT_TRUE(0 < plan.early_update && plan.early_update <= plan.late_update &&
                      plan.late_update <= threads);
          EXPECT_LE(plan.threads, threads);
          EXPECT_GE(plan.threads, 1);
          EXPECT_TRUE(std::min(m, n) > plan.width || plan.threads == 1);
        }
      }
    }
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
