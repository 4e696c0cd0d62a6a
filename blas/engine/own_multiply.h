// The multiply of the generic paths: one blocked routine with its own packing, no kernel table to pick from
// and no strategy to check. The operations on an element, and their order, are those of every other way.
#pragma once

#include "blas/engine/drivers.h"
#include "blas/engine/strategy.h"
#include "service/buffer_cache.h"

namespace vex::blas::engine {

struct OwnRoutines {
  CopyFunction *copy_an, *copy_at, *copy_bn, *copy_bt;
  BlockKernel* kernel;
  EdgeRoutine* edge;
  void (*scale)(vex_int m, vex_int n, double beta, double* c, vex_int ldc);
};

// Panels of the two operands: as many as the blocks say, or one of each on the stack.
struct OwnPanels {
  double *a, *b;
  vex_int mc, nc;
};

template <typename P>
void multiply_with_panels(const OwnRoutines& routines, const OwnPanels& panels, vex_int kc,
                          const MatrixDescriptor& a, const MatrixDescriptor& b, const MatrixDescriptor& c,
                          double alpha, double beta) {
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr;
  const PackedDescriptor a_panels{panels.a, kc, panels.mc, mr * kc, 1, mr, kc, 8, 128, getPointer_buffer};
  const PackedDescriptor b_panels{panels.b, kc, panels.nc, nr * kc, 1, nr, kc, 8, 128, getPointer_buffer};
  CopyFunction* const copy_a = is_transposed(a) ? routines.copy_at : routines.copy_an;
  CopyFunction* const copy_b = is_transposed(b) ? routines.copy_bt : routines.copy_bn;
  const vex_int m = c.rows, n = c.columns, k = a.columns;
  const double one = 1;
  if (beta != 0) routines.scale(m, n, beta, c.data, c.ld);
  for (vex_int p = 0; p < k; p += kc) {
    const vex_int depth = smaller(kc, k - p);
    for (vex_int i = 0; i < m; i += panels.mc) {
      const vex_int rows = smaller(panels.mc, m - i);
      const MatrixDescriptor a_block = narrowed(a, i, p, rows, depth);
      copy_a(&a_block, &a_panels, panels.a, &one);
      for (vex_int j = 0; j < n; j += panels.nc) {
        const vex_int columns = smaller(panels.nc, n - j);
        const MatrixDescriptor b_block = narrowed(b, p, j, depth, columns);
        copy_b(&b_block, &b_panels, panels.b, &alpha);
        routines.kernel({rows, columns, depth, panels.a, a_panels.panel_size, panels.b, b_panels.panel_size,
                         c.data + i + j * c.ld, c.ld, beta == 0 && p == 0, i - j, routines.edge});
      }
    }
  }
}

// C := alpha op(A) op(B) + beta C, all extents positive. Without scratch memory one tile at a time.
template <typename P>
void multiply_in_own_blocks(const OwnRoutines& routines, const MatrixDescriptor& a, const MatrixDescriptor& b,
                            const MatrixDescriptor& c, double alpha, double beta) {
  constexpr BlockConstants blocks = P::blocks;
  constexpr vex_int mr = blocks.mr, nr = blocks.nr, deepest = larger(blocks.kc, blocks.kc_threshold);
  const vex_int kc = depth_slice<P>(a.columns, 1, 1);
  const vex_int mc = round_up(smaller(c.rows, blocks.mc_cap), mr);
  const vex_int nc = round_up(smaller(c.columns, blocks.nc_cap), nr);
  auto* const scratch =
      static_cast<double*>(vex_serv_allocate(static_cast<std::size_t>((mc + nc) * kc) * sizeof(double), 128));
  if (scratch) {
    multiply_with_panels<P>(routines, {scratch + nc * kc, scratch, mc, nc}, kc, a, b, c, alpha, beta);
    vex_serv_deallocate(scratch);
    return;
  }
  alignas(64) double one_tile[(mr + nr) * deepest];
  multiply_with_panels<P>(routines, {one_tile, one_tile + mr * deepest, mr, nr}, kc, a, b, c, alpha, beta);
}

// The same routines for callers that pack operands themselves, to keep or to share them.
[[gnu::always_inline]] constexpr PathRoutines for_packed_operands(const OwnRoutines& own,
                                                                  ScaleRoutine* scale) {
  PathRoutines routines{};
  routines.copy_an = own.copy_an, routines.copy_at = own.copy_at;
  routines.copy_bn = own.copy_bn, routines.copy_bt = own.copy_bt;
  routines.kernel = {own.kernel, own.kernel};
  routines.scale = scale, routines.edge = own.edge;
  routines.full = drive_full, routines.prepacked = drive_prepacked;
  return routines;
}

}  // namespace vex::blas::engine
