// The inner kernel: a tile of C, MV vectors high and NR columns wide, held in registers while the k loop
// runs. Every element of C gets the same operations wherever in a tile it lies: a chain of multiply-adds over
// k that starts from zero, and then one addition to C (or one store, when C is not to be read).
#pragma once

#include "blas/engine/kernel_table.h"

namespace vex::blas::engine {

// Where the operands of a tile lie. Element (i, p) of A is a[i + p * a_step], element (p, j) of B is
// b[p * b_step + j * b_column].
struct TileSource {
  const double* a;
  vex_int a_step;
  const double* b;
  vex_int b_step, b_column;
};

// C += A B (or C = A B when `store`), with B negated when `negated`. rows <= MV * width; only when `partial`
// may rows be less than that, and then no element of A or C below them is touched.
template <typename P, int MV, int NR, bool partial, bool negated>
[[gnu::always_inline]] inline void multiply_tile(bool store, vex_int rows, vex_int k, TileSource s, double* c,
                                                 vex_int ldc) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  const auto lanes = P::first_lanes(partial ? static_cast<int>(rows - (MV - 1) * w) : w);
  V sum[NR][MV];
#pragma GCC unroll 16
  for (int j = 0; j < NR; ++j) {
#pragma GCC unroll 4
    for (int i = 0; i < MV; ++i) sum[j][i] = P::zero();
    // The tile of C is on its way while the k loop runs.
    P::prefetch(c + j * ldc);
    if (MV * w > 8) P::prefetch(c + j * ldc + 8);
    if (MV * w > 16) P::prefetch(c + j * ldc + 16);
    P::prefetch(c + j * ldc + rows - 1);
  }
  const auto step = [&](const double* a, const double* b) __attribute__((always_inline)) {
    V column[MV];
#pragma GCC unroll 4
    for (int i = 0; i < MV; ++i)
      column[i] = partial && i == MV - 1 ? P::load(lanes, a + i * w) : P::load(a + i * w);
#pragma GCC unroll 16
    for (int j = 0; j < NR; ++j) {
      const V value = P::broadcast(b + j * s.b_column);
#pragma GCC unroll 4
      for (int i = 0; i < MV; ++i)
        sum[j][i] = negated ? P::subtract_product(column[i], value, sum[j][i])
                            : P::multiply_add(column[i], value, sum[j][i]);
    }
  };
  const double *a = s.a, *b = s.b;
  vex_int p = k;
  for (; p >= 4; p -= 4) {
    step(a, b);
    step(a + s.a_step, b + s.b_step);
    step(a + 2 * s.a_step, b + 2 * s.b_step);
    step(a + 3 * s.a_step, b + 3 * s.b_step);
    a += 4 * s.a_step;
    b += 4 * s.b_step;
  }
  for (; p > 0; --p) {
    step(a, b);
    a += s.a_step;
    b += s.b_step;
  }
  const auto finish = [&](const V& product, int i, double* target, bool add) __attribute__((always_inline)) {
    if (partial && i == MV - 1)
      P::store(lanes, target, add ? P::add(P::load(lanes, target), product) : product);
    else
      P::store(target, add ? P::add(P::load(target), product) : product);
  };
  if (store) {
#pragma GCC unroll 16
    for (int j = 0; j < NR; ++j)
#pragma GCC unroll 4
      for (int i = 0; i < MV; ++i) finish(sum[j][i], i, c + j * ldc + i * w, false);
  } else {
#pragma GCC unroll 16
    for (int j = 0; j < NR; ++j)
#pragma GCC unroll 4
      for (int i = 0; i < MV; ++i) finish(sum[j][i], i, c + j * ldc + i * w, true);
  }
}

// A tile of packed panels: A's panel is P::blocks.mr wide, B's P::blocks.nr.
template <typename P, int MV, int NR, bool store_only, bool partial>
void packed_tile(vex_int rows, vex_int k, const double* a, const double* b, double* c, vex_int ldc) {
  multiply_tile<P, MV, NR, partial, false>(store_only, rows, k, {a, P::blocks.mr, b, P::blocks.nr, 1}, c,
                                           ldc);
}

