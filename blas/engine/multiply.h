// The blocked multiply of one path: kernel table, driver, and the entry that fills the records and runs them.
// Everything here runs on the calling thread.
#pragma once

#include "blas/engine/in_place.h"
#include "blas/engine/pack.h"
#include "blas/engine/strategy.h"
#include "blas/engine/tile.h"

namespace vex::blas::engine {

// Scales an m x n block of C by beta; zero stores zeros and reads nothing.
template <typename P>
void scale_block(vex_int m, vex_int n, double beta, double* c, vex_int ldc) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  if (beta == 1) return;
  const V factor = P::splat(beta);
  const int rest = static_cast<int>(m % w);
  const auto lanes = P::first_lanes(rest);
  for (vex_int j = 0; j < n; ++j, c += ldc) {
    vex_int i = 0;
    if (beta == 0) {
      for (; i + w <= m; i += w) P::store(c + i, P::zero());
      if (rest) P::store(lanes, c + i, P::zero());
    } else {
      for (; i + w <= m; i += w) P::store(c + i, P::multiply(P::load(c + i), factor));
      if (rest) P::store(lanes, c + i, P::multiply(P::load(lanes, c + i), factor));
    }
  }
}

using BlockKernel = void (*)(vex_int m, vex_int n, vex_int k, const double* a, vex_int a_panel,
                             const double* b, vex_int b_panel, double* c, vex_int ldc);

// What one call of a multiply-like operation runs.
struct KernelTable {
  const char* operation;
  CopyRoutine copy_a, copy_b;
  BlockKernel kernel, kernel_b0;  // C += A B and C = A B on packed blocks
  void (*scale)(vex_int m, vex_int n, double beta, double* c, vex_int ldc);
};

template <typename P>
void initialize_kernels(KernelTable* table, const MatrixDescriptor* a, const MatrixDescriptor* b) {
  constexpr std::uint32_t transposed = flag_trans | flag_conj_trans;
  *table = {"DGEMM",
            a->flags & transposed ? copy_a_transposed<P> : copy_a_plain<P>,
            b->flags & transposed ? copy_b_transposed<P> : copy_b_plain<P>,
            multiply_block<P, false>,
            multiply_block<P, true>,
            scale_block<P>};
}

[[gnu::always_inline]] inline MatrixDescriptor narrowed(const MatrixDescriptor& x, vex_int i, vex_int j,
                                                        vex_int rows, vex_int columns) {
  MatrixDescriptor block = x;
  block.rows = rows;
  block.columns = columns;
  block.row_offset = x.row_offset + i;
  block.column_offset = x.column_offset + j;
  return block;
}

// Packs both operands. Slices of the inner dimension outermost, since each of them adds to C once; then a
// slice of A, which stays packed while the column slices of B pass by. B carries alpha.
template <typename P>
void drive_copy_both(const KernelTable& kernels, const OperationRecord& operation,
                     const BufferRecord& buffers, const MatrixDescriptor& a, const MatrixDescriptor& b,
                     const MatrixDescriptor& c) {
  const vex_int m = c.rows, n = c.columns, k = a.columns;
  const double one = 1;
  if (operation.beta != 0) kernels.scale(m, n, operation.beta, c.data, c.ld);
  for (vex_int p = 0; p < k; p += buffers.kc) {
    const vex_int depth = smaller(buffers.kc, k - p);
    const BlockKernel kernel = operation.beta == 0 && p == 0 ? kernels.kernel_b0 : kernels.kernel;
    for (vex_int i = 0; i < m; i += buffers.mc) {
      const vex_int rows = smaller(buffers.mc, m - i);
      const MatrixDescriptor a_block = narrowed(a, i, p, rows, depth);
      kernels.copy_a(&a_block, &buffers.a, buffers.packed_a, &one);
      for (vex_int j = 0; j < n; j += buffers.nc) {
        const vex_int columns = smaller(buffers.nc, n - j);
        const MatrixDescriptor b_block = narrowed(b, p, j, depth, columns);
        kernels.copy_b(&b_block, &buffers.b, buffers.packed_b, &operation.alpha);
        kernel(rows, columns, depth, buffers.packed_a, buffers.a.panel_size, buffers.packed_b,
               buffers.b.panel_size, c.data + i + j * c.ld, c.ld);
      }
    }
  }
}

