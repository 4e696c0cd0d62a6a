// A matrix and what a factorization makes of it, in guarded memory.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "lapack/lapack.h"
#include "tests/reference/lu.h"
#include "tests/support/guarded_matrix.h"

namespace vex::test {

using Factorization = decltype(vex_lapack_dgetrf);

struct Factored {
  // A copy of `source` with `gap` unused rows between the columns, not factored yet.
  explicit Factored(ConstMatrixView source, vex_int gap = 3)
      : a(source, gap), ipiv(static_cast<std::size_t>(std::min(source.rows, source.cols))) {}
  Factored(ConstMatrixView source, vex_int gap, Factorization* by) : Factored(source, gap) {
    by(&a.rows, &a.cols, a.data(), &a.ld, ipiv.data(), &info);
  }

  GuardedMatrix a;
  std::vector<vex_int> ipiv;
  vex_int info = -77;
};

inline testing::AssertionResult is_exact(const ExactLu& wanted, const Factored& got) {
  const testing::AssertionResult wrong = testing::AssertionFailure() << wanted.m << " x " << wanted.n << ": ";
  if (got.info != wanted.info) return testing::AssertionResult(wrong) << "info " << got.info;
  if (got.ipiv != wanted.ipiv) return testing::AssertionResult(wrong) << "pivots";
  for (vex_int j = 0; j < wanted.n; ++j)
    for (vex_int i = 0; i < wanted.m; ++i)
      if (got.a(i, j) != wanted.factors[static_cast<std::size_t>(i + j * wanted.m)])
        return testing::AssertionResult(wrong) << "element " << i << ", " << j;
  if (!got.a.guards_intact()) return testing::AssertionResult(wrong) << "a step outside";
  return testing::AssertionSuccess();
}

constexpr Pivots all_pivots[] = {Pivots::scattered, Pivots::tied, Pivots::singular};

}  // namespace vex::test
