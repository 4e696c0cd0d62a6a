// See engine/drivers.h. Slices of the inner dimension are outermost, since each of them adds to C once; then
// a slice of A, which stays packed while the column slices of B pass by. B carries alpha.
#include "blas/engine/drivers.h"

#include "blas/engine/solve_drivers.h"

namespace vex::blas::engine {

namespace {

constexpr double one = 1;

// Of the blocks of C: all of them, or those that touch its triangle.
enum class Part { whole, triangle };

void pack_columns(const BlockedCall& call, vex_int p, vex_int depth, vex_int j, vex_int columns) {
  const MatrixDescriptor b = narrowed(call.b, p, j, depth, columns);
  call.kernels.copy_b(&b, &call.buffers.b, call.buffers.packed_b, &call.operation.alpha);
}

// Which kernel runs on a block of C whose first element lies `diagonal` rows below the diagonal; none when
// the whole block is to be left alone.
template <Part part>
BlockKernel* kernel_of_block(const BlockedCall& call, vex_int diagonal, vex_int rows, vex_int columns) {
  if (part == Part::whole) return call.kernels.kernel;
  const bool lower = (call.c.flags & flag_lower) != 0;
  const vex_int nearest = lower ? diagonal + rows - 1 : columns - 1 - diagonal;
  const vex_int farthest = lower ? diagonal - (columns - 1) : -(diagonal + rows - 1);
  if (nearest < 0) return nullptr;
  return farthest < 0 ? call.kernels.diagonal_kernel : call.kernels.kernel;
}

// A packed block of A, for rows [i, i + rows) of C, times the packed columns [j, j + columns) of op(B).
void multiply_packed(const BlockedCall& call, BlockKernel* kernel, bool first_slice, vex_int depth, vex_int i,
                     vex_int rows, const double* packed_a, vex_int j, vex_int columns) {
  const BufferRecord& buffers = call.buffers;
  kernel({rows, columns, depth, packed_a, buffers.a.panel_size, buffers.packed_b, buffers.b.panel_size,
          first_element(call.c) + i + j * call.c.ld, call.c.ld, first_slice && call.operation.beta == 0,
          i - j, call.kernels.edge});
}

// C := beta C, unless the first slice of the product stores into it anyway.
template <Part part>
void scale_result(const BlockedCall& call) {
  const double beta = call.operation.beta;
  if (beta == 0 || beta == 1) return;
  if (part == Part::whole) return call.kernels.scale(&call.c, beta);
  const bool lower = (call.c.flags & flag_lower) != 0;
  for (vex_int j = 0; j < call.c.columns; ++j) {
    const vex_int first = lower ? j : 0;
    const MatrixDescriptor column = narrowed(call.c, first, j, lower ? call.c.rows - j : j + 1, 1);
    call.kernels.scale(&column, beta);
  }
}

// Elements of a packed slice of A when C is narrow, 64 KiB. Each is then used only as often as C has column
// panels, and a slice that outgrows the second cache is written out and fetched again for that: 512 KiB lost
// 3 to 10 % (2000 x 96 x 96 to 20000 x 128 x 64), slices of buffers.mc rows 8 to 15 %, 16 KiB gained nothing.
constexpr vex_int narrow_slice_elements = 8192;

// A narrow C has one column slice, and its B stays packed while short slices of A pass by.
template <Part part>
void multiply_packing_both(const BlockedCall& call) {
  const BufferRecord& buffers = call.buffers;
  const vex_int m = call.c.rows, n = call.c.columns, k = call.a.columns;
  const bool narrow = n <= buffers.nc;
  scale_result<part>(call);
  for (vex_int p = 0; p < k; p += buffers.kc) {
    const vex_int depth = smaller(buffers.kc, k - p);
    const vex_int short_slice = round_up(larger(1, narrow_slice_elements / depth), buffers.a.width);
    const vex_int mc = narrow ? smaller(buffers.mc, short_slice) : buffers.mc;
    for (vex_int i = 0; i < m; i += mc) {
      const vex_int rows = smaller(mc, m - i);
      const MatrixDescriptor a = narrowed(call.a, i, p, rows, depth);
      call.kernels.copy_a(&a, &buffers.a, buffers.packed_a, &one);
      for (vex_int j = 0; j < n; j += buffers.nc) {
        const vex_int columns = smaller(buffers.nc, n - j);
        BlockKernel* const kernel = kernel_of_block<part>(call, i - j, rows, columns);
        if (narrow ? i == 0 : kernel != nullptr) pack_columns(call, p, depth, j, columns);
        if (kernel) multiply_packed(call, kernel, p == 0, depth, i, rows, buffers.packed_a, j, columns);
      }
    }
  }
}

template <Part part>
void multiply_packing_b(const BlockedCall& call) {
  const BufferRecord& buffers = call.buffers;
  const vex_int m = call.c.rows, n = call.c.columns, k = call.a.columns;
  scale_result<part>(call);
  for (vex_int p = 0; p < k; p += buffers.kc) {
    const double* const packed_a = packed_slice(*call.prepacked_a, p / buffers.kc);
    const vex_int depth = smaller(buffers.kc, k - p);
    for (vex_int j = 0; j < n; j += buffers.nc) {
      const vex_int columns = smaller(buffers.nc, n - j);
      BlockKernel* const kernel = kernel_of_block<part>(call, -j, m, columns);
      if (!kernel) continue;
      pack_columns(call, p, depth, j, columns);
      multiply_packed(call, kernel, p == 0, depth, 0, m, packed_a, j, columns);
    }
  }
}

// A product with A prepacked takes its columns in equal slices, each as wide as that gets up to here: all of
// A passes by for every slice, from the third cache or from memory. LU of order 8000 on two threads with
// panels of 256 columns ran 2 percent slower than with panels of 192 when slices of 192 and 64 were made of
// them, and 1 to 4 percent faster with one slice.
constexpr vex_int widest_prepacked_slice = 384;

void widen_slices(BufferRecord& buffers, vex_int n) {
  const vex_int slices = (n + widest_prepacked_slice - 1) / widest_prepacked_slice;
  const vex_int even = round_up((n + slices - 1) / slices, buffers.b.width);
  buffers.nc = buffers.b.extent = larger(buffers.nc, even);
}

StrategyRecord strategy_for(const PathEngine& path, CopyMode copy_mode) {
  StrategyRecord strategy;
  path.initialize_strategy(&strategy);
  strategy.copy_mode = copy_mode;
  strategy.check(&strategy);
  return strategy;
}

// Runs the call's driver in blocks of one tile each, packed into panels on the stack.
[[gnu::noinline]] void run_without_scratch(BlockedCall& call) {
  BufferRecord& buffers = call.buffers;
  alignas(128) double panels[(largest_mr + largest_nr) * deepest_slice + panel_slack];
  buffers.mc = buffers.a.extent = call.strategy.mr;
  buffers.nc = buffers.b.extent = call.strategy.nr;
  buffers.packed_a = buffers.a.base = panels;
  buffers.packed_b = buffers.b.base = panels + largest_mr * deepest_slice;
  call.kernels.driver(call);
}

void run_driver(BlockedCall& call) {
  if (call.strategy.copy_mode == copy_none) return call.kernels.driver(call);
  if (call.buffers.functions.get(&call.buffers) != 0) return run_without_scratch(call);
  call.kernels.driver(call);
  call.buffers.functions.free(&call.buffers);
}

// The part of C that an operation may touch, scaled: what is left to do when the product is empty.
void only_scale(const BlockedCall& call, int code) {
  if (code == op_syrk || code == op_syr2k || code == op_gemmt) {
    BlockedCall scaling = call;
    if (call.operation.beta != 0) return scale_result<Part::triangle>(scaling);
    for (vex_int j = 0; j < call.c.columns; ++j) {
      const bool lower = (call.c.flags & flag_lower) != 0;
      const MatrixDescriptor column = narrowed(call.c, lower ? j : 0, j, lower ? call.c.rows - j : j + 1, 1);
      call.kernels.scale(&column, 0);
    }
    return;
  }
  call.kernels.scale(&call.c, code == op_trmm ? 0 : call.operation.beta);
}

// The operand as it stands in memory, read the other way round.
MatrixDescriptor transposed(const MatrixDescriptor& x) {
  MatrixDescriptor turned = x;
  turned.rows = x.columns;
  turned.columns = x.rows;
  turned.flags = (x.flags & ~(flag_no_trans | flag_trans | flag_conj_trans)) |
                 (is_transposed(x) ? flag_no_trans : flag_trans);
  turned.locate = is_transposed(x) ? getPointer_notrans : getPointer_trans;
  return turned;
}

}  // namespace

void drive_full(const BlockedCall& call) {
  multiply_packing_both<Part::whole>(call);
}

void drive_prepacked(const BlockedCall& call) {
  multiply_packing_b<Part::whole>(call);
}

void drive_triangle_full(const BlockedCall& call) {
  multiply_packing_both<Part::triangle>(call);
}

void drive_triangle_prepacked(const BlockedCall& call) {
  multiply_packing_b<Part::triangle>(call);
}

int run_operation(const PathEngine& path, const OperationRequest& request) {
  if (request.code == op_trsm) {
    run_solve(path, request.right, request.alpha, request.right ? request.b : request.a, request.c, nullptr);
    return 0;
  }
  const bool triangular = request.code == op_trmm;
  const vex_int m = request.c.rows, n = request.c.columns, k = request.a.columns;
  BlockedCall call;
  call.strategy = strategy_for(path, request.copy_mode);
  call.a = request.a, call.b = request.b, call.c = request.c;
  call.prepacked_a = request.prepacked_a;
  call.prepared = nullptr, call.initialize_buffers = path.initialize_buffers;
  blas_initialize_op_params(&call.operation, nullptr, nullptr, request.alpha, request.beta);
  if (path.initialize_kernel_info(&call.kernels, request.code, request.right, &call.strategy, &call.a,
                                  &call.b, &call.c) != 0)
    return 1;
  if (m <= 0 || n <= 0) return 0;
  if (k <= 0 || request.alpha == 0) return only_scale(call, request.code), 0;
  (triangular ? path.initialize_triangular_buffers : path.initialize_buffers)(&call.buffers, &call.strategy,
                                                                              m, n, k);
  if (request.prepacked_a) widen_slices(call.buffers, n);
  run_driver(call);
  if (request.code == op_syr2k) {
    call.a = transposed(request.b), call.b = transposed(request.a);
    call.operation.beta = 1;
    path.initialize_kernel_info(&call.kernels, request.code, false, &call.strategy, &call.a, &call.b,
                                &call.c);
    path.initialize_buffers(&call.buffers, &call.strategy, m, n, k);
    run_driver(call);
  }
  return 0;
}

vex_int describe_packed_a(const PathEngine& path, PackedDescriptor* packed, vex_int m, vex_int k) {
  const StrategyRecord strategy = strategy_for(path, copy_b_only);
  BufferRecord buffers;
  path.initialize_buffers(&buffers, &strategy, m, 1, k);
  *packed = buffers.a;
  packed->extent = m;
  return (k + packed->kc - 1) / packed->kc * packed_slice_size(*packed);
}

void pack_whole_a(const PathEngine& path, const PackedDescriptor& packed, const MatrixDescriptor& a,
                  vex_int first, vex_int rows) {
  const StrategyRecord strategy = strategy_for(path, copy_b_only);
  KernelTable kernels;
  path.initialize_kernel_info(&kernels, op_gemm, false, &strategy, &a, &a, &a);
  const vex_int k = a.columns;
  for (vex_int p = 0; p < k; p += packed.kc) {
    const MatrixDescriptor slice = narrowed(a, first, p, rows, smaller(packed.kc, k - p));
    kernels.copy_a(&slice, &packed, packed_slice(packed, p / packed.kc) + first * packed.depth, &one);
  }
}

PackedDescriptor packed_rows(const PackedDescriptor& packed, vex_int first) {
  PackedDescriptor part = packed;
  part.base += first * packed.depth;
  return part;
}

}  // namespace vex::blas::engine
