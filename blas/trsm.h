// How the right-hand sides of a triangular solve are cut among threads.
#pragma once

#include "service/types.h"

namespace vex::blas {

struct SolveSplit {
  int threads;
  int limit;       // when `threads` reaches it (and it is positive), `preset` is the chunk
  vex_int preset;  // right-hand sides a thread
  int mode;        // 2 and above: chunks are multiples of the register block
};

// Right-hand sides each thread but the last takes; extent is n from the left, m from the right.
inline vex_int solve_chunk(bool left, vex_int m, vex_int extent, const SolveSplit& split) {
  if (split.limit > 0 && split.threads >= split.limit) return split.preset;
  const vex_int chunk = extent / split.threads;
  const bool rounded = split.mode >= 2 && (!left || m >= 513);
  return rounded ? chunk / 4 * 4 : chunk;
}

}  // namespace vex::blas

extern "C" {

// Splits the columns (left) or rows (right) of B among split.threads threads.
void vex_blas_dtrsm_omp_driver_v1(const char* side, const char* uplo, const char* trans, const char* diag,
                                  const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                                  const vex_int* lda, double* b, const vex_int* ldb,
                                  vex::blas::SolveSplit split);
}
