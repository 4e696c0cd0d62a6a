// See engine/triangular_multiply.h. B is overwritten where it stands, so the slices of the inner dimension
// pass in such an order that the rows (or columns) of B that a slice needs are still as given: each is
// replaced by its own diagonal block's product last, and what earlier slices contribute has then been added
// to others only.
#include "blas/engine/triangular_multiply.h"

namespace vex::blas::engine {

namespace {

constexpr double one = 1;

// One call, and the slice of steps [step, step + depth) that is being multiplied.
struct Slice {
  const BlockedCall& call;
  vex_int step, depth;

  void pack_a(CopyFunction* copy, vex_int row, vex_int rows) const {
    const MatrixDescriptor a = narrowed(call.a, row, step, rows, depth);
    copy(&a, &call.buffers.a, call.buffers.packed_a, &one);
  }
  void pack_b(CopyFunction* copy, vex_int column, vex_int columns) const {
    const MatrixDescriptor b = narrowed(call.b, step, column, depth, columns);
    copy(&b, &call.buffers.b, call.buffers.packed_b, &call.operation.alpha);
  }
  // `diagonal`: start of the block, counted from `step`, for the diagonal kernel.
  void multiply(BlockKernel* kernel, bool store, vex_int row, vex_int rows, vex_int column, vex_int columns,
                vex_int diagonal) const {
    const BufferRecord& buffers = call.buffers;
    kernel({rows, columns, depth, buffers.packed_a, buffers.a.panel_size, buffers.packed_b,
            buffers.b.panel_size, first_element(call.c) + row + column * call.c.ld, call.c.ld, store,
            diagonal, call.kernels.edge});
  }
};

// Rows [from, behind) of T off the diagonal, then the diagonal block; each replaces or adds to rows of B.
template <bool lower>
void multiply_from_left(const Slice& s, vex_int from, vex_int behind) {
  const KernelTable& kernels = s.call.kernels;
  const vex_int n = s.call.c.columns, mc = s.call.buffers.mc, nc = s.call.buffers.nc;
  for (vex_int i = from; i < behind; i += mc) {
    const vex_int rows = smaller(mc, behind - i);
    s.pack_a(kernels.copy_a, i, rows);
    for (vex_int j = 0; j < n; j += nc) {
      s.pack_b(kernels.copy_b, j, smaller(nc, n - j));
      s.multiply(kernels.kernel, false, i, rows, j, smaller(nc, n - j), 0);
    }
  }
  // In pieces only on the stack: then the rows that no other piece needs go first.
  const vex_int pieces = (s.depth + mc - 1) / mc;
  for (vex_int piece = 0; piece < pieces; ++piece) {
    const vex_int i = (lower ? pieces - 1 - piece : piece) * mc, rows = smaller(mc, s.depth - i);
    s.pack_a(kernels.copy_diagonal, s.step + i, rows);
    for (vex_int j = 0; j < n; j += nc) {
      s.pack_b(kernels.copy_b, j, smaller(nc, n - j));
      s.multiply(kernels.diagonal_kernel, true, s.step + i, rows, j, smaller(nc, n - j), i);
    }
  }
}

// Columns [from, behind) of T off the diagonal, then the diagonal block. The rows of B that are packed serve
// both.
void multiply_from_right(const Slice& s, vex_int from, vex_int behind) {
  const KernelTable& kernels = s.call.kernels;
  const vex_int m = s.call.c.rows, mc = s.call.buffers.mc, nc = s.call.buffers.nc;
  for (vex_int i = 0; i < m; i += mc) {
    const vex_int rows = smaller(mc, m - i);
    s.pack_a(kernels.copy_a, i, rows);
    for (vex_int j = from; j < behind; j += nc) {
      s.pack_b(kernels.copy_b, j, smaller(nc, behind - j));
      s.multiply(kernels.kernel, false, i, rows, j, smaller(nc, behind - j), 0);
    }
    for (vex_int j = 0; j < s.depth; j += nc) {
      s.pack_b(kernels.copy_diagonal, s.step + j, smaller(nc, s.depth - j));
      s.multiply(kernels.diagonal_kernel, true, i, rows, s.step + j, smaller(nc, s.depth - j), j);
    }
  }
}

}  // namespace

template <bool left, bool lower>
void drive_triangular_multiply(const BlockedCall& call) {
  const vex_int order = call.a.columns, kc = call.buffers.kc, slices = (order + kc - 1) / kc;
  for (vex_int t = 0; t < slices; ++t) {
    const vex_int step = (left == lower ? slices - 1 - t : t) * kc;
    const Slice slice{call, step, smaller(kc, order - step)};
    const bool behind_it = left == lower;  // which part of T's column (row) block is off the diagonal
    const vex_int from = behind_it ? step + slice.depth : 0, behind = behind_it ? order : step;
    if (left)
      multiply_from_left<lower>(slice, from, behind);
    else
      multiply_from_right(slice, from, behind);
  }
}

template void drive_triangular_multiply<true, true>(const BlockedCall& call);
template void drive_triangular_multiply<true, false>(const BlockedCall& call);
template void drive_triangular_multiply<false, true>(const BlockedCall& call);
template void drive_triangular_multiply<false, false>(const BlockedCall& call);

}  // namespace vex::blas::engine
