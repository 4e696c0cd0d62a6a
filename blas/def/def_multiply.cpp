// The multiply of this path: one blocked routine with its own packing, edge routine and scaling.
#include "blas/def/path.h"
#include "blas/engine/block_kernels.h"
#include "blas/engine/multiply.h"
#include "blas/engine/own_multiply.h"
#include "blas/engine/plain_solve.h"
#include "blas/engine/tile_sse_8x2.h"
#include "blas/paths.h"

using vex::blas::def::Path;
using namespace vex::blas::engine;

extern "C" {

void vex_blas_def_xdgemm(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                         const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                         const double* b, const vex_int* ldb, const double* beta, double* c,
                         const vex_int* ldc, vex_int, vex_int) {
  multiply<Path>(trans_a, trans_b, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}

// The routines of the kernel table.

void vex_blas_def_dgemm_copyan(Source s, Packed p, double* t, Scalar f) {
  copy_a(copy_down<Path, 8>, s, p, t, f);
}
void vex_blas_def_dgemm_copyat(Source s, Packed p, double* t, Scalar f) {
  copy_a(copy_right<Path, 8>, s, p, t, f);
}
void vex_blas_def_dgemm_copybn(Source s, Packed p, double* t, Scalar f) {
  copy_b(copy_right<Path, 2>, s, p, t, f);
}
void vex_blas_def_dgemm_copybt(Source s, Packed p, double* t, Scalar f) {
  copy_b(copy_down<Path, 2>, s, p, t, f);
}
void vex_blas_def_dgemm_pst(bool store, vex_int rows, vex_int columns, vex_int k, const double* a,
                            const double* b, double* c, vex_int ldc) {
  cut_tile<Path>(store, rows, columns, k, a, b, c, ldc);
}
void vex_blas_def_dgemm_scalm(vex_int m, vex_int n, double beta, double* c, vex_int ldc) {
  scale_block<Path>(m, n, beta, c, ldc);
}

// Hooks of paths that choose kernels and block sizes at run time: here there is one of each, and scratch
// memory is nobody else's business.
void vex_blas_def_dgemm_get_optimal_kernel() {}
void vex_blas_def_dgemm_get_blks_size() {}
void vex_blas_def_dgemm_set_blks_size() {}
void vex_blas_def_dgemm_num_kernels() {}
void vex_blas_def_dgemm_free_bufs() {}
}

namespace {

void multiply_packed(const BlockProduct& x) {
  x.store ? multiply_block_by_rows<Path, true, true>(x) : multiply_block_by_rows<Path, false, true>(x);
}

void scale(const MatrixDescriptor* c, double beta) {
  vex_blas_def_dgemm_scalm(c->rows, c->columns, beta, first_element(*c), c->ld);
}

constexpr OwnRoutines own{vex_blas_def_dgemm_copyan, vex_blas_def_dgemm_copyat, vex_blas_def_dgemm_copybn,
                          vex_blas_def_dgemm_copybt, multiply_packed,           vex_blas_def_dgemm_pst,
                          vex_blas_def_dgemm_scalm};
constexpr PathRoutines routines = PlainSolve<Path>::added_to(for_packed_operands(own, scale));

int kernel_info(KernelTable* table, int operation, bool right, const StrategyRecord* strategy,
                const MatrixDescriptor* a, const MatrixDescriptor* b, const MatrixDescriptor* c) {
  return initialize_kernel_info(table, routines, operation, right, strategy, a, b, c);
}

}  // namespace

void Path::multiply_blocked(const MatrixDescriptor& a, const MatrixDescriptor& b, const MatrixDescriptor& c,
                            double alpha, double beta) {
  multiply_in_own_blocks<Path>(own, a, b, c, alpha, beta);
}

const PathEngine Path::operations{initialize_strategy<Path>, initialize_buffers<Path>,
                                  initialize_triangular_buffers<Path>, kernel_info};
