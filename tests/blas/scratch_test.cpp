// What happens when scratch memory runs out: the answer stays right, nothing leaks, and only the solve says a
// word.
#include "blas/blas.h"
#include "service/buffer_cache.h"
#include "service/thread_count.h"
#include "tests/blas/kernels.h"
#include "tests/support/alone.h"
#include "tests/support/counting_allocator.h"

namespace vex::test {
namespace {

class Scratch : public EveryPath {};
INSTANTIATE_TEST_SUITE_P(Paths, Scratch, testing::ValuesIn(runnable_paths()), path_name);

TEST_P(Scratch, SolveWithoutMemoryGivesUp) {
  if (!alone()) return;
  const std::string printed = in_unused_memory([&] {
    std::mt19937_64 random(2);
    const vex_int m = 300, n = 40;
    Matrix a(m, m, m), b(m, n, m);
    fill_triangle(a, 'L', 'U', random);
    b.fill(random);
    Matrix without(b.view());
    const double alpha = 1;
    const auto run = [&](Matrix& x) {
      GetParam().trsm("L", "L", "N", "U", &m, &n, &alpha, a.data(), &m, x.data(), &m, 1, 1, 1, 1);
    };
    run(b);
    vex_serv_free_buffers();
    CountingAllocator::failing = 1;
    run(without);
    EXPECT_EQ(CountingAllocator::failing, 0);  // the failure did strike
    for (vex_int j = 0; j < n; ++j)
      for (vex_int i = 0; i < m; ++i) ASSERT_NEAR(without(i, j), b(i, j), 1e-13);
    vex_serv_free_buffers();
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
  EXPECT_NE(printed.find("DTRSM"), std::string::npos) << printed;
}

TEST(Scratch, PivotSearchWithoutATableOfPartsGivesUpOrKeepsQuiet) {
  if (!alone()) return;
  const std::string printed = in_unused_memory([&] {
    std::vector<double> x(9000);
    x[5000] = -2, x[7000] = 2;
    vex_serv_set_num_threads_local(600);  // more parts than fit on the stack
    vex_serv_free_buffers();
    CountingAllocator::failing = 1;
    EXPECT_EQ(blas::idamax(9000, x.data(), 1), 5001);
    EXPECT_EQ(CountingAllocator::failing, 0);
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
  EXPECT_NE(printed.find("vex_blas_idamax"), std::string::npos) << printed;
}

}  // namespace
}  // namespace vex::test
