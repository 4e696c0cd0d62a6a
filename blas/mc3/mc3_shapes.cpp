// What the front end asks this path for besides its plain multiply: vector-shaped products, the path's own
// way to share a product.
#include <omp.h>

#include "blas/engine/vector_shaped.h"
#include "blas/gemm_threads.h"
#include "blas/mc3/path.h"
#include "blas/paths.h"

using vex::blas::mc3::Path;
namespace engine = vex::blas::engine;

extern "C" {

void vex_blas_mc3_xdgemmger(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                            const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                            const double* b, const vex_int* ldb, const double* beta, double* c,
                            const vex_int* ldc, vex_int, vex_int) {
  engine::multiply_vector_shaped<Path>(engine::is(trans_a, 'N'), engine::is(trans_b, 'N'), *m, *n, *k, *alpha,
                                       a, *lda, b, *ldb, *beta, c, *ldc);
}

// With two doubles to a vector a product is bound by its arithmetic, a copy more or less does not show, and
// equal stripes along the longer side of C, each packed by its own thread, are all there is to gain.
int vex_blas_mc3_xdgemm_par(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                            const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                            const double* b, const vex_int* ldb, const double* beta, double* c,
                            const vex_int* ldc, const int* threads) {
  const bool by_rows = *m >= *n;
  const vex_int granule = by_rows ? Path::blocks.mr : Path::blocks.nr;
  const int parts = *threads;
#pragma omp parallel num_threads(parts)
  for (int part = omp_get_thread_num(); part < parts; part += omp_get_num_threads()) {
    const vex::blas::Share share = vex::blas::share_1d(
        by_rows ? *m : *n, {part, parts, by_rows ? 0 : 1, vex::blas::ShareMode::granular, granule});
    const vex_int rows = by_rows ? share.length : *m, columns = by_rows ? *n : share.length;
    if (share.length <= 0) continue;
    const double *own_a = a, *own_b = b;
    double* own_c = c;
    if (by_rows)
      own_a += engine::is(trans_a, 'N') ? share.start : share.start * *lda, own_c += share.start;
    else
      own_b += engine::is(trans_b, 'N') ? share.start * *ldb : share.start, own_c += share.start * *ldc;
    vex_blas_mc3_xdgemm(trans_a, trans_b, &rows, &columns, k, alpha, own_a, lda, own_b, ldb, beta, own_c, ldc,
                        1, 1);
  }
  return 1;
}
}
