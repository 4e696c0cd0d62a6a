// Threads in the multiply: every driver, the narrow path and the vector-shaped products give the engine's
// bits, whatever team they get.
#include <omp.h>

#include <cstring>

#include "blas/blas.h"
#include "blas/gemm_drivers.h"
#include "blas/named_entries.h"
#include "blas/narrow.h"
#include "blas/path_engine.h"
#include "service/buffer_cache.h"
#include "service/cpu_dispatch.h"
#include "tests/blas/kernels.h"
#include "tests/support/alone.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/run_program.h"
#include "tests/support/thread_limit.h"

namespace vex::test {
namespace {

using blas::Product;
using blas::ThreadState;

// A product with random operands that runs in different ways on the same C.
class Trial {
 public:
  Trial(const char* letters, vex_int m, vex_int n, vex_int k, double alpha = 1, double beta = 1)
      : a_(letters[0] == 'N' ? m : k, letters[0] == 'N' ? k : m, (letters[0] == 'N' ? m : k) + 1),
        b_(letters[1] == 'N' ? k : n, letters[1] == 'N' ? n : k, letters[1] == 'N' ? k : n),
        c_(m, n, m + 2) {
    std::mt19937_64 random(static_cast<std::uint64_t>(m + n + k));
    a_.fill(random), b_.fill(random);
    product_ = {letters[0], letters[1], m,     n,    k,         alpha, a_.data(),
                a_.ld,      b_.data(),  b_.ld, beta, c_.data(), c_.ld};
  }

  template <typename Way>
  std::vector<double> run(const Way& way) {
    std::mt19937_64 random(3);
    if (product_.beta == 0)
      c_.fill(std::numeric_limits<double>::quiet_NaN());
    else
      c_.fill(random);
    way(product_);
    EXPECT_TRUE(c_.guards_intact());
    return c_.values();
  }
  void rescale(double alpha, double beta) { product_.alpha = alpha, product_.beta = beta; }
  std::vector<double> sequential() { return run(blas::run_sequential); }
  const Product& product() const { return product_; }

