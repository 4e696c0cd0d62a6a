// The factorization in whatever surroundings a program gives it: thread counts that the runtime delivers or
// not, calls from several threads at once, memory that runs out, a callback that stops it. All on matrices
// with exact factors, so that every outcome is known to the last bit.
#include <omp.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <string_view>
#include <thread>

#include "lapack/getrf_parallel.h"
#include "lapack/lapack.h"
#include "service/buffer_cache.h"
#include "service/progress.h"
#include "tests/lapack/factored.h"
#include "tests/support/alone.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/run_program.h"
#include "tests/support/thread_limit.h"

namespace {

using namespace vex;
using namespace vex::test;

constexpr int random_runs = std::string_view(SANITIZE).empty() ? 2000 : 250;

ExactLu problem(vex_int m, vex_int n, Pivots kind) {
  return exact_lu(m, n, kind, static_cast<std::uint64_t>(m + n));
}

// One for each way: register-resident, recursive, tall, square and wide.
std::vector<ExactLu> problems_of_every_way(Pivots kind) {
  return {problem(16, 16, kind), problem(200, 90, kind), problem(4200, 33, kind), problem(330, 330, kind),
          problem(150, 700, kind)};
}

// Between its columns the matrix has rows that are not its own.
Factored factor(const ExactLu& p) {
  return {p.matrix(), 3, vex_lapack_dgetrf};
}

TEST(Robustness, EveryWayIsExactOnAnyThreadCountAndLeavesTheSettingsAlone) {
  const int dynamic = vex_serv_get_dynamic(), runtime_threads = omp_get_max_threads();
  for (const Pivots kind : all_pivots)
    for (const ExactLu& p : problems_of_every_way(kind))
      for (const int threads : {1, 2, 3, 4, 8, 16, 56}) {
        vex_serv_set_dynamic(threads % 2);
        const ThreadLimit limit(threads);
        EXPECT_TRUE(is_exact(p, factor(p))) << "case " << int(kind) << ", " << threads << " threads";
        EXPECT_EQ(vex_serv_get_max_threads(), threads);
        EXPECT_EQ(vex_serv_get_dynamic(), threads % 2);
        EXPECT_EQ(omp_get_max_threads(), runtime_threads);
      }
  vex_serv_set_dynamic(dynamic);
}

// The runtime reads its variables once: the same in processes of their own.
TEST(Robustness, EveryWayIsExactWhateverTheRuntimeDelivers) {
  for (const auto& [variable, value] :
       {std::pair("OMP_THREAD_LIMIT", "3"), {"OMP_DYNAMIC", "true"}, {"OMP_MAX_ACTIVE_LEVELS", "0"}}) {
    const ProgramResult child = run_own_test(
        "Robustness.EveryWayIsExactOnAnyThreadCountAndLeavesTheSettingsAlone", {{variable, value}});
    EXPECT_EQ(child.status, 0) << variable << '\n' << child.output << child.errors;
  }
}

TEST(Robustness, RandomShapesAndTeamsAreExact) {
  Random random(1);
  for (int run = 0; run < random_runs; ++run) {
    const ExactLu p = problem(1 + random.below(70), 1 + random.below(70), Pivots(random.below(3)));
    const vex_int threads = 1 + random.below(9);
    Factored got(p.matrix());
    const MatrixView a = got.a.view();
    lapack::ParallelPlan plan = lapack::plan_parallel(p.m, p.n, static_cast<int>(random.below(8)), threads);
    plan.threads = threads;
    plan.width = 1 + random.below(20);
    plan.nominal_width = plan.width + random.below(10);
    plan.late_panel = 1 + random.below(threads);
    plan.early_panel = 1 + random.below(plan.late_panel);
    plan.late_update = 1 + random.below(threads);
    plan.early_update = 1 + random.below(plan.late_update);
    plan.thread_hint = plan.late_panel * plan.late_update == 1;
    plan.share_panels = random.below(3) == 0;
    plan.depth_limit = plan.share_panels ? 2 * random.below(2) : 0;
    plan.split = lapack::UpdateSplit{static_cast<int>(random.below(4))};
    if (run % 4 == 0)
      ASSERT_TRUE(lapack::factor_tall_in_parallel(a, got.ipiv.data(), got.info, threads));
    else
      ASSERT_TRUE(lapack::factor_in_parallel(a, got.ipiv.data(), got.info, plan, threads));
    ASSERT_TRUE(is_exact(p, got)) << "run " << run << ": " << threads << " threads, width " << plan.width;
  }
}

TEST(Robustness, ManyCallersAtOnceDoNotDisturbEachOther) {
  const std::vector<ExactLu> problems = problems_of_every_way(Pivots::scattered);
  std::atomic<int> wrong{0};
  const auto call = [&](std::size_t first) {
    const ThreadLimit limit(3);
    for (std::size_t i = 0; i < 2 * problems.size(); ++i) {
      const ExactLu& p = problems[(first + i) % problems.size()];
      if (!is_exact(p, factor(p))) ++wrong;
    }
  };
  std::vector<std::jthread> callers;
  for (std::size_t c = 0; c < 4; ++c) callers.emplace_back(call, c);
  callers.clear();
  EXPECT_EQ(wrong, 0);
  // From a region of the program's own, where the runtime delivers no more threads, and where it does.
  const int levels = omp_get_max_active_levels();
  for (const int allowed : {1, 2}) {
    omp_set_max_active_levels(allowed);
#pragma omp parallel num_threads(3)
    call(static_cast<std::size_t>(omp_get_thread_num()));
    EXPECT_EQ(wrong, 0);
  }
  omp_set_max_active_levels(levels);
}

std::atomic<int> calls{0}, stop_at{0};
int count_and_stop(const int* thread, const int* step, const char* stage, vex_int length) {
  EXPECT_EQ(std::string_view(stage, static_cast<std::size_t>(length)), "DGETRF");
  EXPECT_TRUE(0 <= *thread && *thread < 4 && 0 < *step && *step <= 700) << *thread << ' ' << *step;
  return ++calls == stop_at;
}

TEST(Robustness, EveryWayStopsWhenAskedAndWorksAgainAfterwards) {
  const auto previous = vex_serv_set_progress(count_and_stop);
  std::vector<ExactLu> problems = problems_of_every_way(Pivots::scattered);
  problems.push_back(problem(1400, 700, Pivots::scattered));  // its panels are blocked themselves
  for (const ExactLu& p : problems)
    for (const int threads : {1, 4}) {
      const ThreadLimit limit(threads);
      calls = stop_at = 0;
      EXPECT_TRUE(is_exact(p, factor(p)));
      const int all_calls = calls;
      EXPECT_TRUE(all_calls > (p.m == 1400) || p.n == 16);
      for (const int at : {1, 2, 4, all_calls}) {
        calls = 0, stop_at = at;
        const Factored got = factor(p);
        EXPECT_EQ(got.info, calls < at || at == 0 ? 0 : -1002)
            << p.m << " x " << p.n << ", asked at call " << at;
        EXPECT_TRUE(threads > 1 || calls == std::min(at, all_calls) || at == 0)
            << "went on after it was asked to stop";
        stop_at = 0;
        EXPECT_TRUE(is_exact(p, factor(p))) << "after a stop";
      }
    }
  vex_serv_set_progress(previous);
}

TEST(Robustness, EveryFailedAllocationIsSurvivedWithoutALeak) {
  if (!alone()) return;
  in_unused_memory([] {
    const ThreadLimit limit(3);
    std::vector<ExactLu> problems = problems_of_every_way(Pivots::scattered);
    problems.push_back(problem(2800, 150, Pivots::scattered));  // tall enough to share packed panels
    for (const ExactLu& p : problems) {
      factor(p);  // whatever stays for good is obtained here
      vex_serv_free_buffers();
      const long live = CountingAllocator::live();
      bool failed = true;
      for (long nth = 1; failed; ++nth) {
        CountingAllocator::failing = nth;
        const Factored got = factor(p);
        failed = CountingAllocator::failing == 0;
        CountingAllocator::failing = 0;
        EXPECT_TRUE(is_exact(p, got))
            << p.m << " x " << p.n << ", allocation " << nth << " failed, info " << got.info;
        EXPECT_TRUE(is_exact(p, factor(p))) << "after allocation " << nth;
        vex_serv_free_buffers();
        EXPECT_EQ(CountingAllocator::live(), live) << p.m << " x " << p.n << ", allocation " << nth;
      }
    }
  });
}

// Column 0 has nothing but two entries of the same magnitude, in rows that different threads own; columns of
// 900 rows are searched in pieces.
TEST(Robustness, TiesAndSpecialPivotsAreFoundInTheFirstRowThatHoldsThem) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double least = std::numeric_limits<double>::min();
  constexpr vex_int n = 9;
  constexpr vex_int rows[][3] = {{96, 0, 95},   {96, 10, 40},    {96, 17, 18},   {96, 47, 48},
                                 {900, 0, 899}, {900, 519, 520}, {900, 897, 898}};
  for (const double value : {2.0, -least, least / 4, 5e-324, infinity, -std::nan("")})
    for (const vex_int threads : {1, 2, 3, 4, 8, 16})
      for (const auto& [m, first, second] : rows) {
        SCOPED_TRACE(testing::Message() << value << " in rows " << first << " and " << second << " of " << m
                                        << ", " << threads << " threads");
        GuardedMatrix a(m, n, m);
        for (vex_int j = 1; j < n; ++j) a(j, j) = 1;
        a(first, 0) = value;
        a(second, 0) = -value;
        Factored got(a.view());
        ASSERT_TRUE(lapack::factor_tall_in_parallel(got.a.view(), got.ipiv.data(), got.info, threads));
        EXPECT_EQ(got.ipiv[0], first + 1);
        EXPECT_TRUE(!std::isfinite(value) || (got.a(second, 0) == -1.0 && got.info == 0));
      }
}

}  // namespace
