// The multiply's front end: argument check, quick returns, the decision how many threads share C, and the way
// to the code path's engine.
#include <omp.h>

#include <algorithm>

#include "blas/blas.h"
#include "blas/dispatch.h"
#include "blas/engine/descriptors.h"
#include "blas/gemm_threads.h"
#include "blas/named_entries.h"
#include "service/thread_count.h"
#include "service/xerbla.h"

namespace vex::blas {

namespace {

constinit Dispatched<DgemmFunction> path_xdgemm{vex_blas_def_xdgemm, vex_blas_cnr_def_xdgemm,
                                                vex_blas_mc3_xdgemm, vex_blas_avx2_xdgemm,
                                                vex_blas_avx512_xdgemm};

bool is_transposition(const char* letter) {
  return engine::is(letter, 'N') || engine::is(letter, 'T') || engine::is(letter, 'C');
}

// One multiply, by value.
struct Product {
  char trans_a, trans_b;
  vex_int m, n, k;
  double alpha;
  const double* a;
  vex_int lda;
  const double* b;
  vex_int ldb;
  double beta;
  double* c;
  vex_int ldc;
};

void run_sequential(const Product& p) {
  path_xdgemm.get()(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb, &p.beta,
                    p.c, &p.ldc, 1, 1);
}

// The block of C at (row, column) with the rows of op(A) and columns of op(B) that it needs.
Product sub_product(const Product& p, vex_int row, vex_int column, vex_int rows, vex_int columns) {
  Product part = p;
  part.m = rows;
  part.n = columns;
  part.a += engine::is(&p.trans_a, 'N') ? row : row * p.lda;
  part.b += engine::is(&p.trans_b, 'N') ? column * p.ldb : column;
  part.c += row + column * p.ldc;
  return part;
}

void run_block(void* arguments, vex_int row, vex_int column, vex_int rows, vex_int columns) {
  run_sequential(sub_product(*static_cast<const Product*>(arguments), row, column, rows, columns));
}

// The grid of state.parts over C, one block after another for each thread of the team. A team smaller than
// asked for takes more blocks each.
void run_grid(const Product& product, const ThreadState& state) {
  const int row_parts = state.parts[0], parts = row_parts * state.parts[1];
  constexpr vex_int row_granule = 24, column_granule = 8;  // multiples of every path's register block
#pragma omp parallel num_threads(parts)
  for (int part = omp_get_thread_num(); part < parts; part += omp_get_num_threads()) {
    const Share rows =
        share_1d(product.m, {part % row_parts, row_parts, 0, ShareMode::granular, row_granule});
    if (rows.length <= 0) continue;
    Product stripe = sub_product(product, rows.start, 0, rows.length, product.n);
    partition_1d({stripe.m, stripe.n, run_block},
                 {part / row_parts, state.parts[1], 1, ShareMode::granular, column_granule}, &stripe);
  }
}

void run(const Product& p) {
  if (p.m <= 0 || p.n <= 0) return;
  if (vex_serv_omp_in_parallel()) return run_sequential(p);
  ThreadState state{vex_serv_cpu_detect(), vex_serv_domain_get_max_threads(1), 1, {1, 1, 1}};
  thread_checker(p.m, p.n, p.k, &state);
  if (state.chosen < 2) return run_sequential(p);
  set_thread_opts(p.m, p.n, p.k, &state);
  run_grid(p, state);
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
  run({*trans_a, *trans_b, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc});
}

void vex_blas_xdgemm(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                     const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                     const double* b, const vex_int* ldb, const double* beta, double* c, const vex_int* ldc,
                     vex_int trans_a_length, vex_int trans_b_length) {
  path_xdgemm.get()(trans_a, trans_b, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, trans_a_length,
                    trans_b_length);
}
}
