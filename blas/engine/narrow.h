// Products with few columns whose left operand is transposed, C := alpha A' B + beta C with A k x m: every
// element is a product of two columns. Squares of A are turned in registers and used for all columns of C at
// once, so A is read once and never copied. The operations on an element of C are those of the packed engine
// in the same order.
#pragma once

#include "blas/engine/scale.h"
#include "blas/engine/strategy.h"

namespace vex::blas::engine {

// Most columns the tiles here are instantiated for: with eight rows of a square and its temporaries, one
// accumulator more than fifteen would not fit into thirty-two registers.
inline constexpr vex_int most_narrow_columns = 15;

// Squares side by side in a tile of `columns` columns: a chain of multiply-adds is four cycles a step, so a
// tile needs eight chains or more to keep two pipes busy, and further squares only cost streams of memory.
// Of 1, 2 and 4 squares measured with k = 384 and 1000, this choice was the fastest from 2 to 15 columns.
template <typename P>
constexpr int narrow_squares(int columns) {
  if (P::registers < 32) return columns <= 2 ? 2 : 1;
  return columns <= 3 ? 4 : columns <= 7 ? 2 : 1;
}

// sum(i, j) = 0 + A(0, i) B(0, j) + A(1, i) B(1, j) + ...: `rows` columns of A, k long and lda apart, against
// N columns of B whose row p is b[p * N ..]. A carries `scale` when `scaled`. finish(first_row, j, count,
// sums) takes what belongs to rows first_row to first_row + count - 1 of column j.
template <typename P, int S, int N, bool scaled, typename Finish>
[[gnu::always_inline]] inline void dot_tile(vex_int rows, vex_int k, const double* a, vex_int lda,
                                            typename P::Vector scale, const double* b, const Finish& finish) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  V sum[S][N];
#pragma GCC unroll 8
  for (int s = 0; s < S; ++s)
#pragma GCC unroll 16
    for (int j = 0; j < N; ++j) sum[s][j] = P::zero();
  // `steps` rows of B, all w of a whole square; `full`: no column of A is missing.
  const auto square_step = [&](int s, const double* source, const double* values, vex_int steps, bool full,
                               bool whole) __attribute__((always_inline)) {
    V square[w];
    const auto lanes = P::first_lanes(whole ? w : static_cast<int>(steps));
#pragma GCC unroll 8
    for (int r = 0; r < w; ++r) {
      const double* const column = source + (s * w + r) * lda;
      if (full || s * w + r < rows)
        square[r] = whole ? P::load(column) : P::load(lanes, column);
      else
        square[r] = P::zero();
      if (scaled) square[r] = P::multiply(square[r], scale);
    }
    P::transpose(square);
#pragma GCC unroll 8
    for (int r = 0; r < w; ++r) {
      if (!whole && r >= steps) break;
#pragma GCC unroll 16
      for (int j = 0; j < N; ++j)
        sum[s][j] = P::multiply_add(square[r], P::broadcast(values + r * N + j), sum[s][j]);
    }
  };
  vex_int p = 0;
  if (rows >= S * w) {
    for (; p + w <= k; p += w)
#pragma GCC unroll 8
      for (int s = 0; s < S; ++s) square_step(s, a + p, b + p * N, w, true, true);
  } else {
    for (; p + w <= k; p += w)
#pragma GCC unroll 8
      for (int s = 0; s < S; ++s)
        if (s * w < rows) square_step(s, a + p, b + p * N, w, false, true);
  }
  if (p < k) {
#pragma GCC unroll 8
    for (int s = 0; s < S; ++s)
      if (s * w < rows) square_step(s, a + p, b + p * N, k - p, false, false);
  }
#pragma GCC unroll 8
  for (int s = 0; s < S; ++s) {
    if (s * w >= rows) continue;
    const int count = static_cast<int>(smaller(w, rows - s * w));
#pragma GCC unroll 16
    for (int j = 0; j < N; ++j) finish(s * w, j, count, sum[s][j]);
  }
}

// One slice of the inner dimension.
struct NarrowSlice {
  vex_int m, depth;
  const double* a;
  vex_int lda;
  const double* b;  // packed: row p at b + p * columns
  double* c;
  vex_int ldc;
  bool store;  // C = .. instead of C += ..
};

template <typename P, int N>
void multiply_narrow_slice(const NarrowSlice& x) {
  using V = typename P::Vector;
  constexpr int w = P::width, squares = narrow_squares<P>(N);
  for (vex_int i = 0; i < x.m; i += squares * w) {
    double* const tile = x.c + i;
    const auto finish = [&](int row, int j, int count, V sums) __attribute__((always_inline)) {
      double* const target = tile + row + j * x.ldc;
      if (count == w) {
        P::store(target, x.store ? sums : P::add(P::load(target), sums));
      } else {
        const auto lanes = P::first_lanes(count);
        P::store(lanes, target, x.store ? sums : P::add(P::load(lanes, target), sums));
      }
    };
    dot_tile<P, squares, N, false>(x.m - i, x.depth, x.a + i * x.lda, x.lda, P::zero(), x.b, finish);
  }
}

template <typename P>
struct NarrowSlices {
  void (*of[most_narrow_columns])(const NarrowSlice&);
  template <int N>
  static constexpr void fill(NarrowSlices& table) {
    table.of[N - 1] = multiply_narrow_slice<P, N>;
    if constexpr (N < most_narrow_columns) fill<N + 1>(table);
  }
  static constexpr NarrowSlices make() {
    NarrowSlices table{};
    fill<1>(table);
    return table;
  }
};

// C := alpha A' B + beta C, C m x n with n <= most_narrow_columns, A k x m and B k x n, neither transposed
// further. B is scaled into a copy, row by row, slice by slice.
template <typename P>
void multiply_narrow(vex_int m, vex_int n, vex_int k, double alpha, const double* a, vex_int lda,
                     const double* b, vex_int ldb, double beta, double* c, vex_int ldc) {
  static constexpr auto slices = NarrowSlices<P>::make();
  if (m <= 0 || n <= 0) return;
  if (alpha == 0 || k <= 0) return scale_block<P>(m, n, beta, c, ldc);
  if (beta != 0) scale_block<P>(m, n, beta, c, ldc);
  alignas(64) double packed[deepest_slice * most_narrow_columns];
  const vex_int kc = depth_slice<P>(k, P::blocks.ku, 1);
  for (vex_int p = 0; p < k; p += kc) {
    const vex_int depth = smaller(kc, k - p);
    for (vex_int j = 0; j < n; ++j)
      for (vex_int q = 0; q < depth; ++q) packed[q * n + j] = alpha * b[p + q + j * ldb];
    slices.of[n - 1]({m, depth, a + p, lda, packed, c, ldc, beta == 0 && p == 0});
  }
}

}  // namespace vex::blas::engine
