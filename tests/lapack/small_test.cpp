#include "lapack/small/small.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/reference/lu.h"
#include "tests/support/guarded_matrix.h"

namespace {

using namespace vex::test;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double safe_minimum = std::numeric_limits<double>::min();

struct Path {
  const char* name;
  bool supported;
  vex_dgetrf_small *factor, *unblocked;
  vex_dgetrs_small* solve;
};

void PrintTo(const Path& path, std::ostream* out) {
  *out << path.name;
}

// The routines of every code path, whichever one the library would choose here.
class SmallSystems : public testing::TestWithParam<Path> {
 protected:
  void SetUp() override {
    if (!GetParam().supported) GTEST_SKIP() << "not on this processor";
  }

  vex_int factor(vex::MatrixView a, vex_int* ipiv) {
    vex_int info = -77;
    const bool small = std::max(a.rows, a.cols) <= 16;
    (small ? GetParam().factor : GetParam().unblocked)(&a.rows, &a.cols, a.data, &a.ld, ipiv, &info);
    return info;
  }

  void solve(char trans, vex::MatrixView factors, const vex_int* ipiv, vex::MatrixView b) {
    vex_int info = -77;
    GetParam().solve(&trans, &b.rows, &b.cols, factors.data, &factors.ld, ipiv, b.data, &b.ld, &info, 1);
    ASSERT_EQ(info, 0);
  }
};

TEST_P(SmallSystems, FactorEveryShapeToTheLastBit) {
  for (vex_int m = 1; m <= 16; ++m) {
    for (vex_int n = 1; n <= 16; ++n) {
      for (const Pivots kind : {Pivots::scattered, Pivots::tied, Pivots::singular}) {
        const ExactLu wanted = exact_lu(m, n, kind, static_cast<std::uint64_t>(100 * m + n));
        GuardedMatrix a(m, n, m + n % 2);
        for (vex_int j = 0; j < n; ++j)
          std::copy_n(&wanted.a[static_cast<std::size_t>(j * m)], m, a.view().col(j));
        std::vector<vex_int> ipiv(wanted.ipiv.size());
        ASSERT_EQ(factor(a.view(), ipiv.data()), wanted.info) << m << " x " << n;
        ASSERT_EQ(ipiv, wanted.ipiv) << m << " x " << n;
        for (vex_int j = 0; j < n; ++j) {
          for (vex_int i = 0; i < m; ++i)
            ASSERT_EQ(a(i, j), wanted.factors[static_cast<std::size_t>(i + j * m)]);
        }
        ASSERT_TRUE(a.guards_intact()) << m << " x " << n;
      }
    }
  }
}

TEST_P(SmallSystems, FactorWithinTheComponentwiseBound) {
  for (vex_int m = 1; m <= 16; ++m) {
    for (vex_int n = 1; n <= 16; ++n) {
      GuardedMatrix source(m, n, m), a(m, n, m);
      fill_random(source.view(), static_cast<std::uint64_t>(m + 20 * n));
      fill_random(a.view(), static_cast<std::uint64_t>(m + 20 * n));
      const PlainLu wanted = plain_lu(source.view());
      ASSERT_GT(wanted.narrowest_choice, 1e-10L);
      std::vector<vex_int> ipiv(wanted.ipiv.size());
      ASSERT_EQ(factor(a.view(), ipiv.data()), 0);
      ASSERT_EQ(ipiv, wanted.ipiv);
      ASSERT_LE(factor_error(source.view(), a.view(), ipiv), 3.0) << m << " x " << n;
    }
  }
}

TEST_P(SmallSystems, UnrolledOrdersAgreeWithTheLoopBitForBit) {
  for (vex_int n = 3; n <= 7; ++n) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
      // A further column changes nothing about the others but sends the matrix to the loop.
      GuardedMatrix wide(n, n + 1, n), square(n, n, n);
      fill_random(wide.view(), seed);
      for (vex_int j = 0; j < n; ++j) std::copy_n(wide.view().col(j), n, square.view().col(j));
      std::vector<vex_int> wide_ipiv(8), square_ipiv(8);
      factor(wide.view(), wide_ipiv.data());
      factor(square.view(), square_ipiv.data());
      ASSERT_EQ(square_ipiv, wide_ipiv);
      for (vex_int j = 0; j < n; ++j) {
        for (vex_int i = 0; i < n; ++i) ASSERT_EQ(square(i, j), wide(i, j)) << "order " << n;
      }
    }
  }
}

TEST_P(SmallSystems, ChooseThePivotByAScanThatOnlyAGreaterMagnitudeMoves) {
  const double values[] = {not_a_number, -not_a_number, infinity, -infinity, 0.0, -0.0, 1.0, -1.0, 2.0, -2.0};
  for (vex_int m = 1; m <= 16; ++m) {
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
      Random random(seed * 17 + static_cast<std::uint64_t>(m));
      GuardedMatrix a(m, 3, m);
      vex_int wanted = 0;
      for (vex_int i = 0; i < m; ++i) {
        a(i, 0) = values[random.below(10)];
        a(i, 1) = random.uniform();
        if (std::fabs(a(i, 0)) > std::fabs(a(wanted, 0))) wanted = i;
      }
      vex_int ipiv[3];
      factor(a.view(), ipiv);
      ASSERT_EQ(ipiv[0], wanted + 1) << m << " rows, seed " << seed;
      for (vex_int j = 0; j < std::min<vex_int>(m, 3); ++j) ASSERT_TRUE(j < ipiv[j] && ipiv[j] <= m);
      ASSERT_TRUE(a.guards_intact());
    }
  }
}

