// The sequential routines of every code path that this processor can run, for tests that go through all of
// them, and matrices in guarded memory.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <vector>

#include "blas/paths.h"
#include "tests/support/guarded.h"

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

// A column-major matrix whose last element is followed by an unreadable page. Rows beyond `rows` in each
// column keep the guard pattern.
class Matrix {
 public:
  Matrix(vex_int rows, vex_int cols, vex_int ld);
  void fill(std::mt19937_64& random);
  void fill(double value);
  double* data() { return memory_.data(); }
  const double* data() const { return memory_.data(); }
  double& operator()(vex_int i, vex_int j) { return memory_.data()[i + j * ld]; }
  double operator()(vex_int i, vex_int j) const { return memory_.data()[i + j * ld]; }
  // Whether nothing but the rows x cols elements has been written.
  bool surroundings_untouched() const;
  std::vector<double> values() const;

  const vex_int rows, cols, ld;

 private:
  GuardedDoubles memory_;
};

// A test that runs once for every runnable path.
class EveryPath : public testing::TestWithParam<PathRoutines> {};

inline std::string path_name(const testing::TestParamInfo<PathRoutines>& info) {
  return info.param.name;
}

}  // namespace vex::test
