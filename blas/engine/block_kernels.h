// The kernels of a kernel table: loops over the tiles of a block, one path's vectors inside.
#pragma once

#include "blas/engine/tile.h"

namespace vex::blas::engine {

template <typename P>
[[gnu::always_inline]] inline void cut_tile(bool store, vex_int rows, vex_int columns, vex_int depth,
                                            const double* a, const double* b, double* c, vex_int ldc) {
  if (store)
    edge_tile<P, true>(rows, columns, depth, a, b, c, ldc);
  else
    edge_tile<P, false>(rows, columns, depth, a, b, c, ldc);
}

// One triangle of a block that the diagonal of C crosses. Tiles on the diagonal are computed beside C, and
// only their own side is brought in; what lies wholly inside goes to `full`, in chunks of rows whose part of
// A stays in the second cache while the columns pass by.
template <typename P, bool lower>
[[gnu::always_inline]] inline void multiply_triangle_block(const BlockProduct& x, BlockKernel* full) {
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr;
  const vex_int chunk = larger(1, P::chunk_elements / (mr * x.depth)) * mr;
  const auto part = [&](vex_int i, vex_int rows, vex_int j, vex_int columns) __attribute__((always_inline)) {
    BlockProduct inside = x;
    inside.rows = rows, inside.columns = columns;
    inside.a += i / mr * x.a_panel, inside.b += j / nr * x.b_panel;
    inside.c += i + j * x.ldc;
    return inside;
  };
  for (vex_int first = 0; first < x.rows; first += chunk) {
    const vex_int behind = smaller(x.rows, first + chunk);
    // Columns that all rows of the chunk keep: those before `kept` (lower) or from it on (upper).
    const vex_int kept = lower ? smaller(x.columns, larger(0, first + x.diagonal + 1) / nr * nr)
                               : smaller(x.columns, round_up(larger(0, behind - 1 + x.diagonal), nr));
    if (lower && kept > 0) full(part(first, behind - first, 0, kept));
    if (!lower && kept < x.columns) full(part(first, behind - first, kept, x.columns - kept));
    for (vex_int j = lower ? kept : 0; j < (lower ? x.columns : kept); j += nr) {
      const vex_int columns = smaller(nr, x.columns - j);
      for (vex_int i = first; i < behind; i += mr) {
        const BlockProduct tile = part(i, smaller(mr, behind - i), j, columns);
        const vex_int above = i - j + x.diagonal;  // row less column of the tile's first element
        const vex_int least = lower ? above - (columns - 1) : -(above + tile.rows - 1);
        const vex_int most = lower ? above + tile.rows - 1 : columns - 1 - above;
        if (most < 0) continue;
        if (least >= 0) {
          full(tile);
          continue;
        }
        alignas(64) double product[mr * nr];
        x.edge(true, tile.rows, columns, x.depth, tile.a, tile.b, product, mr);
        for (vex_int q = 0; q < columns; ++q)
          for (vex_int r = 0; r < tile.rows; ++r)
            if (lower ? above + r - q >= 0 : above + r - q <= 0) {
              double& element = tile.c[r + q * x.ldc];
              element = x.store ? product[r + q * mr] : element + product[r + q * mr];
            }
      }
    }
  }
}

}  // namespace vex::blas::engine
