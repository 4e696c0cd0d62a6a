// The triangular solve with many right-hand sides: argument check, the split of the right-hand sides among
// threads, and the way to the code path's solver.
#include "blas/trsm.h"

#include <omp.h>

#include <algorithm>

#include "blas/blas.h"
#include "blas/dispatch.h"
#include "blas/engine/descriptors.h"
#include "blas/named_entries.h"
#include "service/thread_count.h"
#include "service/xerbla.h"

namespace vex::blas {

namespace {

constinit Dispatched<DtrsmFunction> path_xdtrsm{vex_blas_def_xdtrsm, vex_blas_cnr_def_xdtrsm,
                                                vex_blas_mc3_xdtrsm, vex_blas_avx2_xdtrsm,
                                                vex_blas_avx512_xdtrsm};

// One solve, by value.
struct Solve {
  char side, uplo, trans, diag;
  vex_int m, n;
  double alpha;
  const double* a;
  vex_int lda;
  double* b;
  vex_int ldb;
  bool left() const { return engine::is(&side, 'L'); }
};

void run_sequential(const Solve& s) {
  path_xdtrsm.get()(&s.side, &s.uplo, &s.trans, &s.diag, &s.m, &s.n, &s.alpha, s.a, &s.lda, s.b, &s.ldb, 1, 1,
                    1, 1);
}

// Thread t of `threads` takes `chunk` right-hand sides from t * chunk; the last one, and one that would reach
// past the end, takes all that is left: nothing when the chunks before it hold everything.
void solve_share(const Solve& s, int t, int threads, vex_int chunk) {
  const vex_int extent = s.left() ? s.n : s.m, left = extent - t * chunk;
  const vex_int start = std::min(t * chunk, extent - 1);
  const vex_int length = t == threads - 1 || chunk > left ? left : chunk;
  if (length <= 0) return;
  Solve part = s;
  (s.left() ? part.n : part.m) = length;
  part.b += s.left() ? start * s.ldb : start;
  run_sequential(part);
}

void run(const Solve& s) {
  if (s.m <= 0 || s.n <= 0) return;
  // Below this many multiply-adds a thread, starting it costs more than it saves.
  constexpr double work_per_thread = 65536;
  int threads = 1;
  if (!vex_serv_omp_in_parallel()) {
    const double order = static_cast<double>(s.left() ? s.m : s.n);
    const double extent = static_cast<double>(s.left() ? s.n : s.m);
    // Two threads with four right-hand sides each already gain (ten of order 300, 1000 and 2000: 21 to 33, 27
    // to 46 and 32 to 47 GF), because each reads the triangle at its own pace; more of them want eight each.
    const double shares = extent < 16 ? std::min(2.0, extent / 4) : extent / 8;
    const double useful = std::min(order * order * extent / 2 / work_per_thread, shares);
    threads = static_cast<int>(std::min<double>(vex_serv_domain_get_max_threads(1), useful));
  }
  vex_blas_dtrsm_omp_driver_v1(&s.side, &s.uplo, &s.trans, &s.diag, &s.m, &s.n, &s.alpha, s.a, &s.lda, s.b,
                               &s.ldb, {std::max(threads, 1), 0, 0, 2});
}

vex_int first_bad_argument(const Solve& s) {
  if (!s.left() && !engine::is(&s.side, 'R')) return 1;
  if (!engine::is(&s.uplo, 'L') && !engine::is(&s.uplo, 'U')) return 2;
  if (!engine::is(&s.trans, 'N') && !engine::is(&s.trans, 'T') && !engine::is(&s.trans, 'C')) return 3;
  if (!engine::is(&s.diag, 'N') && !engine::is(&s.diag, 'U')) return 4;
  if (s.m < 0) return 5;
  if (s.n < 0) return 6;
  if (s.lda < std::max<vex_int>(1, s.left() ? s.m : s.n)) return 9;
  if (s.ldb < std::max<vex_int>(1, s.m)) return 11;
  return 0;
}

Solve solve_of_views(Side side, Uplo uplo, Trans trans, Diag diag, double alpha, ConstMatrixView a,
                     MatrixView b) {
  return {static_cast<char>(side),
          static_cast<char>(uplo),
          static_cast<char>(trans),
          static_cast<char>(diag),
          b.rows,
          b.cols,
          alpha,
          a.data,
          a.ld,
          b.data,
          b.ld};
}

}  // namespace

void trsm(Side side, Uplo uplo, Trans trans, Diag diag, double alpha, ConstMatrixView a, MatrixView b) {
  run(solve_of_views(side, uplo, trans, diag, alpha, a, b));
}

void xtrsm(Side side, Uplo uplo, Trans trans, Diag diag, double alpha, ConstMatrixView a, MatrixView b) {
  run_sequential(solve_of_views(side, uplo, trans, diag, alpha, a, b));
}

}  // namespace vex::blas

using namespace vex::blas;

extern "C" {

void vex_blas_dtrsm_omp_driver_v1(const char* side, const char* uplo, const char* trans, const char* diag,
                                  const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                                  const vex_int* lda, double* b, const vex_int* ldb, SolveSplit split) {
  const Solve s{*side, *uplo, *trans, *diag, *m, *n, *alpha, a, *lda, b, *ldb};
  if (s.m < 1 || s.n < 1) return;
  if (split.threads < 2) return run_sequential(s);
  const int threads = split.threads;
  const vex_int chunk = solve_chunk(s.left(), s.m, s.left() ? s.n : s.m, split);
#pragma omp parallel num_threads(threads)
  for (int t = omp_get_thread_num(); t < threads; t += omp_get_num_threads())
    solve_share(s, t, threads, chunk);
}

void vex_blas_dtrsm(const char* side, const char* uplo, const char* trans, const char* diag, const vex_int* m,
                    const vex_int* n, const double* alpha, const double* a, const vex_int* lda, double* b,
                    const vex_int* ldb, vex_int, vex_int, vex_int, vex_int) {
  const Solve s{*side, *uplo, *trans, *diag, *m, *n, *alpha, a, *lda, b, *ldb};
  const vex_int bad = first_bad_argument(s);
  if (bad != 0) return vex_serv_xerbla("DTRSM ", &bad, 6);
  run(s);
}

void vex_blas_xdtrsm(const char* side, const char* uplo, const char* trans, const char* diag,
                     const vex_int* m, const vex_int* n, const double* alpha, const double* a,
                     const vex_int* lda, double* b, const vex_int* ldb, vex_int side_length,
                     vex_int uplo_length, vex_int trans_length, vex_int diag_length) {
  path_xdtrsm.get()(side, uplo, trans, diag, m, n, alpha, a, lda, b, ldb, side_length, uplo_length,
                    trans_length, diag_length);
}
}
