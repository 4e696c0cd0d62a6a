// One trial.
#include "driver/trial.h"

#include <omp.h>
#include <vex.h>

#include <algorithm>

#include "driver/test_problem.h"
#include "driver/verification.h"

namespace vex::driver {

// 2/3 n^3 + 2 n^2 operations, counted in single precision throughout, and a single-precision 1e-9 widened.
double gflops_of(std::int32_t n, double seconds) {
  const float order = static_cast<float>(n);
  const float twice_square = 2.0f * order * order;
  const float operations = order * twice_square / 3.0f + twice_square;
  return static_cast<double>(operations) * 9.999999717180685e-10 / seconds;
}

namespace {

// Seconds taken to factor A and to solve with its factors, in place. What the solve reports overwrites what
// the factorization reported: the solution is judged by its residual, not by its history.
double solve_timed(std::int32_t n, double* a, std::int32_t lda, double* b, std::int32_t* ipvt,
                   std::int32_t* info) {
  constexpr std::int32_t one = 1;
  constexpr char no_transpose[] = "No transpose";
  const double start = omp_get_wtime();
  DGETRF(&n, &n, a, &lda, ipvt, info);
  DGETRS(no_transpose, &n, &one, a, &lda, ipvt, b, &lda, info, sizeof no_transpose - 1);
  return omp_get_wtime() - start;
}

}  // namespace
}  // namespace vex::driver

void quarlen_(const std::int32_t* n, double* a, const std::int32_t* lda, double* b, double* x,
              std::int32_t* ipvt, double* time, double* gflops, double* resid, double* residn,
              std::int32_t* info) {
  *info = 0;
  matgen_(n, n, a, lda, b);
  *time = vex::driver::solve_timed(*n, a, *lda, b, ipvt, info);
  if (!(*time > 0.0)) return;
  *gflops = vex::driver::gflops_of(*n, *time);

  std::copy_n(b, *n, x);
  matgen_(n, n, a, lda, b);
  constexpr std::int32_t one = 1;
  const double normb = normi_(n, &one, b, n);
  const double normx = normi_(n, &one, x, n);
  mxpy_(n, n, a, lda, x, b);
  const double norma = norm1_(n, n, a, lda);
  *resid = normi_(n, &one, b, n);
  const double eps = DLAMCH("EPSILON", 7);
  *residn = ((*resid / eps) / *n) / (normb + normx * norma);
}
