// The multiply of this path: the engine's drivers with the kernel that the descriptor table names for the
// processor.
#include "blas/engine/block_kernels.h"
#include "blas/engine/multiply.h"
#include "blas/engine/plain_solve.h"
#include "blas/engine/tile_sse_8x2.h"
#include "blas/mc3/gemm_kernels.h"
#include "blas/mc3/path.h"
#include "blas/paths.h"
#include "service/cpu_predicates.h"

using vex::blas::mc3::GemmKernel;
using vex::blas::mc3::Path;
using namespace vex::blas::engine;

extern "C" {

void vex_blas_mc3_xdgemm(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                         const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                         const double* b, const vex_int* ldb, const double* beta, double* c,
                         const vex_int* ldc, vex_int, vex_int) {
  multiply<Path>(trans_a, trans_b, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
}

// The routines of the kernel table.

void vex_blas_mc3_dgemm_kernel_0_0(const BlockProduct& x) {
  multiply_block_by_rows<Path, false, false>(x);
}
void vex_blas_mc3_dgemm_kernel_0_1(const BlockProduct& x) {
  multiply_block_by_rows<Path, false, true>(x);
}
void vex_blas_mc3_dgemm_kernel_0_0_b0(const BlockProduct& x) {
  multiply_block_by_rows<Path, true, false>(x);
}
void vex_blas_mc3_dgemm_kernel_0_1_b0(const BlockProduct& x) {
  multiply_block_by_rows<Path, true, true>(x);
}
void vex_blas_mc3_dgemm_kernel_1_0(const BlockProduct& x) {
  multiply_block_by_rows<Path, false, false>(x);
}
void vex_blas_mc3_dgemm_kernel_1_1(const BlockProduct& x) {
  multiply_block_by_rows<Path, false, true>(x);
}
void vex_blas_mc3_dgemm_kernel_1_0_b0(const BlockProduct& x) {
  multiply_block_by_rows<Path, true, false>(x);
}
void vex_blas_mc3_dgemm_kernel_1_1_b0(const BlockProduct& x) {
  multiply_block_by_rows<Path, true, true>(x);
}

void vex_blas_mc3_dgemm_ker0(const BlockProduct& x) {
  if (has_cut_tiles(x))
    x.store ? vex_blas_mc3_dgemm_kernel_0_1_b0(x) : vex_blas_mc3_dgemm_kernel_0_1(x);
  else
    x.store ? vex_blas_mc3_dgemm_kernel_0_0_b0(x) : vex_blas_mc3_dgemm_kernel_0_0(x);
}

void vex_blas_mc3_dgemm_ker1(const BlockProduct& x) {
  if (has_cut_tiles(x))
    x.store ? vex_blas_mc3_dgemm_kernel_1_1_b0(x) : vex_blas_mc3_dgemm_kernel_1_1(x);
  else
    x.store ? vex_blas_mc3_dgemm_kernel_1_0_b0(x) : vex_blas_mc3_dgemm_kernel_1_0(x);
}

static const GemmKernel& suitable_kernel() {
  return vex_mc3_d_all_gemm_ker[vex_serv_get_microarchitecture() == 66 ? 1 : 0];
}
}

namespace {

void copy_an(Source s, Packed p, double* t, Scalar f) {
  copy_a(copy_down<Path, 8>, s, p, t, f);
}
void copy_at(Source s, Packed p, double* t, Scalar f) {
  copy_a(copy_right<Path, 8>, s, p, t, f);
}
void copy_bn(Source s, Packed p, double* t, Scalar f) {
  copy_b(copy_right<Path, 2>, s, p, t, f);
}
void copy_bt(Source s, Packed p, double* t, Scalar f) {
  copy_b(copy_down<Path, 2>, s, p, t, f);
}
void edge(bool store, vex_int rows, vex_int columns, vex_int k, const double* a, const double* b, double* c,
          vex_int ldc) {
  cut_tile<Path>(store, rows, columns, k, a, b, c, ldc);
}
void scale(const MatrixDescriptor* c, double beta) {
  scale_block<Path>(c->rows, c->columns, beta, first_element(*c), c->ld);
}

constexpr BlockConstants with_columns(BlockConstants blocks, vex_int nc_cap) {
  blocks.nc_cap = nc_cap;
  return blocks;
}

// A slice of B, kc x nc, is to stay in the second cache: 384 KiB of the usual 512 and more, 192 KiB of 256.
constexpr BlockConstants small_cache_blocks = with_columns(Path::blocks, 96);

constexpr PathRoutines routines_of(const GemmKernel& x) {
  PathRoutines routines{};
  routines.copy_an = x.copy_an, routines.copy_at = x.copy_at;
  routines.copy_bn = x.copy_bn, routines.copy_bt = x.copy_bt;
  routines.kernel = {x.kernel, x.kernel_cnr};
  routines.scale = x.scale, routines.edge = x.edge;
  routines.full = drive_full, routines.prepacked = drive_prepacked;
  routines.in_place = drive_in_place<Path>;
  return PlainSolve<Path>::added_to(routines);
}

void size_multiply(BufferRecord* buffers, const StrategyRecord* strategy, vex_int m, vex_int n, vex_int k) {
  size_buffers(buffers, suitable_kernel().blocks, strategy, m, n, k);
}

void size_triangular(BufferRecord* buffers, const StrategyRecord* strategy, vex_int m, vex_int n, vex_int k) {
  size_triangular_buffers(buffers, suitable_kernel().blocks, strategy, m, n, k);
}

int kernel_info(KernelTable* table, int operation, bool right, const StrategyRecord* strategy,
                const MatrixDescriptor* a, const MatrixDescriptor* b, const MatrixDescriptor* c) {
  return initialize_kernel_info(table, routines_of(suitable_kernel()), operation, right, strategy, a, b, c);
}

}  // namespace

// The order of an element's operations is always the same, so a kernel is its own twin for the reproducible
// setting.
constexpr GemmKernel vex_mc3_d_all_gemm_ker[2] = {
    {"mc3 8x2", vex_blas_mc3_dgemm_ker0, vex_blas_mc3_dgemm_ker0, edge, copy_an, copy_at, copy_bn, copy_bt,
     scale, Path::blocks},
    {"mc3 8x2, small cache", vex_blas_mc3_dgemm_ker1, vex_blas_mc3_dgemm_ker1, edge, copy_an, copy_at,
     copy_bn, copy_bt, scale, small_cache_blocks}};

static_assert(small_cache_blocks.kc == Path::blocks.kc &&
              small_cache_blocks.kc_threshold == Path::blocks.kc_threshold);  // the same bits from both

const PathEngine Path::operations{initialize_strategy<Path>, size_multiply, size_triangular, kernel_info};
