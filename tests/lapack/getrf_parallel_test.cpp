// The parallel ways against factors that are known to the last bit: whatever thread takes which task, and
// however teams are formed, every sum of these matrices is exact.
#include "lapack/getrf_parallel.h"

#include "tests/lapack/factored.h"

namespace {

using namespace vex;
using namespace vex::test;
using lapack::ParallelPlan;

// Team sizes of a run: early panels, late panels, early updates, late updates.
struct Teams {
  vex_int threads, early_panel, late_panel, early_update, late_update;
};

// The ways in which teams share a multiply; the last two from copies that all teams share, without and with a
// limit to the look-ahead.
constexpr int ways_to_multiply = 6;

Factored factored(ConstMatrixView a, const Teams& t, vex_int nominal, vex_int width, int way,
                  vex_int threads = 2) {
  const bool hint = std::max(t.late_panel, t.late_update) == 1;
  const ParallelPlan plan{nominal,
                          width,
                          t.early_panel,
                          t.late_panel,
                          t.early_update,
                          t.late_update,
                          t.threads,
                          0.3,
                          0.5,
                          hint,
                          way >= 4,
                          way == 5 ? 2 : 0,
                          way < 4 ? lapack::UpdateSplit{way} : lapack::UpdateSplit::by_shape};
  Factored result(a);
  EXPECT_TRUE(lapack::factor_in_parallel(result.a.view(), result.ipiv.data(), result.info, plan, threads));
  return result;
}

// Panels deeper than the kernels take in one go, where packed copies consist of several slices; and far more
// threads than cores.
TEST(ParallelFactorization, ExactWithPanelsInSlicesOrInACrowd) {
  const ExactLu deep = exact_lu(560, 530, Pivots::scattered, 6);
  for (int way = 0; way < ways_to_multiply; ++way)
    EXPECT_TRUE(is_exact(deep, factored(deep.matrix(), {4, 2, 2, 2, 2}, 420, 30, way))) << "way " << way;
  const ExactLu crowded = exact_lu(150, 150, Pivots::scattered, 5);
  EXPECT_TRUE(is_exact(crowded, factored(crowded.matrix(), {56, 8, 8, 4, 4}, 30, 20, 4, 56)));
}

TEST(ParallelFactorization, SameBitsEveryTimeAndSmallBackwardError) {
  GuardedMatrix a(400, 400, 400);
  fill_random(a.view(), 3);
  for (const Teams& teams : {Teams{2, 1, 1, 1, 1}, Teams{4, 2, 2, 2, 2}}) {
    const Factored first = factored(a.view(), teams, 48, 32, 0);
    EXPECT_LT(factor_error(a.view(), first.a.view(), first.ipiv), 4.0);
    // However the multiplies are shared, every element sees the same operations.
    for (int way = 0; way < ways_to_multiply; ++way)
      ASSERT_EQ(factored(a.view(), teams, 48, 32, way).a.values(), first.a.values()) << "way " << way;
  }
  const ConstMatrixView tall{a.data(), 3200, 50, 3200};  // the same values
  for (const vex_int threads : {1, 2}) {
    Factored first(tall), again(tall);
    for (Factored* run : {&first, &again})
      ASSERT_TRUE(lapack::factor_tall_in_parallel(run->a.view(), run->ipiv.data(), run->info, threads));
    EXPECT_EQ(first.a.values(), again.a.values()) << threads << " threads";
  }
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
    EXPECT_EQ(std::pair(plan.share_panels, plan.depth_limit), std::pair(c.share, c.depth))
        << c.m << " rows, branch " << c.branch;
  }
}

}  // namespace
