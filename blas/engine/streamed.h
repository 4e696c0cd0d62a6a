// Products of an A that is much taller than wide, by a B of not many columns, straight from memory: packing
// would fetch, write and read again what is used a few times only. Each column of A and C is another place in
// memory, more of them than the processor's own prefetching follows, so the tiles ask for what comes next.
#pragma once

#include "blas/engine/in_place.h"

namespace vex::blas::engine {

// Rows of A that stay in the second cache while the columns of B pass by: the more, the fewer times each page
// is come to. Whole tiles on every path.
[[gnu::always_inline]] constexpr vex_int streamed_rows(vex_int k) {
  constexpr vex_int elements = 24000, unit = 24, least = 240, most = 1920;
  return larger(least, smaller(most, elements / k / unit * unit));
}

// Room for B, which is packed: panels as wide as a tile, one row after another.
inline constexpr vex_int streamed_elements = 8192;

template <typename P>
[[gnu::always_inline]] inline bool suits_streaming(vex_int m, vex_int n, vex_int k, vex_int lda,
                                                   vex_int ldc) {
  constexpr StreamedLimits limits = P::streamed;
  constexpr vex_int page = 512;
  if (m < limits.rows || k > (n <= limits.few_columns ? limits.few_columns_depth : limits.depth))
    return false;
  const bool aliased = lda % page == 0 || ldc % page == 0;
  if (aliased && n > limits.aliased_columns) return false;
  return n <= (k <= limits.shallow_depth ? limits.shallow_columns : limits.columns);
}

// How many rows below itself a tile asks for what will be needed there.
inline constexpr vex_int rows_ahead = 120;

// Into the second cache: the first one has too few misses under way at a time to bear with so many columns.
template <int rows>
[[gnu::always_inline]] inline void fetch_below(const double* p) {
#pragma GCC unroll 4
  for (int i = 0; i < rows; i += 8) __builtin_prefetch(p + rows_ahead + i, 0, 2);
}

// One tile, MV vectors high and NR columns wide. b is one panel of the packed B, whose rows are `widest`
// apart; of A only the first tile of a row has to ask for more. An element sees the operations of the packed
// kernel (tile.h) in the same order.
template <typename P, int MV, int NR, int widest, bool fetch_a>
void streamed_tile(vex_int k, const double* a, vex_int lda, const double* b, Beta beta, double factor,
                   double* c, vex_int ldc) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  const double* below = c;
  V sum[NR][MV];
#pragma GCC unroll 8
  for (int j = 0; j < NR; ++j) {
    fetch_below<MV * w>(below);
    below += ldc;
    settle(below);
#pragma GCC unroll 3
    for (int i = 0; i < MV; ++i) sum[j][i] = P::zero();
  }
#pragma GCC unroll 2
  for (vex_int p = 0; p < k; ++p) {
    V values[MV];
#pragma GCC unroll 3
    for (int i = 0; i < MV; ++i) values[i] = P::load(a + i * w);
    if constexpr (fetch_a) fetch_below<MV * w>(a);
#pragma GCC unroll 8
    for (int j = 0; j < NR; ++j) {
      const V value = P::broadcast(b + j);
#pragma GCC unroll 3
      for (int i = 0; i < MV; ++i) sum[j][i] = P::multiply_add(values[i], value, sum[j][i]);
    }
    a += lda, b += widest;
    settle(a), settle(b);
  }
  const V scale = P::splat(factor);
#pragma GCC unroll 8
  for (int j = 0; j < NR; ++j) {
#pragma GCC unroll 3
    for (int i = 0; i < MV; ++i) {
      double* const target = c + i * w;
      if (beta == Beta::one)
        sum[j][i] = P::add(P::load(target), sum[j][i]);
      else if (beta == Beta::other)
        sum[j][i] = P::add(P::multiply(P::load(target), scale), sum[j][i]);
      P::store(target, sum[j][i]);
    }
    c += ldc;
    asm("" : "+r"(c));  // else every address of the tile would be computed beforehand
  }
}

