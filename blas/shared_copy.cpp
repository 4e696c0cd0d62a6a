// See shared_copy.h. The barriers are those of the parallel region, which all its threads pass equally often:
// how many blocks there are depends on the product alone.
#include "blas/shared_copy.h"

#include <omp.h>

#include <algorithm>

#include "blas/path_engine.h"

namespace vex::blas {

namespace {

using engine::MatrixDescriptor;
using engine::PackedDescriptor;

constexpr double one = 1;

MatrixDescriptor operand(const double* data, vex_int rows, vex_int columns, vex_int ld, const char* trans) {
  MatrixDescriptor descriptor;
  blas_initialize_matrix(&descriptor, const_cast<double*>(data), rows, columns, ld, nullptr, nullptr, trans);
  return descriptor;
}

vex_int panels(vex_int extent, const PackedDescriptor& packed) {
  return (extent + packed.width - 1) / packed.width;
}

// The thread's own panels of a block as a range of its rows or columns.
Share own_panels(Share block, const PackedDescriptor& packed, Member self) {
  const Share own = share_1d(panels(block.length, packed), {self.thread, self.team, 0, ShareMode::even, 1});
  const vex_int first = own.start * packed.width;
  return {first, std::min(own.length * packed.width, block.length - first)};
}

// The thread's own k steps of a slice. The granule keeps whole squares together that a copier turns.
Share own_steps(Slice slice, Member self) {
  return share_1d(slice.depth, {self.thread, self.team, 0, ShareMode::granular, 8});
}

bool enough_panels(Share block, const PackedDescriptor& packed, Member self) {
  return panels(block.length, packed) >= self.team;
}

void copy_a(const SharedMultiply& s, Share rows, Slice slice, double* target) {
  if (rows.length <= 0 || slice.depth <= 0) return;
  const MatrixDescriptor source =
      engine::narrowed(s.call.a, rows.start, slice.first, rows.length, slice.depth);
  s.call.kernels.copy_a(&source, &s.call.buffers.a, target, &one);
}

void copy_b(const SharedMultiply& s, Share columns, Slice slice, double* target) {
  if (columns.length <= 0 || slice.depth <= 0) return;
  const MatrixDescriptor source =
      engine::narrowed(s.call.b, slice.first, columns.start, slice.depth, columns.length);
  s.call.kernels.copy_b(&source, &s.call.buffers.b, target, &s.call.operation.alpha);
}

void fill_a(const SharedMultiply& s, Share rows, Slice slice, double* area, Member self) {
  const bool whole_panels = enough_panels(rows, s.call.buffers.a, self);
  (whole_panels ? omp_shared_copy_lu : omp_shared_copy_ll)(s, rows, slice, area, self);
}

void fill_b(const SharedMultiply& s, Share columns, Slice slice, double* area, Member self) {
  const bool whole_panels = enough_panels(columns, s.call.buffers.b, self);
  (whole_panels ? omp_shared_copy_ru : omp_shared_copy_rl)(s, columns, slice, area, self);
}

void wait_for_all() {
#pragma omp barrier
}

}  // namespace

int open_shared(SharedMultiply* shared, const Product& p, vex_int a_rows, vex_int b_columns) {
  engine::BlockedCall& call = shared->call;
  const engine::PathEngine& path = path_engine();
  call.a = operand(p.a, p.m, p.k, p.lda, &p.trans_a);
  call.b = operand(p.b, p.k, p.n, p.ldb, &p.trans_b);
  call.c = operand(p.c, p.m, p.n, p.ldc, nullptr);
  call.prepacked_a = nullptr;
  blas_initialize_op_params(&call.operation, &p.trans_a, &p.trans_b, p.alpha, p.beta);
  path.initialize_strategy(&call.strategy);
  call.strategy.check(&call.strategy);
  if (path.initialize_kernel_info(&call.kernels, engine::op_gemm, false, &call.strategy, &call.a, &call.b,
                                  &call.c) != 0)
    return 1;
  path.initialize_buffers(&call.buffers, &call.strategy, p.m, p.n, p.k);
  engine::BufferRecord& buffers = call.buffers;
  const vex_int nc = buffers.nc;  // the kernels go on in blocks of so many columns
  shared->a_rows = panels(a_rows, buffers.a) * buffers.a.width;
  shared->b_columns = panels(b_columns, buffers.b) * buffers.b.width;
  buffers.mc = 2 * shared->a_rows;
  buffers.nc = 2 * shared->b_columns;
  if (b_columns == 0) buffers.kind = engine::buffer_a_only;
  if (buffers.functions.get(&buffers) != 0) return 1;
  buffers.nc = nc;
  for (vex_int i = 0; i < 2; ++i)
    shared->area[i] = {buffers.packed_a + i * shared->a_rows * buffers.a.depth,
                       buffers.packed_b + i * shared->b_columns * buffers.b.depth};
  return 0;
}

void close_shared(SharedMultiply* shared) {
  shared->call.buffers.functions.free(&shared->call.buffers);
}

void omp_shared_copy_lu(const SharedMultiply& s, Share rows, Slice slice, double* area, Member self) {
  const Share own = own_panels(rows, s.call.buffers.a, self);
  copy_a(s, {rows.start + own.start, own.length}, slice, area + own.start * s.call.buffers.a.depth);
}

void omp_shared_copy_ll(const SharedMultiply& s, Share rows, Slice slice, double* area, Member self) {
  const Share own = own_steps(slice, self);
  copy_a(s, rows, {slice.first + own.start, own.length}, area + own.start * s.call.buffers.a.width);
}

void omp_shared_copy_ru(const SharedMultiply& s, Share columns, Slice slice, double* area, Member self) {
  const Share own = own_panels(columns, s.call.buffers.b, self);
  copy_b(s, {columns.start + own.start, own.length}, slice, area + own.start * s.call.buffers.b.depth);
}

void omp_shared_copy_rl(const SharedMultiply& s, Share columns, Slice slice, double* area, Member self) {
  const Share own = own_steps(slice, self);
  copy_b(s, columns, {slice.first + own.start, own.length}, area + own.start * s.call.buffers.b.width);
}

void omp_parallel_acopy(const SharedMultiply& s, Share rows, Slice slice, double* area, Member self) {
  fill_a(s, rows, slice, area, self);
  wait_for_all();
}

void omp_parallel_abcopy(const SharedMultiply& s, Share rows, Share columns, Slice slice, Area area,
                         Member self) {
  fill_b(s, columns, slice, area.b, self);
  fill_a(s, rows, slice, area.a, self);
  wait_for_all();
}

void omp_parallel_acopy_lookahead(const SharedMultiply& s, Share rows, Slice slice, double* area,
                                  Member self) {
  fill_a(s, rows, slice, area, self);
}

void omp_parallel_bcopy(const SharedMultiply& s, Share columns, Slice slice, double* area, Member self) {
  fill_b(s, columns, slice, area, self);
  wait_for_all();
}

void omp_no_parallel_copy(const SharedMultiply& s, Share rows, Share columns, Slice slice, Area area) {
  copy_a(s, rows, slice, area.a);
  copy_b(s, columns, slice, area.b);
}

void multiply_packed(const SharedMultiply& s, Share rows, Share columns, Slice slice, const double* a,
                     const double* b) {
  if (rows.length <= 0) return;
  const engine::BlockedCall& call = s.call;
  const engine::BufferRecord& buffers = call.buffers;
  const bool store = slice.first == 0 && call.operation.beta == 0;
  double* const c = call.c.data + rows.start + columns.start * call.c.ld;
  for (vex_int j = 0; j < columns.length; j += buffers.nc)
    call.kernels.kernel({rows.length, std::min(buffers.nc, columns.length - j), slice.depth, a,
                         buffers.a.panel_size, b + j * buffers.b.depth, buffers.b.panel_size,
                         c + j * call.c.ld, call.c.ld, store, 0, call.kernels.edge});
}

void scale_result(const SharedMultiply& s, Share rows, Share columns) {
  const double beta = s.call.operation.beta;
  if (beta == 0 || beta == 1 || rows.length <= 0 || columns.length <= 0) return;
  const MatrixDescriptor block =
      engine::narrowed(s.call.c, rows.start, columns.start, rows.length, columns.length);
  s.call.kernels.scale(&block, beta);
}

}  // namespace vex::blas
