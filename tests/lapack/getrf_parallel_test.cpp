// The parallel ways against factors that are known to the last bit: whatever thread takes which task, and
// however teams are formed, every sum of these matrices is exact.
#include "lapack/getrf_parallel.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <atomic>
#include <cstdlib>
#include <vector>

#include "service/buffer_cache.h"
#include "service/platform.h"
#include "service/progress.h"
#include "service/thread_count.h"
#include "tests/reference/lu.h"

namespace {

using namespace vex;
using namespace vex::test;
using lapack::ParallelPlan;

struct Shape {
  vex_int m, n;
};

// Team sizes of a run: early panels, late panels, early updates, late updates.
struct Teams {
  vex_int threads, early_panel, late_panel, early_update, late_update;
};

// The ways in which teams share a multiply; the last two from copies that all teams share, without and with a
// limit to the look-ahead.
constexpr int ways_to_multiply = 6;

ParallelPlan plan_of(const Teams& teams, vex_int nominal, vex_int width, int way = 0) {
  const bool hint =
      teams.early_panel == 1 && teams.late_panel == 1 && teams.early_update == 1 && teams.late_update == 1;
  return {nominal,
          width,
          teams.early_panel,
          teams.late_panel,
          teams.early_update,
          teams.late_update,
          teams.threads,
          0.3,
          0.5,
          hint,
          way >= 4,
          way == 5 ? 2 : 0,
          way < 4 ? lapack::UpdateSplit{way} : lapack::UpdateSplit::by_shape};
}

class Factored {
 public:
  Factored(const std::vector<double>& a, vex_int m, vex_int n)
      : ld_(m + 3),
        ipiv(static_cast<std::size_t>(std::min(m, n))),
        storage_(static_cast<std::size_t>(ld_ * n), 7.0),
        view_{storage_.data(), m, n, ld_} {
    for (vex_int j = 0; j < n; ++j)
      for (vex_int i = 0; i < m; ++i) view_(i, j) = a[static_cast<std::size_t>(i + j * m)];
  }

  MatrixView view() const { return view_; }

  std::vector<double> packed() const {
    std::vector<double> result;
    for (vex_int j = 0; j < view_.cols; ++j)
      result.insert(result.end(), view_.col(j), view_.col(j) + view_.rows);
    return result;
  }

  bool margins_untouched() const {
    for (vex_int j = 0; j < view_.cols; ++j)
      for (vex_int i = view_.rows; i < ld_; ++i)
        if (view_(i, j) != 7.0) return false;
    return true;
  }

 private:
  vex_int ld_;

 public:
  std::vector<vex_int> ipiv;
  vex_int info = -1;

 private:
  std::vector<double> storage_;
  MatrixView view_;
};

void expect_exact(const ExactLu& expected, const Factored& got) {
  EXPECT_EQ(got.info, expected.info);
  EXPECT_EQ(got.ipiv, expected.ipiv);
  EXPECT_EQ(got.packed(), expected.factors);
  EXPECT_TRUE(got.margins_untouched());
}

const std::vector<Teams> all_teams = {
    {2, 1, 1, 1, 1}, {2, 2, 2, 1, 1}, {3, 1, 2, 1, 3},  {4, 2, 2, 2, 2},
    {4, 1, 4, 2, 4}, {8, 2, 4, 2, 2}, {16, 4, 8, 4, 4},
};

TEST(ParallelFactorization, ExactForEveryShapeAndTeamFormation) {
  std::uint64_t seed = 1;
  int way = 0;
  for (const auto& [m, n] : {Shape{64, 64}, {65, 61}, {120, 40}, {40, 120}, {33, 200}, {150, 150}})
    for (const Teams& teams : all_teams)
      for (const Pivots kind : {Pivots::scattered, Pivots::tied, Pivots::singular}) {
        way = (way + 1) % ways_to_multiply;
        SCOPED_TRACE(testing::Message() << m << " x " << n << ", " << teams.threads << " threads, case "
                                        << int(kind) << ", way " << way);
        const ExactLu expected = exact_lu(m, n, kind, seed++);
        Factored got(expected.a, m, n);
        ASSERT_TRUE(lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info,
                                               plan_of(teams, 20, 12, way), 2));
        expect_exact(expected, got);
      }
}

// Deeper than the kernels take in one go: packed copies then consist of several slices.
TEST(ParallelFactorization, ExactWithPanelsInSlices) {
  const ExactLu expected = exact_lu(560, 530, Pivots::scattered, 6);
  for (int way = 0; way < ways_to_multiply; ++way) {
    SCOPED_TRACE(testing::Message() << "way " << way);
    Factored got(expected.a, 560, 530);
    ASSERT_TRUE(lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info,
                                           plan_of({4, 2, 2, 2, 2}, 420, 30, way), 2));
    expect_exact(expected, got);
  }
}

TEST(ParallelFactorization, ExactWithFarMoreThreadsThanCores) {
  const ExactLu expected = exact_lu(150, 150, Pivots::scattered, 5);
  Factored got(expected.a, 150, 150);
  ASSERT_TRUE(lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info,
                                         plan_of({56, 8, 8, 4, 4}, 30, 20, 4), 56));
  expect_exact(expected, got);
}

TEST(ParallelFactorization, TallPanelExactForEveryTeamSize) {
  for (const vex_int threads : {1, 2, 3, 7, 16})
    for (const auto& [m, n] : {Shape{200, 9}, {300, 40}, {41, 40}, {5, 3}})
      for (const Pivots kind : {Pivots::scattered, Pivots::tied, Pivots::singular}) {
        SCOPED_TRACE(testing::Message()
                     << m << " x " << n << ", " << threads << " threads, case " << int(kind));
        const ExactLu expected = exact_lu(m, n, kind, static_cast<std::uint64_t>(m + threads));
        Factored got(expected.a, m, n);
        ASSERT_TRUE(lapack::factor_tall_in_parallel(got.view(), got.ipiv.data(), got.info, threads));
        expect_exact(expected, got);
      }
}

