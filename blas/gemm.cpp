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
#include "service/thread_count.h"
#include "service/xerbla.h"

namespace vex::blas {

namespace {

// Work below which no code path answers more than one thread (thread_checker: 3000 units of at most an eighth
// of a multiply-add), so that small calls ask nobody anything.
bool too_little_for_threads(vex_int m, vex_int n, vex_int k) {
  return static_cast<double>(m) * (static_cast<double>(k) * static_cast<double>(n)) < 24000;
}

// Shapes that have kernels of their own at every size.
bool may_be_special(const char* trans_a, const char* trans_b, vex_int m, vex_int n, vex_int k) {
  return m == 1 || n == 1 || k == 1 || may_be_narrow(trans_a, trans_b, n);
}

ThreadState threads_for(const Product& p) {
  ThreadState state{vex_serv_cpu_detect(), 1, 1};
  if (too_little_for_threads(p.m, p.n, p.k) || must_stay_on_this_thread()) return state;
  state.maximum = vex_serv_domain_get_max_threads(1);
  thread_checker(p.m, p.n, p.k, &state);
  return state;
}

[[gnu::noinline]] void run(const Product& p) {
  if (p.m <= 0 || p.n <= 0) return;
  if (p.m == 1 || p.n == 1 || p.k == 1) return run_vector_shaped(p);
  ThreadState state = threads_for(p);
  if (use_smalln_kernels(p, state) != 0) return;
  if (state.chosen < 2) return run_sequential(p);
  if (run_path_parallel(p, state.chosen) != 0) return;
  set_thread_opts(p.m, p.n, p.k, &state);
  run_driver(p, state);
}

bool is_transposition(const char* letter) {
  return engine::is(letter, 'N') || engine::is(letter, 'T') || engine::is(letter, 'C');
}

vex_int first_bad_argument(const char* trans_a, const char* trans_b, vex_int m, vex_int n, vex_int k,
                           vex_int lda, vex_int ldb, vex_int ldc) {
  if (!is_transposition(trans_a)) return 1;
  if (!is_transposition(trans_b)) return 2;
  if (m < 0) return 3;
  if (n < 0) return 4;
  if (k < 0) return 5;
  if (lda < std::max<vex_int>(1, engine::is(trans_a, 'N') ? m : k)) return 8;
  if (ldb < std::max<vex_int>(1, engine::is(trans_b, 'N') ? k : n)) return 10;
  if (ldc < std::max<vex_int>(1, m)) return 13;
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
  const vex_int bad = first_bad_argument(trans_a, trans_b, *m, *n, *k, *lda, *ldb, *ldc);
  if (bad != 0) return vex_serv_xerbla("DGEMM ", &bad, 6);
  if (too_little_for_threads(*m, *n, *k) && !may_be_special(trans_a, trans_b, *m, *n, *k))
    return vex_blas_xdgemm(trans_a, trans_b, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, 1, 1);
  run({*trans_a, *trans_b, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc});
}
}
