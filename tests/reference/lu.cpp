#include "tests/reference/lu.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vex::test {
namespace {

constexpr long double unit_roundoff = 0x1p-53L;

std::size_t at(vex_int i, vex_int j, vex_int ld) {
  return static_cast<std::size_t>(i + j * ld);
}

double short_fraction(Random& random, vex_int largest, double unit) {
  return static_cast<double>(random.below(2 * largest + 1) - largest) * unit;
}

// Both the value of a sum of products and the same sum over magnitudes, which bounds its rounding errors.
struct Sum {
  long double value = 0, magnitude = 0;
  void add(long double a, long double b) {
    value += a * b;
    magnitude += std::fabs(a * b);
  }
  // Distance from `wanted` in units of length * roundoff * magnitude; an exact zero needs no allowance.
  double error(long double wanted, vex_int length) const {
    const long double distance = std::fabs(value - wanted);
    if (distance == 0) return 0;
    if (!(magnitude > 0)) return std::numeric_limits<double>::infinity();
    return static_cast<double>(distance / (magnitude * unit_roundoff * static_cast<long double>(length)));
  }
};

long double lower(ConstMatrixView factors, vex_int i, vex_int k) {
  return i == k ? 1.0L : i > k ? static_cast<long double>(factors(i, k)) : 0.0L;
}

// Row i of P' is where row i of the unfactored matrix went.
std::vector<vex_int> rows_after_swaps(vex_int m, const std::vector<vex_int>& ipiv) {
  std::vector<vex_int> rows(static_cast<std::size_t>(m));
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<vex_int>(i);
  for (std::size_t i = 0; i < ipiv.size(); ++i)
    std::swap(rows[i], rows[static_cast<std::size_t>(ipiv[i] - 1)]);
  return rows;
}

}  // namespace

std::uint64_t Random::next() {
  state_ ^= state_ << 13;
  state_ ^= state_ >> 7;
  state_ ^= state_ << 17;
  return state_ * 0x2545f4914f6cdd1du >> 8;
}

void fill_random(MatrixView a, std::uint64_t seed) {
  Random random(seed);
  for (vex_int j = 0; j < a.cols; ++j) {
    for (vex_int i = 0; i < a.rows; ++i) a(i, j) = random.uniform();
  }
}

ExactLu exact_lu(vex_int m, vex_int n, Pivots kind, std::uint64_t seed) {
  Random random(seed);
  const vex_int diagonal = std::min(m, n);
  ExactLu lu{m, n, {}, {}, {}};
  lu.factors.assign(at(0, n, m), 0.0);
  lu.ipiv.resize(static_cast<std::size_t>(diagonal));
  for (vex_int j = 0; j < n; ++j) {
    const bool zero_pivot = j < diagonal && kind == Pivots::singular && random.below(4) == 0;
    for (vex_int i = 0; i < m; ++i) {
      double& value = lu.factors[at(i, j, m)];
      if (i < j) value = short_fraction(random, 3, 1.0);
      if (i == j && !zero_pivot)
        value = std::ldexp(random.below(2) ? 1.0 : -1.0, static_cast<int>(random.below(4)) - 1);
      if (i > j && !zero_pivot) value = short_fraction(random, kind == Pivots::tied ? 4 : 3, 0.25);
    }
    if (j >= diagonal) continue;
    const bool moves = kind != Pivots::tied && !zero_pivot;
    lu.ipiv[static_cast<std::size_t>(j)] = (moves ? j + random.below(m - j) : j) + 1;
    if (zero_pivot && lu.info == 0) lu.info = j + 1;
  }

  lu.a.assign(lu.factors.size(), 0.0);
  const ConstMatrixView factors{lu.factors.data(), m, n, m};
  for (vex_int j = 0; j < n; ++j) {
    for (vex_int k = 0; k <= std::min(j, diagonal - 1); ++k) {
      for (vex_int i = k; i < m; ++i) {
        lu.a[at(i, j, m)] += static_cast<double>(lower(factors, i, k)) * factors(k, j);
      }
    }
    for (vex_int i = diagonal - 1; i >= 0; --i) {
      std::swap(lu.a[at(i, j, m)], lu.a[at(lu.ipiv[static_cast<std::size_t>(i)] - 1, j, m)]);
    }
  }
  return lu;
}

double factor_error(ConstMatrixView a, ConstMatrixView factors, const std::vector<vex_int>& ipiv) {
  const std::vector<vex_int> rows = rows_after_swaps(a.rows, ipiv);
  double worst = 0;
  for (vex_int j = 0; j < a.cols; ++j) {
    std::vector<Sum> sums(static_cast<std::size_t>(a.rows));
    const vex_int terms = std::min(j + 1, std::min(a.rows, a.cols));
    for (vex_int k = 0; k < terms; ++k) {
      for (vex_int i = k; i < a.rows; ++i)
        sums[static_cast<std::size_t>(i)].add(lower(factors, i, k), factors(k, j));
    }
    for (std::size_t i = 0; i < sums.size(); ++i)
      worst = std::max(worst, sums[i].error(a(rows[i], j), terms));
  }
  return worst;
}

}  // namespace vex::test