template <typename P>
struct StreamedTiles {
  static constexpr int height = static_cast<int>(P::nocopy_height(5));
  static constexpr int widest = P::nocopy_widest(height);
  void (*of[widest])(vex_int k, const double* a, vex_int lda, const double* b, Beta beta, double factor,
                     double* c, vex_int ldc);

  template <bool fetch_a, int J>
  static constexpr void fill(StreamedTiles& table) {
    table.of[J] = streamed_tile<P, height, J + 1, widest, fetch_a>;
    if constexpr (J + 1 < widest) fill<fetch_a, J + 1>(table);
  }
  template <bool fetch_a>
  static constexpr StreamedTiles make() {
    StreamedTiles table{};
    fill<fetch_a, 0>(table);
    return table;
  }
};

// The rows that make whole tiles, for as many columns as `packed` has room for. x.b and x.ldb are those of
// the packed panels.
template <typename P>
void stream_tiles(const NocopyProduct& x, Beta beta) {
  static constexpr auto first = StreamedTiles<P>::template make<true>();
  static constexpr auto later = StreamedTiles<P>::template make<false>();
  constexpr vex_int rows = StreamedTiles<P>::height * P::width, widest = StreamedTiles<P>::widest;
  const vex_int chunk = streamed_rows(x.k);
  for (vex_int start = 0; start < x.m; start += chunk) {
    const vex_int behind = smaller(x.m, start + chunk);
    const double* b = x.b;
    double* c = x.c;
    for (vex_int left = x.n, width; left > 0; left -= width) {
      width = next_width(left, widest);
      const auto tile = (left == x.n ? first : later).of[width - 1];
      for (vex_int i = start; i < behind; i += rows) tile(x.k, x.a + i, x.lda, b, beta, x.beta, c + i, x.ldc);
      b += x.k * x.ldb;
      c += width * x.ldc;
    }
  }
}

// alpha goes into the packed B, as in every other way.
template <typename P>
[[gnu::always_inline]] inline void pack_streamed(const NocopyProduct& x, bool b_turned, double alpha,
                                                 double* packed) {
  constexpr vex_int widest = StreamedTiles<P>::widest;
  vex_int j = 0;
  for (vex_int left = x.n, width; left > 0; left -= width, packed += x.k * widest) {
    width = next_width(left, widest);
    for (vex_int q = 0; q < width; ++q, ++j)
      for (vex_int p = 0; p < x.k; ++p)
        packed[p * widest + q] = alpha * (b_turned ? x.b[j + p * x.ldb] : x.b[p + j * x.ldb]);
  }
}

template <typename P>
void multiply_streamed(bool b_turned, vex_int m, vex_int n, vex_int k, double alpha, const double* a,
                       vex_int lda, const double* b, vex_int ldb, double beta, double* c, vex_int ldc) {
  constexpr vex_int rows = StreamedTiles<P>::height * P::width, widest = StreamedTiles<P>::widest;
  const Beta kind = beta == 1 ? Beta::one : beta == 0 ? Beta::zero : Beta::other;
  const vex_int whole = m / rows * rows, piece = streamed_elements / (k * widest) * widest;
  alignas(64) double packed[streamed_elements];
  for (vex_int j = 0; j < n; j += piece) {
    NocopyProduct part{whole, smaller(piece, n - j), k,  false, a, lda, b + (b_turned ? j : j * ldb), ldb,
                       beta,  c + j * ldc,           ldc};
    pack_streamed<P>(part, b_turned, alpha, packed);
    part.b = packed, part.ldb = widest;
    stream_tiles<P>(part, kind);
  }
  if (whole < m)
    drive_in_place<P>(false, b_turned, m - whole, n, k, alpha, a + whole, lda, b, ldb, beta, c + whole, ldc);
}

}  // namespace vex::blas::engine