TEST(ParallelFactorization, SameBitsEveryTimeAndSmallBackwardError) {
  const vex_int n = 400;
  std::vector<double> a(static_cast<std::size_t>(n * n));
  fill_random({a.data(), n, n, n}, 3);
  for (const Teams& teams : {Teams{2, 1, 1, 1, 1}, Teams{4, 2, 2, 2, 2}}) {
    std::vector<double> first;
    for (int repeat = 0; repeat < 6; ++repeat) {
      Factored got(a, n, n);
      // However the multiplies are shared, every element sees the same operations.
      ASSERT_TRUE(lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info,
                                             plan_of(teams, 48, 32, repeat % ways_to_multiply), 2));
      if (repeat == 0) {
        first = got.packed();
        EXPECT_LT(factor_error({a.data(), n, n, n}, got.view(), got.ipiv), 4.0);
      }
      ASSERT_EQ(got.packed(), first);
    }
  }
  const vex_int m = 3200, columns = 50;  // the same values as a tall matrix
  for (const vex_int threads : {1, 2}) {
    Factored first(a, m, columns), again(a, m, columns);
    ASSERT_TRUE(lapack::factor_tall_in_parallel(first.view(), first.ipiv.data(), first.info, threads));
    ASSERT_TRUE(lapack::factor_tall_in_parallel(again.view(), again.ipiv.data(), again.info, threads));
    EXPECT_EQ(first.packed(), again.packed()) << threads << " threads";
  }
}

// Inside a program's own region the runtime gives one thread each: the run follows what it gets.
TEST(ParallelFactorization, RightWithFewerThreadsThanPlanned) {
  const ExactLu expected = exact_lu(100, 100, Pivots::scattered, 9);
  std::vector<Factored> results(3, Factored({}, 0, 0));
  const int levels = omp_get_max_active_levels();
  omp_set_max_active_levels(1);
#pragma omp parallel for num_threads(3)
  for (int i = 0; i < 3; ++i) {
    Factored got(expected.a, 100, 100);
    if (!lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info, plan_of({4, 2, 2, 2, 2}, 20, 12),
                                    4))
      got.info = -7;
    EXPECT_EQ(got.packed(), expected.factors);
    EXPECT_EQ(got.ipiv, expected.ipiv);
    EXPECT_EQ(got.info, 0);
  }
  omp_set_max_active_levels(levels);
}

TEST(ParallelFactorization, PanelsAreSharedByRowsBranchAndKernels) {
  const struct {
    vex_int m;
    int branch, kernels;
    bool share;
    vex_int depth;
  } cases[] = {{2750, 1, 2, true, 0},  {2750, 2, 2, true, 2},  {2749, 2, 2, false, 0},
               {9000, 3, 2, false, 0}, {9000, 9, 2, false, 0}, {9000, 10, 2, true, 2},
               {9000, 14, 3, true, 2}, {9000, 1, 1, false, 0}};
  for (const auto& c : cases) {
    ParallelPlan plan{};
    lapack::plan_sharing(plan, c.m, c.branch, c.kernels);
    EXPECT_EQ(plan.share_panels, c.share) << c.m << " rows, branch " << c.branch;
    EXPECT_EQ(plan.depth_limit, c.depth) << c.m << " rows, branch " << c.branch;
  }
}

std::atomic<int> stop_after{0};

int stop_callback(const int*, const int*, const char*, vex_int) {
  return --stop_after < 0;
}

TEST(ParallelFactorization, StopsWhenAskedAndTheNextCallWorks) {
  const ExactLu expected = exact_lu(120, 120, Pivots::scattered, 2);
  const auto previous = vex_serv_set_progress(stop_callback);
  for (const int panels : {0, 1, 5}) {
    stop_after = panels;
    Factored got(expected.a, 120, 120);
    ASSERT_TRUE(lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info,
                                           plan_of({4, 2, 2, 2, 2}, 20, 12), 2));
    EXPECT_EQ(got.info, -1002);
  }
  vex_serv_set_progress(previous);
  Factored got(expected.a, 120, 120);
  ASSERT_TRUE(
      lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info, plan_of({4, 2, 2, 2, 2}, 20, 12), 2));
  expect_exact(expected, got);
}

std::atomic<int> allocations_left{0};

TEST(ParallelFactorization, EveryAllocationFailureIsSurvived) {
  const ExactLu expected = exact_lu(100, 100, Pivots::scattered, 4);
  service::Platform failing = service::real_platform;
  failing.system_malloc = [](std::size_t bytes) -> void* {
    return --allocations_left < 0 ? nullptr : std::malloc(bytes);
  };
  bool refused = false;
  for (int allowed = 0; allowed < 24; ++allowed) {
    vex_serv_free_buffers();
    Factored got(expected.a, 100, 100);
    allocations_left = allowed;
    service::set_platform(&failing);
    const bool done = lapack::factor_in_parallel(got.view(), got.ipiv.data(), got.info,
                                                 plan_of({2, 1, 1, 1, 1}, 20, 12, allowed % 2 * 4), 2);
    service::set_platform(nullptr);
    if (done) {
      expect_exact(expected, got);
    } else {
      refused = true;
      EXPECT_EQ(got.packed(), expected.a) << "the matrix must be left for the sequential way";
    }
  }
  EXPECT_TRUE(refused);
}

}  // namespace
