// Sizing, layout, rate and judgement of tests.
#include "driver/test_loop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "driver/trial.h"
#include "tests/support/fresh_process.h"

namespace vex::test {
namespace {

// Every part of the largest test and of the smaller ones lies inside the block, for any start and any
// alignment.
TEST(MemoryLayout, StaysInsideTheBlockThatWasSizedForIt) {
  std::vector<std::byte> storage(1 << 20);
  const std::int32_t n = 13, lda = 17;
  for (std::int32_t alignment = 0; alignment <= 64; ++alignment) {
    const driver::MemoryRequest request = driver::largest_request(
        {.test_count = 1, .size = {n}, .leading_dimension = {lda}, .alignment = {alignment}});
    for (std::size_t start = 0; start <= 65536; start += 1040) {
      std::byte* block = storage.data() + start;
      const driver::TestMemory memory = driver::lay_out(block, n, lda, alignment);
      const auto address = reinterpret_cast<std::uintptr_t>(memory.a);
      const std::uintptr_t step = alignment > 0 ? static_cast<std::uintptr_t>(alignment) * 1024 : 1;
      ASSERT_EQ(address % step, 0u);
      ASSERT_GE(reinterpret_cast<std::byte*>(memory.a), block);
      ASSERT_LE(reinterpret_cast<std::byte*>(memory.ipvt + lda), block + request.bytes);
      ASSERT_EQ(memory.b - memory.a, n * lda);
      ASSERT_EQ(memory.x - memory.b, lda);
    }
  }
}

TEST(Rate, CountsOperationsInSinglePrecision) {
  // 2/3 n^3 + 2 n^2 is a whole number of 24 bits for these, so that no step rounds.
  EXPECT_EQ(driver::gflops_of(3, 0.5), 36.0 * 9.999999717180685e-10 / 0.5);
  EXPECT_EQ(driver::gflops_of(96, 2.0), 608256.0 * 9.999999717180685e-10 / 2.0);
  // From 1001 on the count needs more bits; it is within a few roundings of the exact one and not equal to
  // it.
  const double exact = (2.0 / 3.0 * 1001 * 1001 * 1001 + 2.0 * 1001 * 1001) * 9.999999717180685e-10;
  const double error = std::fabs(driver::gflops_of(1001, 1.0) - exact) / exact;
  EXPECT_TRUE(0x1p-40 < error && error < 4 * 0x1p-24) << error;
}

TEST(Judgement, FailsWhatIsNotBelowTheLimitOrIsNoNumber) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN(),
                   inf = std::numeric_limits<double>::infinity();
  for (const auto& [residual, normalised, failed] : {std::tuple(0.0, 0.0, false),
                                                     {inf, std::nextafter(100.0, 0.0), false},
                                                     {0.0, 100.0, true},
                                                     {0.0, inf, true},
                                                     {0.0, nan, true},
                                                     {nan, 0.0, true}})
    EXPECT_EQ(driver::trial_failed(residual, normalised), failed) << residual << " " << normalised;
}

// Trials with outcomes laid down in advance, in place of real ones.
struct Scripted {
  double time, gflops, resid, residn;
  std::int32_t info;
};
const Scripted script[] = {
    {1.0, 4.0, 1e-14, 0.5, 0},      // passes
    {0.0, 0.0, 0.0, 0.0, 0},        // no time measured: rate and residuals stay
    {12.5, 2.0, 2.0, 100.0, 0},     // at the limit
    {2.0, 1.0, 1e-14, 0.25, -1023}  // reported, and still judged by its residual
};
int next_trial;

void scripted_trial(const std::int32_t*, double*, const std::int32_t*, double*, double*, std::int32_t*,
                    double* time, double* gflops, double* resid, double* residn, std::int32_t* info) {
  const Scripted& s = script[next_trial++];
  *info = s.info;
  *time = s.time;
  if (s.time == 0.0) return;
  *gflops = s.gflops;
  *resid = s.resid;
  *residn = s.residn;
}

TEST(TestLoop, ReportsFailuresAveragesAndMaximaOfWhatTrialsLeave) {
  const driver::Configuration run{.test_count = 3,
                                  .size = {3, 0, 4},
                                  .leading_dimension = {3, 4, 100001},
                                  .trials = {3, 1, 1},
                                  .alignment = {64, 0, 4}};
  const ProcessResult result = in_fresh_process([&run] {
    const int status = driver::run_tests(run, "quarlen", scripted_trial);
    std::fflush(nullptr);
    _exit(status);
  });
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output.substr(std::min(result.output.find("Size   LDA"), result.output.size())),
            "Size   LDA    Align. Time(s)    GFlops   Residual     Residual(norm) Check\n"
            "3      3      64     1.000      4.0000   1.000000e-14 5.000000e-01   pass\n"
            "3      3      64     0.000      4.0000   1.000000e-14 5.000000e-01   pass\n"
            "3      3      64     12.500     2.0000   2.000000e+00 1.000000e+02   FAIL\n"
            "Error: info returned=-1023\n"
            "4      100001 4      2.000      1.0000   1.000000e-14 2.500000e-01   pass\n"
            "\nPerformance Summary (GFlops)\n\nSize   LDA    Align.  Average  Maximal\n"
            "3      3      64      3.3333   4.0000  \n"
            "4      100001 4       1.0000   1.0000  \n"
            "\nResidual checks FAILED\n\nEnd of tests\n\n");
}

}  // namespace
}  // namespace vex::test