// Without scratch memory: each tile is copied into a small panel on the stack, in slices of the same depth,
// so that the answer is the same to the last bit.
template <typename P>
void drive_unpacked(const KernelTable& kernels, const OperationRecord& operation, vex_int kc,
                    const MatrixDescriptor& a, const MatrixDescriptor& b, const MatrixDescriptor& c) {
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr;
  constexpr vex_int deepest = P::blocks.kc_threshold > P::blocks.kc ? P::blocks.kc_threshold : P::blocks.kc;
  alignas(64) double a_panel[mr * deepest], b_panel[nr * deepest + 2];  // kernels may read two values on
  const PackedDescriptor packed{nullptr, kc, 0, 0, 1, 0, kc, 8, 64, nullptr};
  const vex_int m = c.rows, n = c.columns, k = a.columns;
  const double one = 1;
  if (operation.beta != 0) kernels.scale(m, n, operation.beta, c.data, c.ld);
  for (vex_int p = 0; p < k; p += kc) {
    const vex_int depth = smaller(kc, k - p);
    const BlockKernel kernel = operation.beta == 0 && p == 0 ? kernels.kernel_b0 : kernels.kernel;
    for (vex_int j = 0; j < n; j += nr) {
      const vex_int columns = smaller(nr, n - j);
      const MatrixDescriptor b_block = narrowed(b, p, j, depth, columns);
      kernels.copy_b(&b_block, &packed, b_panel, &operation.alpha);
      for (vex_int i = 0; i < m; i += mr) {
        const vex_int rows = smaller(mr, m - i);
        const MatrixDescriptor a_block = narrowed(a, i, p, rows, depth);
        kernels.copy_a(&a_block, &packed, a_panel, &one);
        kernel(rows, columns, depth, a_panel, 0, b_panel, 0, c.data + i + j * c.ld, c.ld);
      }
    }
  }
}

template <typename P>
void drive_in_place(bool a_plain, bool b_plain, vex_int m, vex_int n, vex_int k, double alpha,
                    const double* a, vex_int lda, const double* b, vex_int ldb, double beta, double* c,
                    vex_int ldc) {
  if (beta != 0) scale_block<P>(m, n, beta, c, ldc);
  const InPlaceProduct product{m,
                               n,
                               k,
                               alpha,
                               a,
                               a_plain ? 1 : lda,
                               a_plain ? lda : 1,
                               b,
                               b_plain ? 1 : ldb,
                               b_plain ? ldb : 1,
                               beta == 0,
                               c,
                               ldc};
  if (alpha == 1) return multiply_in_place<P, false>(product);
  if (alpha == -1) return multiply_in_place<P, true>(product);
  multiply_in_place_scaled<P>(product);
}

// C := alpha op(A) op(B) + beta C on this path, on the calling thread. C is m x n, the inner extent k. The
// letters are N, T or C in either case.
template <typename P>
void multiply(const char* trans_a, const char* trans_b, vex_int m, vex_int n, vex_int k, double alpha,
              const double* a, vex_int lda, const double* b, vex_int ldb, double beta, double* c,
              vex_int ldc) {
  if (m <= 0 || n <= 0) return;
  if (alpha == 0 || k <= 0) return scale_block<P>(m, n, beta, c, ldc);
  if (suits_in_place<P>(m, n, k))
    return drive_in_place<P>(is(trans_a, 'N'), is(trans_b, 'N'), m, n, k, alpha, a, lda, b, ldb, beta, c,
                             ldc);
  MatrixDescriptor a_record, b_record, c_record;
  blas_initialize_matrix(&a_record, const_cast<double*>(a), m, k, lda, nullptr, nullptr, trans_a);
  blas_initialize_matrix(&b_record, const_cast<double*>(b), k, n, ldb, nullptr, nullptr, trans_b);
  blas_initialize_matrix(&c_record, c, m, n, ldc, nullptr, nullptr, nullptr);
  OperationRecord operation;
  blas_initialize_op_params(&operation, trans_a, trans_b, alpha, beta);
  StrategyRecord strategy;
  initialize_strategy<P>(&strategy);
  strategy.check(&strategy);
  BufferRecord buffers;
  initialize_buffers<P>(&buffers, &strategy, m, n, k);
  KernelTable kernels;
  initialize_kernels<P>(&kernels, &a_record, &b_record);
  if (buffers.get(&buffers) != 0)
    return drive_unpacked<P>(kernels, operation, buffers.kc, a_record, b_record, c_record);
  drive_copy_both<P>(kernels, operation, buffers, a_record, b_record, c_record);
  buffers.free(&buffers);
}

}  // namespace vex::blas::engine
