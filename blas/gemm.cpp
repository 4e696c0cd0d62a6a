// The doors of the multiply: argument check, the cheap decisions, and the way on, to the engine of the code
// path for one thread (gemm_paths), the narrow path (narrow), the vector-shaped products (vector_shaped) or
// the thread drivers (gemm_drivers).
#include <algorithm>

#include "blas/blas.h"
#include "blas/gemm_drivers.h"
#include "blas/gemm_paths.h"
#include "blas/named_entries.h"
#include "blas/narrow.h"
#include "blas/vector_shaped.h"
#include "service/cpu_dispatch.h"
#include "service/reproducibility.h"
#include "service/thread_count.h"
#include "service/xerbla.h"

namespace vex::blas {

namespace {

// Work below which no code path with a threaded rule answers more than one thread (see thread_checker: 3000
// units of at most an eighth of a multiply-add), so that small calls ask nobody anything.
bool too_little_for_threads(const Product& p) {
  return static_cast<double>(p.m) * (static_cast<double>(p.k) * static_cast<double>(p.n)) < 24000;
}

// Inside an active region the threads are the caller's. In the reproducible setting with STRICT the engine
// runs as it would without threads; a branch alone does not ask for that, since the drivers give the same
// bits.
bool must_stay_on_this_thread() {
  return vex_serv_omp_in_parallel() || (vex_serv_cbwr_get(-1) & service::cbwr_strict) != 0;
}

[[gnu::noinline]] void run_on_threads(const Product& p) {
  if (must_stay_on_this_thread()) return run_sequential(p);
  ThreadState state{};
  state.path = vex_serv_cpu_detect();
  state.maximum = vex_serv_domain_get_max_threads(1);
  thread_checker(p.m, p.n, p.k, &state);
  if (state.chosen < 2) return run_sequential(p);
  if (use_smalln_kernels(p, state) != 0) return;
  if (run_path_parallel(p, state.chosen) != 0) return;
  set_thread_opts(p.m, p.n, p.k, &state);
  run_driver(p, state);
}

void run(const Product& p) {
  if (p.m <= 0 || p.n <= 0) return;
  if (p.m == 1 || p.n == 1 || p.k == 1) return run_vector_shaped(p);
  if (too_little_for_threads(p)) return run_sequential(p);
  run_on_threads(p);
}

bool is_transposition(const char* letter) {
  return engine::is(letter, 'N') || engine::is(letter, 'T') || engine::is(letter, 'C');
}

vex_int first_bad_argument(const Product& p) {
  if (!is_transposition(&p.trans_a)) return 1;
  if (!is_transposition(&p.trans_b)) return 2;
  if (p.m < 0) return 3;
  if (p.n < 0) return 4;
  if (p.k < 0) return 5;
  if (p.lda < std::max<vex_int>(1, p.a_plain() ? p.m : p.k)) return 8;
  if (p.ldb < std::max<vex_int>(1, p.b_plain() ? p.k : p.n)) return 10;
  if (p.ldc < std::max<vex_int>(1, p.m)) return 13;
  return 0;
}

Product product_of_views(Trans trans_a, Trans trans_b, double alpha, ConstMatrixView a, ConstMatrixView b,
                         double beta, MatrixView c) {
  return {static_cast<char>(trans_a),
          static_cast<char>(trans_b),
          c.rows,
          c.cols,
          trans_a == Trans::no ? a.cols : a.rows,
          alpha,
          a.data,
          a.ld,
          b.data,
          b.ld,
          beta,
          c.data,
          c.ld};
}

}  // namespace

void gemm(Trans trans_a, Trans trans_b, double alpha, ConstMatrixView a, ConstMatrixView b, double beta,
          MatrixView c) {
  run(product_of_views(trans_a, trans_b, alpha, a, b, beta, c));
}

void xgemm(Trans trans_a, Trans trans_b, double alpha, ConstMatrixView a, ConstMatrixView b, double beta,
           MatrixView c) {
  run_sequential(product_of_views(trans_a, trans_b, alpha, a, b, beta, c));
}

}  // namespace vex::blas

using namespace vex::blas;

extern "C" {

void vex_blas_dgemm(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                    const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                    const double* b, const vex_int* ldb, const double* beta, double* c, const vex_int* ldc,
                    vex_int, vex_int) {
  const Product p{*trans_a, *trans_b, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc};
  const vex_int bad = first_bad_argument(p);
  if (bad != 0) return vex_serv_xerbla("DGEMM ", &bad, 6);
  run(p);
}
}
