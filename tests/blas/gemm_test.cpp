// The multiply against the plain reference, on every code path.
#include <cmath>
#include <cstring>
#include <limits>

#include "blas/blas.h"
#include "blas/named_entries.h"
#include "tests/blas/kernels.h"
#include "tests/reference/dense.h"
#include "tests/support/caught_reports.h"

namespace vex::test {
namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

struct Call {
  char trans_a = 'N', trans_b = 'N';
  vex_int m, n, k;
  double alpha = 1, beta = 1;
  vex_int pad = 3;  // added to each minimal leading dimension
};

// Runs one call on random operands and checks every element and everything around them.
void check_against_reference(blas::DgemmFunction* gemm, const Call& call, std::mt19937_64& random) {
  const bool turned_a = call.trans_a != 'N', turned_b = call.trans_b != 'N';
  const auto operand = [&](vex_int rows, vex_int cols, bool turned) {
    if (turned) std::swap(rows, cols);
    return Matrix(rows, cols, std::max<vex_int>(rows, 1) + call.pad);
  };
  Matrix a = operand(call.m, call.k, turned_a), b = operand(call.k, call.n, turned_b),
         c = operand(call.m, call.n, false);
  a.fill(random), b.fill(random), c.fill(random);
  if (call.beta == 0) c.fill(std::numeric_limits<double>::quiet_NaN());
  const reference::Answer answer =
      reference::multiply(turned_a, turned_b, call.m, call.n, call.k, call.alpha, a.data(), a.ld, b.data(),
                          b.ld, call.beta, c.data(), c.ld);
  gemm(&call.trans_a, &call.trans_b, &call.m, &call.n, &call.k, &call.alpha, a.data(), &a.ld, b.data(), &b.ld,
       &call.beta, c.data(), &c.ld, 1, 1);
  const double allowed = static_cast<double>(call.k + 4) * eps;
  for (vex_int j = 0; j < call.n; ++j)
    for (vex_int i = 0; i < call.m; ++i)
      ASSERT_LE(std::fabs(c(i, j) - answer.at(i, j)), allowed * answer.size_at(i, j))
          << call.trans_a << call.trans_b << " m " << call.m << " n " << call.n << " k " << call.k
          << " alpha " << call.alpha << " beta " << call.beta << " at " << i << ',' << j;
  ASSERT_TRUE(c.guards_intact() && a.guards_intact() && b.guards_intact())
      << call.m << ' ' << call.n << ' ' << call.k;
}

class Gemm : public EveryPath {};
INSTANTIATE_TEST_SUITE_P(Paths, Gemm, testing::ValuesIn(runnable_paths()), path_name);

TEST_P(Gemm, WrongElementOrStepOutsideAtARegisterBlockEdge) {
  std::mt19937_64 random(1);
  for (const char* letters : {"NN", "NT", "TN", "TT", "CC"})
    for (vex_int m : {1, 2, 3, 4, 5, 7, 8, 11, 12, 13, 23, 24, 25, 31, 49})
      for (vex_int n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 17})
        for (vex_int k : {1, 2, 3, 5, 8, 9, 21})
          check_against_reference(GetParam().gemm, {letters[0], letters[1], m, n, k, -1, 1, (m + n + k) % 4},
                                  random);
}

TEST_P(Gemm, WrongElementAtACacheBlockEdge) {
  std::mt19937_64 random(2);
  for (vex_int k : {46, 47, 48, 127, 129, 191, 193, 255, 257, 300, 383, 384, 385, 600, 767, 768, 769})
    for (const char* letters : {"NN", "TT"})
      check_against_reference(GetParam().gemm, {letters[0], letters[1], 26, 13, k, -1, 1, k % 3}, random);
  for (vex_int n : {191, 192, 193, 385})
    for (const char* letters : {"NN", "NT", "TN"})
      check_against_reference(GetParam().gemm, {letters[0], letters[1], 25, n, 49}, random);
  for (vex_int m : {1999, 2000, 2003, 4991, 4993, 5003, 5005})
    check_against_reference(GetParam().gemm, {m % 3 ? 'N' : 'T', 'N', m, 9, 8, 2, 0.5}, random);
}

TEST_P(Gemm, WrongElementWhereTheWayChanges) {
  // Around the sizes up to which products are not packed, square, tall and wide.
  constexpr vex_int sizes[][3] = {{40, 40, 4},   {41, 40, 5},   {56, 55, 6},  {57, 56, 7},    {72, 72, 9},
                                  {73, 71, 8},   {64, 64, 31},  {65, 64, 32}, {160, 159, 33}, {161, 160, 32},
                                  {500, 11, 12}, {500, 12, 12}, {16, 490, 9}, {17, 490, 9},   {25, 600, 5},
                                  {6, 1, 6},     {6, 29, 6},    {5, 6, 6},    {7, 6, 6}};
  std::mt19937_64 random(6);
  for (const char* letters : {"NN", "NT", "TN", "TT"})
    for (const auto& [m, n, k] : sizes)
      for (double alpha : {-1.0, 0.3})
        check_against_reference(GetParam().gemm, {letters[0], letters[1], m, n, k, alpha, n % 2 ? 1.7 : 0.0},
                                random);
}

