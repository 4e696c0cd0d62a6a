// The factorization of matrices much taller than wide: one panel, on the calling thread.
#include "lapack/getrf.h"
#include "lapack/panel.h"

void vex_lapack_dgetrf_ts(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                          vex_int* info) {
  const vex_int zero = 0;
  if (*m == 0 || *n == 0) return;
  if (vex_lapack_xdgetrf_local(m, n, a, lda, ipiv, info, &zero, &zero) != 0) {
    *info = vex::lapack::info_not_finished;
  }
}
