// Multiplies too small to pay for packing: the tiles read A and B where they are. The operations on each
// element of C are those of the packed engine in the same order, so a call gives the same bits whichever way
// it goes.
#pragma once

#include "blas/engine/pack.h"
#include "blas/engine/strategy.h"
#include "blas/engine/tile.h"

namespace vex::blas::engine {

// One multiply: element (i, p) of op(A) is a[i * a_row + p * a_column], (p, j) of op(B) b[p * b_row + j *
// b_column].
struct InPlaceProduct {
  vex_int m, n, k;
  double alpha;
  const double* a;
  vex_int a_row, a_column;
  const double* b;
  vex_int b_row, b_column;
  bool store;  // C = .. instead of C += ..
  double* c;
  vex_int ldc;
};

// Tiles of every height in vectors and every width in columns, whole or cut in their last vector.
template <typename P, bool partial, bool negated>
struct InPlaceTiles {
  using Function = void (*)(bool store, vex_int rows, vex_int k, TileSource source, double* c, vex_int ldc);
  static constexpr int mv = static_cast<int>(P::blocks.mr) / P::width, nr = static_cast<int>(P::blocks.nr);
  Function of[mv][nr];

  template <int MV, int NR>
  static void tile(bool store, vex_int rows, vex_int k, TileSource source, double* c, vex_int ldc) {
    multiply_tile<P, MV, NR, partial, negated>(store, rows, k, source, c, ldc);
  }
  template <int I, int J>
  static constexpr void fill(InPlaceTiles& table) {
    table.of[I][J] = tile<I + 1, J + 1>;
    if constexpr (J + 1 < nr)
      fill<I, J + 1>(table);
    else if constexpr (I + 1 < mv)
      fill<I + 1, 0>(table);
  }
  static constexpr InPlaceTiles make() {
    InPlaceTiles table{};
    fill<0, 0>(table);
    return table;
  }
};

// Depth up to which nothing is sliced, and panels on the stack are enough.
template <typename P>
inline constexpr vex_int deepest_in_place = P::blocks.kc_threshold;

template <typename P, bool negated>
void multiply_in_place(const InPlaceProduct& x) {
  static constexpr auto whole = InPlaceTiles<P, false, negated>::make();
  static constexpr auto cut = InPlaceTiles<P, true, negated>::make();
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr, w = P::width;
  const bool turned = x.a_row != 1;
  alignas(64) double panel[mr * deepest_in_place<P>];  // only used (and only touched) when A is transposed
  for (vex_int i = 0; i < x.m; i += mr) {
    const vex_int rows = smaller(mr, x.m - i);
    TileSource source{x.a + i, x.a_column, x.b, x.b_row, x.b_column};
    if (turned) {
      copy_panel_right<P, static_cast<int>(mr)>(rows, x.k, x.a + i * x.a_row, x.a_row, P::splat(1.0), panel);
      source.a = panel, source.a_step = mr;
    }
    const auto& tiles = rows % w == 0 ? whole.of[(rows - 1) / w] : cut.of[(rows - 1) / w];
    for (vex_int j = 0; j < x.n; j += nr, source.b += nr * x.b_column)
      tiles[smaller(nr, x.n - j) - 1](x.store, rows, x.k, source, x.c + i + j * x.ldc, x.ldc);
  }
}

// The same for any alpha: B is scaled, column panel by column panel, into a copy first, as packing does.
template <typename P>
void multiply_in_place_scaled(const InPlaceProduct& x) {
  constexpr vex_int nr = P::blocks.nr;
  alignas(64) double panel[nr * deepest_in_place<P>];
  for (vex_int j = 0; j < x.n; j += nr) {
    const vex_int columns = smaller(nr, x.n - j);
    for (vex_int p = 0; p < x.k; ++p)
      for (vex_int q = 0; q < columns; ++q)
        panel[p * nr + q] = x.alpha * x.b[p * x.b_row + (j + q) * x.b_column];
    InPlaceProduct part = x;
    part.n = columns;
    part.b = panel, part.b_row = nr, part.b_column = 1;
    part.c = x.c + j * x.ldc;
    multiply_in_place<P, false>(part);
  }
}

// Whether packing would cost more than it saves: each element of A is used n times and each of B m times, so
// small or narrow products do not earn their copies.
template <typename P>
[[gnu::always_inline]] inline bool suits_in_place(vex_int m, vex_int n, vex_int k) {
  if (k > deepest_in_place<P>) return false;
  return m * n <= P::in_place_elements || m <= P::blocks.mr || n <= P::blocks.nr;
}

}  // namespace vex::blas::engine