 private:
  Matrix a_, b_, c_;
  Product product_;
};

std::string text(const Product& p) {
  return std::string({p.trans_a, p.trans_b}) + ' ' + std::to_string(p.m) + 'x' + std::to_string(p.n) + 'x' +
         std::to_string(p.k);
}

constexpr struct {
  const char* name;
  vex_gemm_driver* run;
} drivers[] = {{"1D_row", vex_blas_dgemm_1D_row},
               {"1D_col", vex_blas_dgemm_1D_col},
               {"2D_xgemm_p", vex_blas_dgemm_2D_xgemm_p},
               {"2D_bsrc", vex_blas_dgemm_2D_bsrc},
               {"2D_acopy_n", vex_blas_dgemm_2D_acopy_n},
               {"2D_bcopy", vex_blas_dgemm_2D_bcopy},
               {"2D_abcopy", vex_blas_dgemm_2D_abcopy_abx_m_km_par_p}};

ThreadState state_for(const Product& p, int threads) {
  ThreadState state{};
  state.path = vex_serv_cpu_detect();
  state.maximum = state.chosen = threads;
  blas::set_thread_opts(p.m, p.n, p.k, &state);
  return state;
}

void expect_engine_bits_from_every_driver(const std::vector<int>& thread_counts) {
  const struct {
    const char* letters;
    vex_int m, n, k;
    double alpha, beta;
  } calls[] = {{"NN", 301, 209, 400, -1, 1}, {"NT", 25, 700, 130, 0.3, 0},  {"TN", 700, 33, 801, 1, 0.25},
               {"TT", 97, 97, 385, -0.5, 1}, {"NN", 3, 2, 5, 1, 0},         {"NN", 5200, 9, 10, -1, 1},
               {"NT", 30, 3200, 7, -1, 1},   {"TN", 130, 3100, 6, 2, -0.5}, {"NN", 1, 1, 1, 1, 1}};
  for (const auto& call : calls) {
    Trial trial(call.letters, call.m, call.n, call.k, call.alpha, call.beta);
    const std::vector<double> expected = trial.sequential();
    for (const int threads : thread_counts)
      for (const auto& driver : drivers) {
        const ThreadState state = state_for(trial.product(), threads);
        ASSERT_EQ(expected, trial.run([&](const Product& p) { ASSERT_EQ(driver.run(&p, &state), 0); }))
            << driver.name << ' ' << text(trial.product()) << ", threads " << threads;
      }
  }
}

TEST(GemmThreads, DriverGivesOtherBitsThanTheEngine) {
  expect_engine_bits_from_every_driver({1, 2, 3, 5, 8, 16});
}

// Runs in a process whose runtime delivers three threads, however many are asked for.
TEST(GemmThreads, DISABLED_EveryDriverOnThreeThreads) {
  ASSERT_EQ(omp_get_thread_limit(), 3);
  expect_engine_bits_from_every_driver({4, 16});
}

TEST(GemmThreads, SmallerTeamThanAskedForLeavesParts) {
  for (const char* setting : {"", "AVX2", "SSE4_2"}) {  // and so on every code path
    const ProgramResult run = run_own_test("GemmThreads.DISABLED_EveryDriverOnThreeThreads",
                                           {{"OMP_THREAD_LIMIT", "3"}, {"VEX_ENABLE_INSTRUCTIONS", setting}});
    EXPECT_EQ(run.status, 0) << setting << run.output << run.errors;
  }
}

TEST(GemmThreads, DoorGivesOtherBitsThanTheEngine) {
  const std::vector<std::array<vex_int, 3>> shapes = {{301, 209, 400}, {1400, 64, 33}, {40, 700, 130},
                                                      {500, 410, 9},   {700, 15, 401}, {90, 2, 500},
                                                      {9000, 1, 70},   {1, 70, 900},   {600, 300, 1}};
  for (const auto& [m, n, k] : shapes)
    for (const char* letters : {"NN", "NT", "TN", "TT"})
      for (double alpha : {-1.0, 0.7}) {
        Trial trial(letters, m, n, k, alpha, m % 2 == 0 ? 1 : 0.25);
        const std::vector<double> expected = trial.sequential();
        const auto door = [&](const Product& p) {
          vex_blas_dgemm(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb,
                         &p.beta, p.c, &p.ldc, 1, 1);
        };
        for (int threads : {1, 2, 7}) {
          const ThreadLimit limit(threads);
          ASSERT_EQ(expected, trial.run(door)) << text(trial.product()) << ", threads " << threads;
        }
        std::vector<double> nested;  // from inside a region, which keeps to the calling thread
#pragma omp parallel num_threads(2)
#pragma omp single
        nested = trial.run(door);
        ASSERT_EQ(expected, nested);
      }
}

TEST(GemmThreads, NarrowOrVectorShapedProductGivesOtherBitsThanTheEngine) {
  for (const PathRoutines& path : runnable_paths()) {
    const auto by = [](blas::DgemmFunction* routine) {
      return [routine](const Product& p) {
        routine(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb, &p.beta, p.c,
                &p.ldc, 1, 1);
      };
    };
    const auto compare = [&](blas::DgemmFunction* routine, const char* letters, vex_int m, vex_int n,
                             vex_int k) {
      Trial trial(letters, m, n, k);
      for (const auto& [alpha, beta] : {std::pair{-1.0, 1.0}, {0.3, 0.0}, {1.0, -0.7}, {0.0, 2.0}}) {
        trial.rescale(alpha, beta);
        ASSERT_EQ(trial.run(by(path.gemm)), trial.run(by(routine)))
            << path.name << ' ' << text(trial.product());
      }
    };
    for (const char* letters : {"NN", "NT", "TN", "TT"})
      for (const auto& [x, y] :
           {std::array<vex_int, 2>{1, 1}, {1, 801}, {3, 2}, {7, 390}, {31, 17}, {2053, 9}})
        for (const auto& [m, n, k] : {std::array<vex_int, 3>{x, 1, y}, {1, x, y}, {x, y, 1}})
          compare(path.gemmger, letters, m, n, k);
    if (std::strcmp(path.name, "avx512") == 0)
      for (vex_int n = 1; n <= 15; ++n)
        for (vex_int m : {1, 8, 30, 67})
          for (vex_int k : {1, 8, 29, 401}) compare(vex_blas_avx512_dgemm_narrow, "TN", m, n, k);
  }
}

TEST(GemmThreads, PathsOwnWayToShareIsWrong) {
  Trial trial("TN", 130, 71, 40, -1, 0.5);
  const auto share = [&](blas::DgemmParallelFunction* by, int threads, int answer) {
    return trial.run([&](const Product& p) {
      EXPECT_EQ(by(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb, &p.beta, p.c,
                   &p.ldc, &threads),
                answer);
    });
  };
  const std::vector<double> expected = share(vex_blas_mc3_xdgemm_par, 1, 1),
                            untouched = trial.run([](auto&) {});
  for (int threads : {2, 3, 16}) EXPECT_EQ(share(vex_blas_mc3_xdgemm_par, threads, 1), expected);
  for (blas::DgemmParallelFunction* none : {vex_blas_def_xdgemm_par, vex_blas_cnr_def_xdgemm_par,
                                            vex_blas_avx2_xdgemm_par, vex_blas_avx512_xdgemm_par})
    EXPECT_EQ(share(none, 4, 0), untouched);
}

TEST(GemmThreads, MissingSharedMemoryChangesBitsOrLeaks) {
  if (!alone()) return;
  in_unused_memory([] {
    Trial trial("NN", 400, 390, 300, -1, 0.5);
    const std::vector<double> expected = trial.sequential();
    ThreadState state = state_for(trial.product(), 4);
    for (int driver = 0; driver < 7; ++driver)
      for (long nth : {1, 2, 3}) {  // the shared block, and then what threads pack on their own
        state.driver = static_cast<blas::Driver>(driver);
        vex_serv_free_buffers();
        CountingAllocator::failing = nth;
        EXPECT_EQ(expected, trial.run([&](const Product& p) { blas::run_driver(p, state); })) << driver;
        EXPECT_TRUE(nth > 1 || CountingAllocator::failing == 0) << driver;  // the failure did strike
        CountingAllocator::failing = 0;
      }
    vex_serv_free_buffers();
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
}

}  // namespace
}  // namespace vex::test
