// The verification kernels: against extended precision, over thread counts, and with values that are no
// numbers.
#include "driver/verification.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "driver/vendor_gate.h"
#include "tests/support/alone.h"

namespace vex::test {
namespace {

constexpr double eps = 0x1p-53;
const double not_a_number = std::numeric_limits<double>::quiet_NaN();
const double infinite = std::numeric_limits<double>::infinity();

struct Operands {
  std::int32_t m, n, lda;
  std::vector<double> a, x, y;
};

// Column-major, with rows beyond m that would be noticed in any sum.
Operands random_operands(std::int32_t m, std::int32_t n, std::int32_t padding) {
  std::mt19937_64 random(static_cast<std::uint64_t>(m * 1000 + n));
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  Operands o{m, n, m + padding, {}, {}, {}};
  for (std::int32_t at = 0; at < o.lda * n; ++at) o.a.push_back(at % o.lda < m ? value(random) : 1e300);
  for (std::int32_t j = 0; j < n; ++j) o.x.push_back(value(random));
  for (std::int32_t i = 0; i < m; ++i) o.y.push_back(value(random));
  return o;
}

std::vector<double> residual(const Operands& o) {
  std::vector<double> y = o.y;
  mxpy_(&o.m, &o.n, o.a.data(), &o.lda, o.x.data(), y.data());
  return y;
}

double vector_norm(const std::vector<double>& v) {
  const auto m = static_cast<std::int32_t>(v.size()), one = 1;
  return normi_(&m, &one, v.data(), &m);
}

double matrix_norm(const Operands& o) {
  return norm1_(&o.m, &o.n, o.a.data(), &o.lda);
}

TEST(Verification, AgreesWithExtendedPrecisionForEveryThreadCountInTheSameBits) {
  for (const std::int32_t m : {1, 7, 9, 64, 65, 300})
    for (const std::int32_t n : {0, 1, 2, 37}) {
      const Operands o = random_operands(m, n, m % 3);
      omp_set_num_threads(1);
      const std::vector<double> y = residual(o);
      const double norm = matrix_norm(o), largest = vector_norm(o.y);

      long double expected_norm = 0, expected_largest = 0;
      for (std::size_t i = 0; i < static_cast<std::size_t>(m); ++i) {
        long double sum = o.y[i], magnitude = std::fabs(o.y[i]), row = 0;
        for (std::size_t j = 0; j < static_cast<std::size_t>(n); ++j) {
          const long double element = o.a[i + j * static_cast<std::size_t>(o.lda)];
          sum -= element * o.x[j];
          magnitude += std::fabs(element * o.x[j]);
          row += std::fabs(element);
        }
        EXPECT_LE(std::fabs(y[i] - sum), (n + 2) * eps * magnitude) << m << " by " << n << ", row " << i;
        expected_norm = std::max(expected_norm, row);
        expected_largest = std::max<long double>(expected_largest, std::fabs(o.y[i]));
      }
      EXPECT_LE(std::fabs(norm - expected_norm), n * eps * expected_norm);
      EXPECT_EQ(largest, expected_largest);

      for (const int threads : {2, 3, 8}) {
        omp_set_num_threads(threads);
        EXPECT_EQ(residual(o), y) << threads;
        EXPECT_EQ(matrix_norm(o), norm) << threads;
        EXPECT_EQ(vector_norm(o.y), largest) << threads;
      }
    }
}

// Wherever it stands: first, last, in a full block or in the rest, beside infinities.
TEST(Verification, NeverLosesANaN) {
  for (const int threads : {1, 3}) {
    omp_set_num_threads(threads);
    for (const std::size_t at : {0u, 1u, 7u, 63u, 64u, 130u}) {
      Operands o = random_operands(131, 3, 2);
      o.y[5] = -infinite;
      EXPECT_EQ(vector_norm(o.y), infinite);
      o.y[at] = not_a_number;
      EXPECT_TRUE(std::isnan(vector_norm(o.y))) << at;
      o.a[5] = infinite;
      EXPECT_EQ(matrix_norm(o), infinite);
      o.a[at + 2 * static_cast<std::size_t>(o.lda)] = not_a_number;
      EXPECT_TRUE(std::isnan(matrix_norm(o))) << at;
      EXPECT_TRUE(std::isnan(residual(o)[at])) << at;
    }
  }
  EXPECT_TRUE(std::isnan(vector_norm(std::vector<double>(200, not_a_number))));
}

// The mode is set by main before the runtime starts its threads; they must take it over.
TEST(Verification, FlushesDenormalsInEveryThread) {
  if (!alone()) return;
  driver::flush_denormals();
  omp_set_num_threads(4);
  // Each row sums two of the smallest denormals; read as zero, they leave the row at zero.
  const Operands o{64, 2, 64, std::vector<double>(128, 5e-324), {}, {}};
  EXPECT_EQ(matrix_norm(o), 0.0);
}

}  // namespace
}  // namespace vex::test