TEST_P(Gemm, ScalarTreatedAsAnother) {
  std::mt19937_64 random(3);
  for (double alpha : {0.0, 1.0, -1.0, 0.3})
    for (double beta : {0.0, 1.0, -1.0, 1.7})
      for (vex_int k : {0, 1, 40, 500})
        for (vex_int m : {5, 50})
          check_against_reference(GetParam().gemm, {'N', 'T', m, 19, k, alpha, beta}, random);
}

TEST_P(Gemm, BitsDependOnPlaceInATileOrOnTheWay) {
  // A product large enough to be packed, cut into stripes at many rows and columns: the small ones go in
  // place, those with m = k = 6 a way of their own.
  struct {
    vex_int k;
    double alpha, beta;
  } constexpr cases[] = {{6, 0.7, 0.9}, {6, -1, 0}, {64, -1, 1}, {64, 1, 0.9}, {411, 0.7, 0}};
  std::mt19937_64 random(4);
  const vex_int m = 211, n = 203;
  for (const char* letters : {"NN", "NT", "TN", "TT"})
    for (const auto& [k, alpha, beta] : cases) {
      const bool turned_a = letters[0] == 'T', turned_b = letters[1] == 'T';
      Matrix a(turned_a ? k : m, turned_a ? m : k, (turned_a ? k : m) + 1);
      Matrix b(turned_b ? n : k, turned_b ? k : n, turned_b ? n : k), whole(m, n, m), pieces(m, n, m);
      a.fill(random), b.fill(random), whole.fill(1.0), pieces.fill(1.0);
      const auto run = [&, depth = k, factor = alpha, scale = beta](Matrix& c, vex_int i, vex_int j,
                                                                    vex_int rows, vex_int cols) {
        GetParam().gemm(letters, letters + 1, &rows, &cols, &depth, &factor,
                        a.data() + i * (turned_a ? a.ld : 1), &a.ld, b.data() + j * (turned_b ? 1 : b.ld),
                        &b.ld, &scale, c.data() + i + j * m, &m, 1, 1);
      };
      run(whole, 0, 0, m, n);
      for (vex_int i = 0, rows = 6; i < m; i += rows, rows = std::min(rows % 27 + 5, m - i))
        for (vex_int j = 0, cols = 1; j < n; j += cols, cols = std::min(cols + 1, n - j))
          run(pieces, i, j, rows, cols);
      const std::vector<double> x = whole.values(), y = pieces.values();
      EXPECT_EQ(std::memcmp(x.data(), y.data(), x.size() * sizeof(double)), 0) << letters << " k " << k;
    }
}

TEST_P(Gemm, NanOrInfinityLostOrInvented) {
  const double inf = std::numeric_limits<double>::infinity();
  constexpr vex_int sizes[][3] = {{30, 20, 9}, {200, 170, 60}};
  for (const auto& [m, n, k] : sizes) {
    Matrix a(m, k, m), b(k, n, k), c(m, n, m);
    a.fill(1.0), b.fill(1.0), c.fill(2.0);
    a(7, 3) = NAN, b(4, 5) = inf, c(m - 1, n - 1) = inf;
    const auto run = [&](double alpha, double beta) {
      GetParam().gemm("N", "N", &a.rows, &b.cols, &a.cols, &alpha, a.data(), &a.ld, b.data(), &b.ld, &beta,
                      c.data(), &c.ld, 1, 1);
    };
    run(1, 1);
    for (vex_int j = 0; j < n; ++j)
      for (vex_int i = 0; i < m; ++i) {
        if (i == 7)
          ASSERT_TRUE(std::isnan(c(i, j)));
        else
          ASSERT_EQ(c(i, j), j == 5 || (i == m - 1 && j == n - 1) ? inf : 2.0 + static_cast<double>(k));
      }
    run(0, 0);  // neither the operands nor C are read
    EXPECT_EQ(c.values(), std::vector<double>(static_cast<std::size_t>(m * n), 0.0));
  }
}

TEST(GemmFrontEnd, ArgumentErrorReportedUnderAnotherNumber) {
  const struct {
    const char* letters;
    vex_int m, n, k, lda, ldb, ldc, bad;
  } cases[] = {{"XN", 1, 1, 1, 1, 1, 1, 1},   {"N?", -1, 1, 1, 1, 1, 1, 2}, {"nN", -1, -1, 1, 1, 1, 1, 3},
               {"Nc", 1, -1, -1, 1, 1, 1, 4}, {"NN", 1, 1, -1, 1, 1, 1, 5}, {"NN", 4, 3, 2, 3, 2, 4, 8},
               {"tN", 4, 3, 2, 1, 2, 4, 8},   {"NN", 4, 3, 2, 4, 1, 4, 10}, {"NT", 4, 3, 2, 4, 2, 4, 10},
               {"NN", 4, 3, 2, 4, 2, 3, 13},  {"NN", 0, 0, 0, 1, 1, 0, 13}, {"NN", 4, 3, 2, 4, 2, 4, 0}};
  for (const auto& x : cases) {
    const CaughtReports reports;
    double a[100] = {}, c[100] = {}, one = 1;
    vex_blas_dgemm(x.letters, x.letters + 1, &x.m, &x.n, &x.k, &one, a, &x.lda, a, &x.ldb, &one, c, &x.ldc, 1,
                   1);
    EXPECT_EQ(reports.text(), x.bad ? "DGEMM :" + std::to_string(x.bad) + " " : "") << x.letters;
  }
}

}  // namespace
}  // namespace vex::test
