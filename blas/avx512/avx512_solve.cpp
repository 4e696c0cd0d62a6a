// The triangular solve of this path.
#include "blas/avx512/path.h"
#include "blas/engine/solve.h"
#include "blas/paths.h"

using vex::blas::avx512::Path;
namespace engine = vex::blas::engine;

extern "C" {

void vex_blas_avx512_xdtrsm(const char* side, const char* uplo, const char* trans, const char* diag,
                            const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                            const vex_int* lda, double* b, const vex_int* ldb, vex_int, vex_int, vex_int,
                            vex_int) {
  engine::solve<Path>(engine::is(side, 'L'), engine::is(uplo, 'L'), !engine::is(trans, 'N'),
                      engine::is(diag, 'U'), *m, *n, *alpha, a, *lda, b, *ldb);
}

void vex_blas_avx512_xdtrsm_v1(const char* side, const char* uplo, const char* trans, const char* diag,
                               const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                               const vex_int* lda, double* b, const vex_int* ldb, vex_int, vex_int, vex_int,
                               vex_int) {
  engine::solve_v1<Path>(engine::is(side, 'L'), engine::is(uplo, 'L'), !engine::is(trans, 'N'),
                         engine::is(diag, 'U'), *m, *n, *alpha, a, *lda, b, *ldb);
}
}
