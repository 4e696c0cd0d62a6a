// What the front end asks this path for besides its plain multiply: vector-shaped products, the path's own
// way to share a product.
#include "blas/cnr_def/path.h"
#include "blas/engine/vector_shaped.h"
#include "blas/paths.h"

using vex::blas::cnr_def::Path;
namespace engine = vex::blas::engine;

extern "C" {

void vex_blas_cnr_def_xdgemmger(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                                const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                                const double* b, const vex_int* ldb, const double* beta, double* c,
                                const vex_int* ldc, vex_int, vex_int) {
  engine::multiply_vector_shaped<Path>(engine::is(trans_a, 'N'), engine::is(trans_b, 'N'), *m, *n, *k, *alpha,
                                       a, *lda, b, *ldb, *beta, c, *ldc);
}

// The drivers of the front end share this path's products.
int vex_blas_cnr_def_xdgemm_par(const char*, const char*, const vex_int*, const vex_int*, const vex_int*,
                                const double*, const double*, const vex_int*, const double*, const vex_int*,
                                const double*, double*, const vex_int*, const int*) {
  return 0;
}
}
