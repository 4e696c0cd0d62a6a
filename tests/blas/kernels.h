// The sequential routines of every code path that this processor can run, for tests that go through all of
// them, and matrices in guarded memory.
#pragma once

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <random>
#include <vector>

#include "blas/paths.h"
#include "tests/support/guarded_matrix.h"

namespace vex::test {

struct PathRoutines {
  const char* name;
  blas::EngineFunction* engine;
  blas::DgemmFunction *gemm, *gemmger;
  blas::DtrsmFunction *trsm, *trsm_v1;
  blas::DtrsvFunction* trsv;
  blas::DgemvFunction* gemv;
  blas::DgerFunction* ger;
  blas::IdamaxFunction* idamax;
  blas::DcopyFunction* copy;
  blas::DscalFunction* scal;
  blas::DswapFunction* swap;
  blas::DdotFunction* dot;
};

inline void PrintTo(const PathRoutines& path, std::ostream* out) {
  *out << path.name;
}

const std::vector<PathRoutines>& runnable_paths();

using Matrix = GuardedMatrix;

// A well-conditioned triangle: small elements off the diagonal. The other triangle, and a unit diagonal, are
// NaN: they must not be looked at.
inline void fill_triangle(Matrix& a, char uplo, char diag, std::mt19937_64& random) {
  std::uniform_real_distribution<double> small(-1, 1), diagonal(1, 2);
  a.fill_by([&](vex_int i, vex_int j) {
    if (i == j && diag == 'N') return diagonal(random);
    const bool inside = uplo == 'L' ? i > j : i < j;
    return inside ? small(random) / static_cast<double>(a.rows) : std::numeric_limits<double>::quiet_NaN();
  });
}

// A test that runs once for every runnable path.
class EveryPath : public testing::TestWithParam<PathRoutines> {};

inline std::string path_name(const testing::TestParamInfo<PathRoutines>& info) {
  return info.param.name;
}

}  // namespace vex::test
