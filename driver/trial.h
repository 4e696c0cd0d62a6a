// One trial: generate, factor and solve against the clock, verify.
#pragma once

#include <cstdint>

extern "C" {

// n, lda:  order and leading dimension (in).
// a:       lda * n doubles (work); b, x: lda doubles each (work); ipvt: lda integers (work).
// time:    seconds of factorization and solve (out).
// gflops:  rate (out); resid, residn: largest entry of b - A x, and the same normalised (out). These three
// keep
//          their values when the measured time is not positive.
// info:    what the solve reports (out).
void quarlen_(const std::int32_t* n, double* a, const std::int32_t* lda, double* b, double* x,
              std::int32_t* ipvt, double* time, double* gflops, double* resid, double* residn,
              std::int32_t* info);
}

namespace vex::driver {

// Rate in GFlops of factoring and solving a system of order n in `seconds`.
double gflops_of(std::int32_t n, double seconds);

}  // namespace vex::driver
