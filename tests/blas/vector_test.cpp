// Vector routines, matrix-vector products and the rank-1 update on every code path, and their thread rules.
#include <algorithm>
#include <cmath>
#include <limits>

#include "blas/blas.h"
#include "blas/vector_threads.h"
#include "service/buffer_cache.h"
#include "tests/blas/kernels.h"
#include "tests/reference/dense.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/thread_limit.h"

namespace vex::test {
namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// n random elements in guarded memory, `increment` apart, as the standard routines address them: a matrix of
// one row.
struct Vector : Matrix {
  Vector(vex_int n, vex_int increment, std::mt19937_64& random)
      : Matrix(1, n, std::abs(increment)), inc(increment) {
    fill(random);
  }
  double& operator[](vex_int i) { return (*this)(0, inc < 0 ? cols - 1 - i : i); }
  std::vector<double> values() const {
    std::vector<double> all = Matrix::values();
    if (inc < 0) std::ranges::reverse(all);
    return all;
  }
  const vex_int inc;
};

class Vectors : public EveryPath {};
INSTANTIATE_TEST_SUITE_P(Paths, Vectors, testing::ValuesIn(runnable_paths()), path_name);

TEST_P(Vectors, PivotNotTheFirstOfEqualsOrNotTheFirstNan) {
  std::mt19937_64 random(1);
  const auto search = [&](vex_int n, vex_int inc, Vector& x) {
    return GetParam().idamax(&n, x.data(), &inc);
  };
  for (vex_int n : {1, 2, 3, 15, 16, 17, 20, 21, 31, 33, 64, 100, 511, 512, 513, 1024, 1500})
    for (vex_int inc : {1, 3}) {
      Vector x(n, inc, random);
      for (vex_int i = 0; i < n; ++i) x[i] = std::floor(x[i] * 4);  // many ties
      ASSERT_EQ(search(n, inc, x), reference::index_of_largest(n, x.data(), inc)) << n;
      x[n / 2] = -9, x[n - 1] = 9;
      ASSERT_EQ(search(n, inc, x), n / 2 + 1);
      x[n - 1] = -std::numeric_limits<double>::infinity();
      ASSERT_EQ(search(n, inc, x), n);
      x[n - 1] = nan;
      ASSERT_EQ(search(n, inc, x), n);
      x[n / 3] = nan;
      ASSERT_EQ(search(n, inc, x), n / 3 + 1);
      for (vex_int i = 0; i < n; ++i) x[i] = i % 2 ? 0.0 : -0.0;
      ASSERT_EQ(search(n, inc, x), 1);
    }
  Vector x(3, 1, random);
  EXPECT_EQ(search(0, 1, x), 0);
  EXPECT_EQ(search(3, 0, x), 0);
  EXPECT_EQ(search(3, -1, x), 0);
}

TEST_P(Vectors, StrideOrLengthMishandled) {
  std::mt19937_64 random(2);
  for (vex_int n : {0, 1, 2, 3, 4, 7, 8, 9, 16, 31, 33, 100})
    for (vex_int incx : {1, 2, -1, -3})
      for (vex_int incy : {1, 4, -2}) {
        Vector x(n, incx, random), y(n, incy, random);
        const std::vector<double> xs = x.values(), ys = y.values();
        GetParam().swap(&n, x.data(), &incx, y.data(), &incy);
        ASSERT_TRUE(x.values() == ys && y.values() == xs);
        GetParam().copy(&n, x.data(), &incx, y.data(), &incy);
        ASSERT_EQ(y.values(), ys);
        const double alpha = -1.5;
        GetParam().scal(&n, &alpha, x.data(), &incx);
        for (vex_int i = 0; i < n; ++i)
          ASSERT_EQ(x[i], (incx > 0 ? alpha : 1) * ys[static_cast<std::size_t>(i)]);
        long double sum = 0, size = 0;
        for (vex_int i = 0; i < n; ++i) {
          sum += static_cast<long double>(x[i]) * y[i];
          size += std::fabs(static_cast<long double>(x[i]) * y[i]);
        }
        ASSERT_LE(std::fabs(GetParam().dot(&n, x.data(), &incx, y.data(), &incy) - sum),
                  static_cast<double>(n) * eps * size);
        ASSERT_TRUE(x.guards_intact() && y.guards_intact());
      }
}

TEST_P(Vectors, MatrixVectorProductOrRankOneUpdateWrong) {
  std::mt19937_64 random(3);
  for (vex_int m : {1, 2, 3, 7, 8, 9, 17, 33, 2047, 2051})
    for (vex_int n : {1, 2, 3, 4, 5, 7, 8, 9, 20})
      for (vex_int inc : {1, 3, -2})
        for (double beta : {0.0, 1.0, -0.5})
          for (char trans : {'N', 'T'}) {
            Matrix a(m, n, m + n % 3);
            a.fill(random);
            const bool turned = trans == 'T';
            const vex_int rows = turned ? n : m, columns = turned ? m : n;
            Vector x(columns, inc, random), y(rows, 2 - inc, random);
            if (y.inc == 0) continue;
            const double alpha = inc == 1 ? 1 : 0.75;
            const std::vector<double> xs = x.values(), ys = y.values();
            const reference::Answer answer =
                reference::multiply(turned, false, rows, 1, columns, alpha, a.data(), a.ld, xs.data(),
                                    columns, beta, ys.data(), rows);
            if (beta == 0)
              for (vex_int i = 0; i < rows; ++i) y[i] = nan;
            GetParam().gemv(&trans, &m, &n, &alpha, a.data(), &a.ld, x.data(), &x.inc, &beta, y.data(),
                            &y.inc, 1);
            for (vex_int i = 0; i < rows; ++i)
              ASSERT_LE(std::fabs(y[i] - answer.at(i, 0)),
                        static_cast<double>(columns + 4) * eps * answer.size_at(i, 0))
                  << trans << m << 'x' << n;
            ASSERT_TRUE(y.guards_intact() && a.guards_intact());
            if (turned || beta != 1) continue;
            Vector u(m, inc, random), v(n, -inc, random);
            const std::vector<double> us = u.values(), vs = v.values();
            const reference::Answer updated = reference::multiply(false, true, m, n, 1, alpha, us.data(), m,
                                                                  vs.data(), n, 1, a.data(), a.ld);
            GetParam().ger(&m, &n, &alpha, u.data(), &u.inc, v.data(), &v.inc, a.data(), &a.ld);
            for (vex_int j = 0; j < n; ++j)
              for (vex_int i = 0; i < m; ++i)
                ASSERT_LE(std::fabs(a(i, j) - updated.at(i, j)), 4 * eps * updated.size_at(i, j));
            ASSERT_TRUE(a.guards_intact());
          }
}

TEST_P(Vectors, SingleRightHandSideSolvedWrong) {
  std::mt19937_64 random(4);
  for (vex_int n : {1, 2, 5, 31, 32, 33, 64, 65, 100})
    for (vex_int inc : {1, 2, -3})
      for (char uplo : {'L', 'U'})
        for (char trans : {'N', 'T'})
          for (char diag : {'N', 'U'}) {
            Matrix a(n, n, n + 1);
            fill_triangle(a, uplo, diag, random);
            Vector x(n, inc, random);
            if (n == 65 && diag == 'N') {  // an element of the diagonal without a reciprocal
              a(9, 9) = 1e-310;
              for (vex_int i = 0; i < n; ++i) x[i] *= 1e-20;
            }
            const std::vector<double> b = x.values();
            GetParam().trsv(&uplo, &trans, &diag, &n, a.data(), &a.ld, x.data(), &inc, 1, 1, 1);
            const std::vector<double> solution = x.values();
            const reference::Answer product = reference::triangle_times(
                true, uplo == 'L', trans != 'N', diag == 'U', n, 1, a.data(), a.ld, solution.data(), n);
            for (vex_int i = 0; i < n; ++i)
              ASSERT_LE(std::fabs(product.at(i, 0) - b[static_cast<std::size_t>(i)]),
                        static_cast<double>(n + 4) * eps * product.size_at(i, 0))
                  << uplo << trans << diag << n;
            ASSERT_TRUE(x.guards_intact());
          }
}

TEST(VectorFrontEnd, AnswerDependsOnTheThreadCount) {
  std::mt19937_64 random(5);
  const vex_int n = 20000, order = 1013;
  Matrix triangle(order, order, order + 2);
  triangle.fill(random);
  for (vex_int j = 0; j < order; ++j) triangle(j, j) = 40;
  std::vector<double> right_side(static_cast<std::size_t>(order), 1.0), solution[2];
  for (int threads : {1, 2, 3, 8}) {
    const ThreadLimit limit(threads);
    Vector x(n, 1, random), y(n, -2, random);
    x[4000] = 7, x[15000] = -7, x[19999] = 7;
    EXPECT_EQ(blas::idamax(n, x.data(), 1), 4001);
    x[15000] = nan, x[19000] = nan;
    EXPECT_EQ(blas::idamax(n, x.data(), 1), 15001);
    x[15000] = x[19000] = 0;
    blas::copy(n, x.data(), 1, y.data(), -2);
    EXPECT_EQ(x.values(), y.values());
    EXPECT_TRUE(y.guards_intact());
    Matrix a(9, 300, 9);
    a.fill(1.0);
    blas::ger(2, x.data(), 1, y.data(), -2, {a.data(), 9, 300, 9});
    // y is walked from its far end, so its first element in memory belongs to the last column.
    for (vex_int j = 0; j < 300; ++j)
      ASSERT_NEAR(a(3, j), 1 + 2 * x[3] * y.data()[(299 - j) * 2], 4 * eps) << j;
    for (const bool lower : {true, false}) {
      std::vector<double> u = right_side, &wanted = solution[lower];
      blas::trsv(lower ? blas::Uplo::lower : blas::Uplo::upper, blas::Trans::no, blas::Diag::non_unit,
                 {triangle.data(), order, order, triangle.ld}, u.data(), 1);
      if (threads == 1) wanted = u;
      EXPECT_EQ(u, wanted) << threads << lower;
    }
  }
}

TEST(VectorFrontEnd, PivotSearchWithoutATableOfPartsGivesUpOrKeepsQuiet) {
  if (!alone()) return;
  const std::string printed = in_unused_memory([&] {
    std::vector<double> x(9000);
    x[5000] = -2, x[7000] = 2;
    const ThreadLimit limit(600);  // more parts than fit on the stack
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
