// LU problems with known answers, and a componentwise measure of errors.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "blas/matrix_view.h"

namespace vex::test {

// Small reproducible random numbers.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15u + 1) {}
  std::uint64_t next();
  vex_int below(vex_int bound) { return static_cast<vex_int>(next() % static_cast<std::uint64_t>(bound)); }
  double uniform() { return static_cast<double>(next() >> 11) * 0x1p-52 - 1.0; }  // [-1, 1)

 private:
  std::uint64_t state_;
};

void fill_random(MatrixView a, std::uint64_t seed);

// A matrix whose factors are short binary fractions: every product and sum of the elimination is exact, in
// any order and with or without fused operations, so the factors have to come out to the last bit.
struct ExactLu {
  vex_int m, n;
  std::vector<double> a;        // leading dimension m
  std::vector<double> factors;  // L and U as the factorization leaves them
  std::vector<vex_int> ipiv;
  vex_int info = 0;
  ConstMatrixView matrix() const { return {a.data(), m, n, std::max<vex_int>(1, m)}; }
};

enum class Pivots {
  scattered,  // each column has one largest candidate, anywhere below the diagonal
  tied,       // several rows share the largest magnitude and the first of them is the diagonal
  singular    // scattered, but some columns have nothing but zeros left when their turn comes
};

ExactLu exact_lu(vex_int m, vex_int n, Pivots kind, std::uint64_t seed);

// max over (i, j) of |P A - L U| / (|L| |U|), in units of the unit roundoff times the length of the sums.
double factor_error(ConstMatrixView a, ConstMatrixView factors, const std::vector<vex_int>& ipiv);

}  // namespace vex::test
