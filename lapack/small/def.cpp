// The small-system routines of the generic path.
#include "blas/def/path.h"
#include "lapack/small/factor.h"
#include "lapack/small/small.h"
#include "lapack/small/solve.h"
#include "lapack/small/solve_single.h"
#include "lapack/small/sse.h"
#include "lapack/small/unblocked.h"

namespace {

struct Path {
  static __m128d subtract_product(__m128d c, __m128d a, __m128d b) { return _mm_sub_pd(c, _mm_mul_pd(a, b)); }
};

using Lanes = vex::lapack::small::Sse<Path>;

}  // namespace

void vex_lapack_ps_def_dgetrf_small(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                    vex_int* ipiv, vex_int* info) {
  *info = vex::lapack::small::factor<Lanes, Lanes>(*m, *n, a, *lda, ipiv);
}

void vex_lapack_ps_def_dgetrs_small(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a,
                                    const vex_int* lda, const vex_int* ipiv, double* b, const vex_int* ldb,
                                    vex_int* info, vex_int) {
  *info = vex::lapack::small::solve<Lanes>(*trans, *n, *nrhs, a, *lda, ipiv, b, *ldb);
}

void vex_lapack_ps_def_dgetf2(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                              vex_int* ipiv, vex_int* info) {
  *info = vex::lapack::small::factor_unblocked<vex::blas::def::Path, Lanes>(*m, *n, a, *lda, ipiv);
}

int vex_lapack_ps_def_dgetrs_single(const vex_int* n, const double* a, const vex_int* lda,
                                    const vex_int* ipiv, double* b) {
  return vex::lapack::small::SingleSolve<Lanes>(*n, a, *lda, b).run(ipiv);
}
