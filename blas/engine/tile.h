// The inner kernel: a tile of C, MV vectors high and NR columns wide, held in registers while the k loop
// runs. Every element of C gets the same operations wherever in a tile it lies: a chain of multiply-adds over
// k that starts from zero, and then one addition to C (or one store, when C is not to be read).
#pragma once

#include "blas/engine/descriptors.h"

namespace vex::blas::engine {

// Where the operands of a tile lie. Element (i, p) of A is a[i + p * a_step], element (p, j) of B is
// b[p * b_step + j * b_column].
struct TileSource {
  const double* a;
  vex_int a_step;
  const double* b;
  vex_int b_step, b_column;
};

// rows <= MV * width; only when `partial` may rows be less than that, and then no element of A or C below
// them is touched. `scale` multiplies each value of B when it is read (packed operands already carry it).
template <typename P, int MV, int NR, bool store_only, bool partial, bool scaled>
[[gnu::always_inline]] inline void multiply_tile(vex_int rows, vex_int k, TileSource s, double scale,
                                                 double* c, vex_int ldc) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  const auto lanes = P::first_lanes(partial ? static_cast<int>(rows - (MV - 1) * w) : w);
  const V factor = P::splat(scale);
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
      V value = P::broadcast(b + j * s.b_column);
      if (scaled) value = P::multiply(value, factor);
#pragma GCC unroll 4
      for (int i = 0; i < MV; ++i) sum[j][i] = P::multiply_add(column[i], value, sum[j][i]);
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
#pragma GCC unroll 16
  for (int j = 0; j < NR; ++j) {
#pragma GCC unroll 4
    for (int i = 0; i < MV; ++i) {
      double* const target = c + j * ldc + i * w;
      if (partial && i == MV - 1) {
        const V old = store_only ? P::zero() : P::load(lanes, target);
        P::store(lanes, target, store_only ? sum[j][i] : P::add(old, sum[j][i]));
      } else {
        P::store(target, store_only ? sum[j][i] : P::add(P::load(target), sum[j][i]));
      }
    }
  }
}

// A tile of packed panels: A's panel is P::blocks.mr wide, B's P::blocks.nr.
template <typename P, int MV, int NR, bool store_only, bool partial>
void packed_tile(vex_int rows, vex_int k, const double* a, const double* b, double* c, vex_int ldc) {
  multiply_tile<P, MV, NR, store_only, partial, false>(rows, k, {a, P::blocks.mr, b, P::blocks.nr, 1}, 1.0, c,
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

// One block of C from one packed block of each operand: `a` holds m rows, `b` n columns, k deep. While the
// tiles of one panel of A run, the next panel is brought into the second cache piece by piece; by the time it
// is used, it no longer waits for the third.
template <typename P, bool store_only>
void multiply_block(vex_int m, vex_int n, vex_int k, const double* a, vex_int a_panel, const double* b,
                    vex_int b_panel, double* c, vex_int ldc) {
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr, line = 8;
  const vex_int tiles = (n + nr - 1) / nr, ahead_step = smaller(line, (4 * mr + tiles - 1) / tiles);
  for (vex_int i = 0; i < m; i += mr, a += a_panel) {
    const vex_int rows = smaller(mr, m - i);
    const double *b_at = b, *ahead = a + a_panel;
    for (vex_int j = 0; j < n; j += nr, b_at += b_panel, ahead += ahead_step * (k / 4)) {
      const vex_int columns = smaller(nr, n - j);
      double* const tile = c + i + j * ldc;
      if (rows == mr && columns == nr)
        full_tile<P, store_only>(k, a, b_at, tile, ldc, ahead, ahead_step);
      else
        edge_tile<P, store_only>(rows, columns, k, a, b_at, tile, ldc);
    }
  }
}

}  // namespace vex::blas::engine
