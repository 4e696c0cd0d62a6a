// The triangular solve: multiplying its answer by the triangle must give the right-hand sides back.
#include "blas/trsm.h"

#include <cmath>
#include <limits>

#include "blas/blas.h"
#include "blas/engine/solve_drivers.h"
#include "blas/named_entries.h"
#include "service/buffer_cache.h"
#include "tests/blas/kernels.h"
#include "tests/reference/dense.h"
#include "tests/support/caught_reports.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/thread_limit.h"

namespace vex::test {
namespace {

namespace engine = blas::engine;

constexpr double eps = std::numeric_limits<double>::epsilon();

struct Case {
  char side, uplo, trans, diag;
};

std::vector<Case> sixteen_cases() {
  std::vector<Case> cases;
  for (char side : {'L', 'R'})
    for (char uplo : {'L', 'U'})
      for (char trans : {'N', 'T'})
        for (char diag : {'N', 'U'}) cases.push_back({side, uplo, trans, diag});
  return cases;
}

void run(blas::DtrsmFunction* trsm, const Case& c, double alpha, const Matrix& a, Matrix& b) {
  trsm(&c.side, &c.uplo, &c.trans, &c.diag, &b.rows, &b.cols, &alpha, a.data(), &a.ld, b.data(), &b.ld, 1, 1,
       1, 1);
}

void fill_triangle(Matrix& a, const Case& c, std::mt19937_64& random) {
  test::fill_triangle(a, c.uplo, c.diag, random);
}

void check_solve(blas::DtrsmFunction* trsm, const Case& c, vex_int m, vex_int n, double alpha, vex_int pad,
                 std::mt19937_64& random) {
  const vex_int order = c.side == 'L' ? m : n;
  Matrix a(order, order, order + pad), b(m, n, m + pad);
  fill_triangle(a, c, random);
  b.fill(random);
  const std::vector<double> before = b.values();
  run(trsm, c, alpha, a, b);
  const reference::Answer product = reference::triangle_times(
      c.side == 'L', c.uplo == 'L', c.trans != 'N', c.diag == 'U', m, n, a.data(), a.ld, b.data(), b.ld);
  const double allowed = static_cast<double>(order + 4) * eps;
  for (vex_int j = 0; j < n; ++j)
    for (vex_int i = 0; i < m; ++i) {
      const long double wanted =
          static_cast<long double>(alpha) * before[static_cast<std::size_t>(i + j * m)];
      ASSERT_LE(std::fabs(product.at(i, j) - wanted), allowed * (product.size_at(i, j) + std::fabs(wanted)))
          << c.side << c.uplo << c.trans << c.diag << ' ' << m << 'x' << n << " at " << i << ',' << j;
    }
  ASSERT_TRUE(b.guards_intact() && a.guards_intact());
}

class Trsm : public EveryPath {};
INSTANTIATE_TEST_SUITE_P(Paths, Trsm, testing::ValuesIn(runnable_paths()), path_name);

TEST_P(Trsm, WrongSolutionInOneOfTheSixteenCases) {
  std::mt19937_64 random(1);
  for (const Case& c : sixteen_cases()) {
    for (vex_int m : {1, 2, 3, 5, 6, 7, 11, 12, 13, 24, 37})
      for (vex_int n : {1, 2, 3, 4, 5, 8, 15, 16, 17, 33})
        check_solve(GetParam().trsm, c, m, n, (m + n) % 3 ? 1 : -0.5, (m * n) % 3, random);
    check_solve(GetParam().trsm, c, 130, 29, 1, 1, random);
    check_solve(GetParam().trsm, c, 193, 40, 2, 0, random);
    check_solve(GetParam().trsm, c, 471, 11, -1, 1, random);
    check_solve(GetParam().trsm, c, 21, 389, 1, 2, random);
    check_solve(GetParam().trsm_v1, c, 19, 23, -2, 1, random);
  }
}

TEST_P(Trsm, DiagonalWithoutAUsableReciprocal) {
  std::mt19937_64 random(2);
  for (const Case& c : sixteen_cases()) {
    if (c.diag == 'U') continue;
    for (double diagonal : {1e-310, -4e-320, 1.7e308, 0x1p-1022})
      for (const auto& size : {std::pair<vex_int, vex_int>{30, 18}, {3, 13}, {4, 13}, {13, 4}}) {
        const vex_int m = size.first, n = size.second, order = c.side == 'L' ? m : n;
        Matrix a(order, order, order), b(m, n, m);
        fill_triangle(a, c, random);
        // The one extreme element stands last in the solve's own order, so that nothing overflows after it.
        const bool forward = (c.side == 'L') == ((c.uplo == 'L') == (c.trans == 'N'));
        const vex_int at = forward ? order - 1 : 0;
        a(at, at) = diagonal;
        b.fill(random);
        b.fill_by([&](vex_int i, vex_int j) { return b(i, j) * 1e-12; });
        Matrix unblocked(b.view());
        run(GetParam().trsm, c, 1, a, b);
        run(GetParam().trsm_v1, c, 1, a, unblocked);
        const bool diverted = diagonal != 0x1p-1022 && (diagonal < 1 || order > 4);
        if (diverted) {
          EXPECT_EQ(b.values(), unblocked.values()) << diagonal;
        }
        for (vex_int j = 0; j < n && diagonal > 1; ++j)
          for (vex_int i = 0; i < m; ++i) EXPECT_NEAR(b(i, j), unblocked(i, j), 1e-26);
        for (double value : b.values()) EXPECT_TRUE(std::isfinite(value)) << diagonal;
      }
  }
}

TEST_P(Trsm, TriangleReadThoughAlphaIsZero) {
  Matrix a(20, 20, 20), b(20, 20, 21);
  a.fill(std::numeric_limits<double>::quiet_NaN()), b.fill(std::numeric_limits<double>::infinity());
  run(GetParam().trsm, {'L', 'L', 'N', 'N'}, 0, a, b);
  for (double value : b.values()) EXPECT_EQ(value, 0);
  EXPECT_TRUE(b.guards_intact());
}

// A NaN or an infinity among the right-hand sides must stay in its own, padding lanes and all.
TEST_P(Trsm, RightHandSidesMixed) {
  std::mt19937_64 random(4);
  for (const Case& c : sixteen_cases())
    for (vex_int order : {3, 4, 19, 400})
      for (vex_int count : {1, 5, 9, 27}) {
        const bool left = c.side == 'L';
        const vex_int m = left ? order : count, n = left ? count : order;
        Matrix a(order, order, order), clean(m, n, m);
        fill_triangle(a, c, random);
        clean.fill(random);
        Matrix spoilt(clean.view());
        const vex_int bad = count / 2;
        for (vex_int i = 0; i < order; ++i)
          (left ? spoilt(i, bad) : spoilt(bad, i)) =
              order % 2 ? std::numeric_limits<double>::quiet_NaN() : std::numeric_limits<double>::infinity();
        for (Matrix* x : {&clean, &spoilt}) run(GetParam().trsm, c, 1, a, *x);
        for (vex_int j = 0; j < n; ++j)
          for (vex_int i = 0; i < m; ++i) {
            if ((left ? j : i) != bad) {
              ASSERT_EQ(clean(i, j), spoilt(i, j)) << c.side << c.uplo << c.trans << c.diag << order;
            } else {
              ASSERT_FALSE(std::isfinite(spoilt(i, j)));
            }
          }
      }
}

// Threads share the right-hand sides of a call, so a column must not tell how many were solved for with it.
TEST_P(Trsm, BitsDependOnHowManyRightHandSidesThereAre) {
  std::mt19937_64 random(7);
  const vex_int order = 811;
  Matrix a(order, order, order + 1), given(order, 140, order);
  given.fill(random);
  for (const Case& c : sixteen_cases()) {
    if (c.side == 'R') continue;
    fill_triangle(a, c, random);
    Matrix together(given.view());
    run(GetParam().trsm, c, 1, a, together);
    for (const vex_int count : {1, 10, 15, 29}) {
      Matrix few(given.view().block(0, 7, order, count), 3);
      run(GetParam().trsm, c, 1, a, few);
      ASSERT_EQ(few.values(), Matrix(together.view().block(0, 7, order, count)).values())
          << c.uplo << c.trans << c.diag << count;
      ASSERT_TRUE(few.guards_intact());
    }
  }
}

TEST_P(Trsm, PreparedBuffersReleasedOrAnswerOtherThanWithoutThem) {
  std::mt19937_64 random(5);
  const engine::PathEngine& path = *GetParam().engine();
  for (const Case& c : sixteen_cases()) {
    const vex_int m = 410, n = 31, order = c.side == 'L' ? m : n, count = m + n - order;
    Matrix a(order, order, order), x(m, n, m);
    fill_triangle(a, c, random);
    x.fill(random);
    Matrix prepared(x.view()), without(x.view());
    engine::MatrixDescriptor triangle, b;
    blas_initialize_matrix(&triangle, a.data(), order, order, order, &c.uplo, &c.diag, &c.trans);
    engine::StrategyRecord strategy;
    path.initialize_strategy(&strategy);
    engine::BufferRecord buffers;
    engine::initialize_solve_buffers(path.initialize_triangular_buffers, &buffers, &strategy, order, count);
    const engine::BufferRecord none = buffers;
    ASSERT_EQ(buffers.functions.get(&buffers), 0);
    const auto solve = [&](Matrix& target, const engine::BufferRecord* record) {
      blas_initialize_matrix(&b, target.data(), m, n, m, nullptr, nullptr, nullptr);
      engine::run_solve(path, c.side == 'R', 0.5, triangle, b, record);
    };
    solve(x, nullptr), solve(prepared, &buffers), solve(without, &none);
    EXPECT_EQ(x.values(), prepared.values());
    for (vex_int j = 0; j < n; ++j)
      for (vex_int i = 0; i < m; ++i) ASSERT_NEAR(without(i, j), x(i, j), 1e-12);
    buffers.functions.free(&buffers);
  }
}

TEST_P(Trsm, SolveWithoutMemoryGivesUp) {
  if (!alone()) return;
  const std::string printed = in_unused_memory([&] {
    std::mt19937_64 random(2);
    const vex_int m = 300, n = 40;
    Matrix a(m, m, m), b(m, n, m);
    test::fill_triangle(a, 'L', 'U', random);
    b.fill(random);
    Matrix without(b.view());
    const Case lower{'L', 'L', 'N', 'U'};
    run(GetParam().trsm, lower, 1, a, b);
    vex_serv_free_buffers();
    CountingAllocator::failing = 1;
    run(GetParam().trsm, lower, 1, a, without);
    EXPECT_EQ(CountingAllocator::failing, 0);  // the failure did strike
    for (vex_int j = 0; j < n; ++j)
      for (vex_int i = 0; i < m; ++i) ASSERT_NEAR(without(i, j), b(i, j), 1e-13);
    vex_serv_free_buffers();
    EXPECT_EQ(CountingAllocator::live(), 0);
  });
  EXPECT_NE(printed.find("DTRSM"), std::string::npos) << printed;
}

TEST(TrsmFrontEnd, BadArgumentAcceptedOrReportedAsAnother) {
  const struct {
    const char* letters;
    vex_int m, n, lda, ldb, bad;
  } cases[] = {{"XLNN", 2, 2, 2, 2, 1}, {"LXNN", 2, 2, 2, 2, 2},  {"LLXN", 2, 2, 2, 2, 3},
               {"LLNX", 2, 2, 2, 2, 4}, {"LLNN", -1, 2, 2, 2, 5}, {"LLNN", 2, -1, 2, 2, 6},
               {"LLNN", 2, 1, 1, 2, 9}, {"RLNN", 1, 2, 1, 2, 9},  {"RLNN", 2, 1, 1, 1, 11},
               {"rutu", 0, 0, 1, 1, 0}, {"lucn", 0, 0, 0, 1, 9},  {"XXXX", -1, -1, 0, 0, 1}};
  for (const auto& x : cases) {
    const CaughtReports reports;
    double a[4] = {1, 1, 1, 1}, b[4] = {3, 4, 5, 6}, alpha = 2;
    vex_blas_dtrsm(x.letters, x.letters + 1, x.letters + 2, x.letters + 3, &x.m, &x.n, &alpha, a, &x.lda, b,
                   &x.ldb, 1, 1, 1, 1);
    EXPECT_EQ(reports.text(), x.bad ? "DTRSM :" + std::to_string(x.bad) + " " : "") << x.letters;
    EXPECT_EQ(b[0] + b[1] + b[2] + b[3], 18);
  }
}

TEST(TrsmFrontEnd, BitsDependOnTheThreadCount) {
  std::mt19937_64 random(3);
  for (const Case& c :
       {Case{'L', 'L', 'N', 'U'}, {'L', 'U', 'N', 'N'}, {'R', 'U', 'N', 'N'}, {'R', 'L', 'T', 'U'}}) {
    const vex_int m = c.side == 'L' ? 210 : 333, n = c.side == 'L' ? 333 : 210;
    Matrix a(210, 210, 211), given(m, n, m);
    fill_triangle(a, c, random);
    given.fill(random);
    std::vector<double> first;
    for (int threads : {1, 2, 3, 5, 8}) {
      Matrix b(given.view(), 2);
      const ThreadLimit limit(threads);
      run(vex_blas_dtrsm, c, 1.5, a, b);
      if (threads == 1) first = b.values();
      ASSERT_EQ(first, b.values()) << c.side << threads;
      ASSERT_TRUE(b.guards_intact());
    }
    if (c.side == 'R' || c.uplo == 'U') continue;
    const vex_int few = 10;  // fewer right-hand sides than threads among it, and a rest shorter than a chunk
    first.resize(static_cast<std::size_t>(m * few));
    constexpr blas::SolveSplit splits[] = {{1, 0, 0, 2}, {4, 0, 0, 1}, {4, 4, 0, 2},
                                           {4, 4, 7, 2}, {4, 4, 3, 0}, {12, 0, 0, 1}};
    for (const blas::SolveSplit& split : splits) {
      Matrix b(given.view().block(0, 0, m, few));
      const double alpha = 1.5;
      vex_blas_dtrsm_omp_driver_v1("L", "L", "N", "U", &m, &few, &alpha, a.data(), &a.ld, b.data(), &m,
                                   split);
      EXPECT_EQ(first, b.values()) << split.threads << ' ' << split.preset;
    }
  }
}

}  // namespace
}  // namespace vex::test