// A whole tile: the path's own kernel where it has one.
template <typename P, bool store_only>
[[gnu::always_inline]] inline void full_tile(vex_int k, const double* a, const double* b, double* c,
                                             vex_int ldc, const double* ahead, vex_int ahead_step) {
  if constexpr (requires { P::template full_tile<store_only>(k, a, b, c, ldc, ahead, ahead_step); })
    P::template full_tile<store_only>(k, a, b, c, ldc, ahead, ahead_step);
  else
    packed_tile<P, static_cast<int>(P::blocks.mr) / P::width, static_cast<int>(P::blocks.nr), store_only,
                false>(P::blocks.mr, k, a, b, c, ldc);
}

// The same tile cut to any height 1 <= rows <= mr and width 1 <= columns <= nr.
template <typename P, bool store_only>
struct CutTile {
  using Function = void (*)(vex_int, vex_int, const double*, const double*, double*, vex_int);
  static constexpr int mv = static_cast<int>(P::blocks.mr) / P::width, nr = static_cast<int>(P::blocks.nr);
  Function of[mv][nr];

  template <int I, int J>
  static constexpr void fill(CutTile& table) {
    table.of[I][J] = packed_tile<P, I + 1, J + 1, store_only, true>;
    if constexpr (J + 1 < nr)
      fill<I, J + 1>(table);
    else if constexpr (I + 1 < mv)
      fill<I + 1, 0>(table);
  }
  static constexpr CutTile make() {
    CutTile table{};
    fill<0, 0>(table);
    return table;
  }
};

template <typename P, bool store_only>
void edge_tile(vex_int rows, vex_int columns, vex_int k, const double* a, const double* b, double* c,
               vex_int ldc) {
  static constexpr CutTile<P, store_only> table = CutTile<P, store_only>::make();
  table.of[(rows - 1) / P::width][columns - 1](rows, k, a, b, c, ldc);
}

// One block of C from one packed block of each operand: `a` holds m rows, `b` n columns, k deep. A is taken
// in chunks that stay in the second cache while the panels of B pass by, so the tiles run down the columns of
// C, where the processor's own prefetching and its address translation find neighbours. Each tile also brings
// in a piece of the next chunk, which then does not wait for the third cache.
template <typename P, bool store_only>
[[gnu::always_inline]] inline void multiply_block(const BlockProduct& block) {
  const vex_int m = block.rows, n = block.columns, k = block.depth, ldc = block.ldc;
  const vex_int a_panel = block.a_panel, b_panel = block.b_panel;
  const double *a = block.a, *const b = block.b;
  double* const c = block.c;
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr, line = 8;
  const vex_int chunk = larger(1, P::chunk_elements / (mr * k));  // panels of A
  const vex_int tiles = (n + nr - 1) / nr, ahead_step = smaller(line, (4 * mr + tiles - 1) / tiles);
  for (vex_int first = 0; first < m; first += chunk * mr, a += chunk * a_panel) {
    const vex_int behind = smaller(m, first + chunk * mr);
    const double* b_at = b;
    for (vex_int j = 0; j < n; j += nr, b_at += b_panel) {
      const vex_int columns = smaller(nr, n - j);
      const double *a_at = a, *ahead = a + chunk * a_panel + ahead_step * (k / 4) * (j / nr);
      double* tile = c + first + j * ldc;
      for (vex_int i = first; i < behind; i += mr, a_at += a_panel, ahead += a_panel, tile += mr) {
        const vex_int rows = smaller(mr, m - i);
        if (rows == mr && columns == nr)
          full_tile<P, store_only>(k, a_at, b_at, tile, ldc, ahead, ahead_step);
        else
          block.edge(store_only, rows, columns, k, a_at, b_at, tile, ldc);
      }
    }
  }
}

}  // namespace vex::blas::engine