TEST_P(SmallSystems, KeepNonFiniteNumbersOutOfFinishedRowsAndColumns) {
  for (vex_int n = 3; n <= 30; ++n) {
    for (const vex_int column : {vex_int{2}, n - 1}) {
      // The pivots stay where they are; the infinity meets only what the elimination combines it with.
      GuardedMatrix a(n, n, n);
      for (vex_int i = 0; i < n; ++i) a(i, i) = 4;
      a(1, column) = infinity;
      a(2, 0) = 1;
      vex_int ipiv[30];
      EXPECT_EQ(factor(a.view(), ipiv), 0);
      for (vex_int j = 0; j < n; ++j) {
        for (vex_int i = 0; i < n; ++i) {
          if (j == column && i >= 1) continue;  // 0 * infinity below the infinity
          if (j > column && i > column) continue;
          EXPECT_TRUE(std::isfinite(a(i, j))) << "order " << n << ", element " << i << ", " << j;
        }
      }
    }
  }
}

TEST_P(SmallSystems, DivideByPivotsWhoseReciprocalOverflows) {
  for (const vex_int n : {2, 3, 7, 8, 16}) {
    for (const double pivot : {safe_minimum, -safe_minimum / 16}) {
      GuardedMatrix a(n, n, n);
      for (vex_int i = 1; i < n; ++i) a(i, i) = 1;
      a(0, 0) = pivot;
      a(1, 0) = pivot / 4;
      vex_int ipiv[16];
      EXPECT_EQ(factor(a.view(), ipiv), 0);
      EXPECT_EQ(a(1, 0), 0.25);
    }
  }
}

TEST_P(SmallSystems, FormTheMultiplierOfOrderTwoByDivision) {
  int differs = 0;
  for (std::uint64_t seed = 1; seed <= 100; ++seed) {
    GuardedMatrix a(2, 2, 2);
    fill_random(a.view(), seed);
    const double large = std::max(std::fabs(a(0, 0)), std::fabs(a(1, 0)));
    const double small = std::min(std::fabs(a(0, 0)), std::fabs(a(1, 0)));
    vex_int ipiv[2];
    factor(a.view(), ipiv);
    EXPECT_EQ(std::fabs(a(1, 0)), small / large);
    differs += small / large != small * (1 / large);
  }
  EXPECT_GT(differs, 0) << "the data cannot tell a division from a multiplication";
}

TEST_P(SmallSystems, SolveEveryShapeToTheLastBit) {
  for (vex_int n = 1; n <= 8; ++n) {
    const ExactLu lu = exact_lu(n, n, Pivots::scattered, static_cast<std::uint64_t>(n));
    GuardedMatrix factors(n, n, n + 1);
    for (vex_int j = 0; j < n; ++j)
      std::copy_n(&lu.factors[static_cast<std::size_t>(j * n)], n, factors.view().col(j));
    for (vex_int nrhs = 1; nrhs <= 8; ++nrhs) {
      for (const char trans : {'N', 'T'}) {
        GuardedMatrix b(n, nrhs, n + 3);
        const auto wanted = [](vex_int i, vex_int c) { return static_cast<double>((i * 5 + c * 3) % 7 - 3); };
        for (vex_int c = 0; c < nrhs; ++c) {
          for (vex_int i = 0; i < n; ++i) {
            for (vex_int k = 0; k < n; ++k) {
              b(i, c) += lu.a[static_cast<std::size_t>(trans == 'N' ? i + k * n : k + i * n)] * wanted(k, c);
            }
          }
        }
        solve(trans, factors.view(), lu.ipiv.data(), b.view());
        for (vex_int c = 0; c < nrhs; ++c) {
          for (vex_int i = 0; i < n; ++i)
            ASSERT_EQ(b(i, c), wanted(i, c)) << trans << ", " << n << " by " << nrhs;
        }
        ASSERT_TRUE(b.guards_intact() && factors.guards_intact());
      }
    }
  }
}

TEST_P(SmallSystems, SolveByReciprocalsAndSpreadAZeroPivotOnlyUpwards) {
  for (vex_int n = 1; n <= 8; ++n) {
    GuardedMatrix factors(n, n, n), b(n, 5, n);
    std::vector<vex_int> ipiv(static_cast<std::size_t>(n));
    for (vex_int i = 0; i < n; ++i) {
      ipiv[static_cast<std::size_t>(i)] = i + 1;
      factors(i, i) = 49;
      for (vex_int c = 0; c < 5; ++c) b(i, c) = 5;
    }
    factors(n / 2, n / 2) = 0;
    solve('N', factors.view(), ipiv.data(), b.view());
    for (vex_int c = 0; c < 5; ++c) {
      for (vex_int i = n / 2 + 1; i < n; ++i) EXPECT_EQ(b(i, c), 5 * (1.0 / 49)) << "order " << n;
      EXPECT_FALSE(std::isfinite(b(n / 2, c)));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    , SmallSystems,
    testing::Values(Path{"def", true, vex_lapack_ps_def_dgetrf_small, vex_lapack_ps_def_dgetf2,
                         vex_lapack_ps_def_dgetrs_small},
                    Path{"mc3", __builtin_cpu_supports("sse4.2") != 0, vex_lapack_ps_mc3_dgetrf_small,
                         vex_lapack_ps_mc3_dgetf2, vex_lapack_ps_mc3_dgetrs_small},
                    Path{"avx2", __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"),
                         vex_lapack_ps_avx2_dgetrf_small, vex_lapack_ps_avx2_dgetf2,
                         vex_lapack_ps_avx2_dgetrs_small},
                    Path{"avx512", __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl"),
                         vex_lapack_ps_avx512_dgetrf_small, vex_lapack_ps_avx512_dgetf2,
                         vex_lapack_ps_avx512_dgetrs_small}),
    [](const auto& path) { return std::string(path.param.name); });

}  // namespace
