// The multiply-like operations of this path: the engine's routines instantiated for its vectors and block
// sizes, each under its own name, so that a profile shows which one runs.
#include "blas/avx512/names.h"
#include "blas/avx512/path.h"
#include "blas/engine/block_kernels.h"
#include "blas/engine/fixed_size.h"
#include "blas/engine/multiply.h"
#include "blas/engine/symmetric.h"
#include "blas/paths.h"

using vex::blas::avx512::Path;
using namespace vex::blas::engine;

extern "C" {

void vex_blas_avx512_xdgemm(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                            const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                            const double* b, const vex_int* ldb, const double* beta, double* c,
                            const vex_int* ldc, vex_int, vex_int) {
  if (*m == fixed_extent && *k == fixed_extent && is(trans_a, 'N') && is(trans_b, 'N') && *alpha != 0)
    return (*beta == 0
                ? vex_blas_avx512_dgemm_nocopy_anbn_meq6_keq6_b0
                : vex_blas_avx512_dgemm_nocopy_anbn_meq6_keq6)(*n, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
  multiply<Path>(trans_a, trans_b, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}

// The routines of the kernel table.

// Drivers.
void vex_blas_avx512_d_generic_fullacopybcopy(const BlockedCall& x) {
  drive_full(x);
}
void vex_blas_avx512_xdgemm_acopiedbcopy(const BlockedCall& x) {
  drive_prepacked(x);
}
void vex_blas_avx512_xdgemm_nocopy_driver(const BlockedCall& x) {
  drive_in_place<Path>(x);
}
void vex_blas_avx512_xdsyrk_fullacopybcopy(const BlockedCall& x) {
  drive_triangle_full(x);
}
void vex_blas_avx512_xdsyrk_acopiedbcopy(const BlockedCall& x) {
  drive_triangle_prepacked(x);
}

// Copies: depth and extent, source, leading dimension, scalar, target, distance of panels.
void vex_blas_avx512_dgemm_dcopy_down24_ea(vex_int k, vex_int e, const double* s, vex_int ld, const double* f,
                                           double* t, vex_int d) {
  copy_down<Path, 24>(k, e, s, ld, f, t, d);
}
void vex_blas_avx512_dgemm_dcopy_right24_ea(vex_int k, vex_int e, const double* s, vex_int ld,
                                            const double* f, double* t, vex_int d) {
  copy_right<Path, 24>(k, e, s, ld, f, t, d);
}
void vex_blas_avx512_dgemm_dcopy_right8_ea(vex_int k, vex_int e, const double* s, vex_int ld, const double* f,
                                           double* t, vex_int d) {
  copy_right<Path, 8>(k, e, s, ld, f, t, d);
}
void vex_blas_avx512_dgemm_dcopy_down8_ea(vex_int k, vex_int e, const double* s, vex_int ld, const double* f,
                                          double* t, vex_int d) {
  copy_down<Path, 8>(k, e, s, ld, f, t, d);
}
void vex_blas_avx512_dgemm_copyan(Source s, Packed p, double* t, Scalar f) {
  copy_a(vex_blas_avx512_dgemm_dcopy_down24_ea, s, p, t, f);
}
void vex_blas_avx512_dgemm_copyat(Source s, Packed p, double* t, Scalar f) {
  copy_a(vex_blas_avx512_dgemm_dcopy_right24_ea, s, p, t, f);
}
void vex_blas_avx512_dgemm_copybn(Source s, Packed p, double* t, Scalar f) {
  copy_b(vex_blas_avx512_dgemm_dcopy_right8_ea, s, p, t, f);
}
void vex_blas_avx512_dgemm_copybt(Source s, Packed p, double* t, Scalar f) {
  copy_b(vex_blas_avx512_dgemm_dcopy_down8_ea, s, p, t, f);
}
void vex_blas_avx512_dsymm_copy_lower_left(Source s, Packed p, double* t, Scalar f) {
  copy_symmetric_left<Path, true>(s, p, t, f);
}
void vex_blas_avx512_dsymm_copy_upper_left(Source s, Packed p, double* t, Scalar f) {
  copy_symmetric_left<Path, false>(s, p, t, f);
}
void vex_blas_avx512_dsymm_copy_lower_right(Source s, Packed p, double* t, Scalar f) {
  copy_symmetric_right<Path, true>(s, p, t, f);
}
void vex_blas_avx512_dsymm_copy_upper_right(Source s, Packed p, double* t, Scalar f) {
  copy_symmetric_right<Path, false>(s, p, t, f);
}

// Kernels. The order of an element's operations never depends on place, threads or alignment, so the twins
// for the reproducible setting do the same under names of their own.
void vex_blas_avx512_dgemm_kernel_0(const BlockProduct& x) {
  multiply_block<Path, false>(x);
}
void vex_blas_avx512_dgemm_kernel_0_b0(const BlockProduct& x) {
  multiply_block<Path, true>(x);
}
void vex_blas_avx512_dgemm_ker0(const BlockProduct& x) {
  x.store ? vex_blas_avx512_dgemm_kernel_0_b0(x) : vex_blas_avx512_dgemm_kernel_0(x);
}
void vex_blas_avx512_dsyrk_lower_ker0(const BlockProduct& x) {
  multiply_triangle_block<Path, true>(x, vex_blas_avx512_dgemm_ker0);
}
void vex_blas_avx512_dsyrk_upper_ker0(const BlockProduct& x) {
  multiply_triangle_block<Path, false>(x, vex_blas_avx512_dgemm_ker0);
}
void vex_blas_avx512_dgemm_kernel_0_cnr(const BlockProduct& x) {
  vex_blas_avx512_dgemm_kernel_0(x);
}
void vex_blas_avx512_dgemm_kernel_0_b0_cnr(const BlockProduct& x) {
  vex_blas_avx512_dgemm_kernel_0_b0(x);
}
void vex_blas_avx512_dgemm_ker0_cnr(const BlockProduct& x) {
  x.store ? vex_blas_avx512_dgemm_kernel_0_b0_cnr(x) : vex_blas_avx512_dgemm_kernel_0_cnr(x);
}
void vex_blas_avx512_dsyrk_lower_ker0_cnr(const BlockProduct& x) {
  multiply_triangle_block<Path, true>(x, vex_blas_avx512_dgemm_ker0_cnr);
}
void vex_blas_avx512_dsyrk_upper_ker0_cnr(const BlockProduct& x) {
  multiply_triangle_block<Path, false>(x, vex_blas_avx512_dgemm_ker0_cnr);
}
void vex_blas_avx512_d_pst_wrapper(bool store, vex_int rows, vex_int columns, vex_int k, const double* a,
                                   const double* b, double* c, vex_int ldc) {
  cut_tile<Path>(store, rows, columns, k, a, b, c, ldc);
}

// Scaling by beta.
void vex_blas_avx512_dgemm_mscale(vex_int m, vex_int n, double beta, double* c, vex_int ldc) {
  scale_block<Path>(m, n, beta, c, ldc);
}
void vex_blas_avx512_dgemm_mscale_wrapper(const MatrixDescriptor* c, double beta) {
  vex_blas_avx512_dgemm_mscale(c->rows, c->columns, beta, first_element(*c), c->ld);
}

// Buffers.
int vex_blas_avx512_dgemm_get_bufs(BufferRecord* x) {
  return vex_blas_get_bufs(x);
}
std::size_t vex_blas_avx512_dgemm_get_size_bufs(const BufferRecord* x) {
  return vex_blas_get_size_bufs(x);
}
void vex_blas_avx512_dgemm_free_bufs(BufferRecord* x) {
  vex_blas_free_bufs(x);
}
int vex_blas_avx512_dgemm_get_bufs_pack(BufferRecord* x) {
  return vex_blas_get_bufs_pack(x);
}
int vex_blas_avx512_dgemm_set_bufs_pack(BufferRecord* x, void* block) {
  return vex_blas_set_bufs_pack(x, block);
}

// Records of one call.

void vex_blas_avx512_dgemm_initialize_strategy(StrategyRecord* strategy) {
  initialize_strategy<Path>(strategy);
}

static constexpr BufferFunctions buffer_functions{
    vex_blas_avx512_dgemm_get_bufs, vex_blas_avx512_dgemm_get_size_bufs, vex_blas_avx512_dgemm_free_bufs,
    vex_blas_avx512_dgemm_get_bufs_pack, vex_blas_avx512_dgemm_set_bufs_pack};

void vex_blas_avx512_dgemm_initialize_buffers(BufferRecord* buffers, const StrategyRecord* strategy,
                                              vex_int m, vex_int n, vex_int k) {
  initialize_buffers<Path>(buffers, strategy, m, n, k);
  buffers->functions = buffer_functions;
}

void vex_blas_avx512_dtrxm_initialize_buffers(BufferRecord* buffers, const StrategyRecord* strategy,
                                              vex_int m, vex_int n, vex_int k) {
  initialize_triangular_buffers<Path>(buffers, strategy, m, n, k);
  buffers->functions = buffer_functions;
}

static constexpr PathRoutines routines{
    .copy_an = vex_blas_avx512_dgemm_copyan,
    .copy_at = vex_blas_avx512_dgemm_copyat,
    .copy_bn = vex_blas_avx512_dgemm_copybn,
    .copy_bt = vex_blas_avx512_dgemm_copybt,
    .copy_symmetric = {{vex_blas_avx512_dsymm_copy_lower_left, vex_blas_avx512_dsymm_copy_upper_left},
                       {vex_blas_avx512_dsymm_copy_lower_right, vex_blas_avx512_dsymm_copy_upper_right}},
    .kernel = {vex_blas_avx512_dgemm_ker0, vex_blas_avx512_dgemm_ker0_cnr},
    .triangle_kernel = {{vex_blas_avx512_dsyrk_lower_ker0, vex_blas_avx512_dsyrk_lower_ker0_cnr},
                        {vex_blas_avx512_dsyrk_upper_ker0, vex_blas_avx512_dsyrk_upper_ker0_cnr}},
    .scale = vex_blas_avx512_dgemm_mscale_wrapper,
    .edge = vex_blas_avx512_d_pst_wrapper,
    .full = vex_blas_avx512_d_generic_fullacopybcopy,
    .prepacked = vex_blas_avx512_xdgemm_acopiedbcopy,
    .in_place = vex_blas_avx512_xdgemm_nocopy_driver,
    .triangle_full = vex_blas_avx512_xdsyrk_fullacopybcopy,
    .triangle_prepacked = vex_blas_avx512_xdsyrk_acopiedbcopy,
    .multiply_triangle = {{vex_blas_avx512_xdtrmm_left_lower_fullacopybcopy,
                           vex_blas_avx512_xdtrmm_left_upper_fullacopybcopy},
                          {vex_blas_avx512_xdtrmm_right_lower_fullacopybcopy,
                           vex_blas_avx512_xdtrmm_right_upper_fullacopybcopy}},
    .solve_triangle = {{vex_blas_avx512_xdtrsm_left_lower_fullacopybcopy,
                        vex_blas_avx512_xdtrsm_left_upper_fullacopybcopy},
                       {vex_blas_avx512_xdtrsm_right_lower_fullacopybcopy,
                        vex_blas_avx512_xdtrsm_right_upper_fullacopybcopy}},
    .copy_factor = {{vex_blas_avx512_dtrmm_copy_left_lower, vex_blas_avx512_dtrmm_copy_left_upper},
                    {vex_blas_avx512_dtrmm_copy_right_lower, vex_blas_avx512_dtrmm_copy_right_upper}},
    .copy_solved = {{vex_blas_avx512_dtrxm_copy_left_lower, vex_blas_avx512_dtrxm_copy_left_upper},
                    {vex_blas_avx512_dtrxm_copy_right_lower, vex_blas_avx512_dtrxm_copy_right_upper}},
    .multiply_diagonal =
        {{{vex_blas_avx512_dtrmm_kernel_left_lower, vex_blas_avx512_dtrmm_kernel_left_lower_cnr},
          {vex_blas_avx512_dtrmm_kernel_left_upper, vex_blas_avx512_dtrmm_kernel_left_upper_cnr}},
         {{vex_blas_avx512_dtrmm_kernel_right_lower, vex_blas_avx512_dtrmm_kernel_right_lower_cnr},
          {vex_blas_avx512_dtrmm_kernel_right_upper, vex_blas_avx512_dtrmm_kernel_right_upper_cnr}}},
    .solve_diagonal =
        {{{vex_blas_avx512_dtrsm_kernel_left_lower, vex_blas_avx512_dtrsm_kernel_left_lower_cnr},
          {vex_blas_avx512_dtrsm_kernel_left_upper, vex_blas_avx512_dtrsm_kernel_left_upper_cnr}},
         {{vex_blas_avx512_dtrsm_kernel_right_lower, vex_blas_avx512_dtrsm_kernel_right_lower_cnr},
          {vex_blas_avx512_dtrsm_kernel_right_upper, vex_blas_avx512_dtrsm_kernel_right_upper_cnr}}},
    .solve_scale = {{vex_blas_avx512_dtrsm_scale_left, vex_blas_avx512_dtrsm_scale_left_unit},
                    {vex_blas_avx512_dtrsm_scale_right, vex_blas_avx512_dtrsm_scale_right_unit}},
    .solve_few = {{128, 4, vex_blas_avx512_dtrsm_update_an}, {64, 8, vex_blas_avx512_dtrsm_update_at}},
    .solve_unblocked = vex_blas_avx512_xdtrsm_unblocked};

int vex_blas_avx512_dgemm_initialize_kernel_info(KernelTable* table, int operation, bool right,
                                                 const StrategyRecord* strategy, const MatrixDescriptor* a,
                                                 const MatrixDescriptor* b, const MatrixDescriptor* c) {
  return initialize_kernel_info(table, routines, operation, right, strategy, a, b, c);
}

const PathEngine* vex_blas_avx512_engine() {
  return &Path::operations;
}
}

const PathEngine Path::operations{
    vex_blas_avx512_dgemm_initialize_strategy, vex_blas_avx512_dgemm_initialize_buffers,
    vex_blas_avx512_dtrxm_initialize_buffers, vex_blas_avx512_dgemm_initialize_kernel_info};
