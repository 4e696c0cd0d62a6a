// Packing: a rectangle of op(A) or op(B) is copied into panels of W rows (or columns) side by side, each
// value multiplied by a scalar on the way. "down" reads a source whose W panel values lie next to each other
// in memory, "right" one whose k steps do. Missing rows of the last panel are filled with zeros.
#pragma once

#include "blas/engine/descriptors.h"

namespace vex::blas::engine {

// One panel of `count` <= W, k steps; step p reads source[p * ld .. + count).
template <typename P, int W>
[[gnu::always_inline]] inline void copy_panel_down(vex_int count, vex_int k, const double* source, vex_int ld,
                                                   typename P::Vector scale, double* panel) {
  constexpr int w = P::width, vectors = W / w;
  static_assert(W % w == 0);
  if (count == W) {
    for (vex_int p = 0; p < k; ++p, source += ld, panel += W) {
#pragma GCC unroll 12
      for (int i = 0; i < vectors; ++i) P::store(panel + i * w, P::multiply(P::load(source + i * w), scale));
    }
    return;
  }
  const int full = static_cast<int>(count) / w, rest = static_cast<int>(count) % w;
  for (vex_int p = 0; p < k; ++p, source += ld, panel += W) {
    int i = 0;
    for (; i < full; ++i) P::store(panel + i * w, P::multiply(P::load(source + i * w), scale));
    if (rest > 0)
      P::store(panel + i * w, P::multiply(P::load(P::first_lanes(rest), source + i * w), scale)), ++i;
    for (; i < vectors; ++i) P::store(panel + i * w, P::zero());
  }
}

// One panel of `count` <= W, k steps; panel row r reads source[r * ld .. + k). Squares of w x w are turned in
// registers, one strip of w rows after another: the processor's own prefetching follows that many streams,
// and the first lines of the next strip are asked for meanwhile.
template <typename P, int W>
[[gnu::always_inline]] inline void copy_panel_right(vex_int count, vex_int k, const double* source,
                                                    vex_int ld, typename P::Vector scale, double* panel) {
  constexpr int w = P::width;
  static_assert(W % w == 0);
  const auto lanes = P::first_lanes(static_cast<int>(k % w));
  for (int i = 0; i < W; i += w, source += w * ld, panel += w) {
    typename P::Vector square[w];
    vex_int p = 0;
    if (i + w <= count) {
      for (; p + w <= k; p += w) {
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r) {
          P::prefetch(source + (r + w) * ld + p);
          square[r] = P::multiply(P::load(source + r * ld + p), scale);
        }
        P::transpose(square);
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r) P::store(panel + (p + r) * W, square[r]);
      }
    } else {
      for (; p + w <= k; p += w) {
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r)
          square[r] = i + r < count ? P::multiply(P::load(source + r * ld + p), scale) : P::zero();
        P::transpose(square);
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r) P::store(panel + (p + r) * W, square[r]);
      }
    }
    if (p == k) continue;
#pragma GCC unroll 8
    for (int r = 0; r < w; ++r)
      square[r] = i + r < count ? P::multiply(P::load(lanes, source + r * ld + p), scale) : P::zero();
    P::transpose(square);
#pragma GCC unroll 8
    for (int r = 0; r < w; ++r)
      if (p + r < k) P::store(panel + (p + r) * W, square[r]);
  }
}

// Several panels at once, so that each column of the source is read in one long piece: a column begins a new
// page when the leading dimension is large, and its few lines come from far away. The columns to come are
// asked for in time.
template <typename P, int W, int panels>
[[gnu::always_inline]] inline void copy_panels_down(vex_int k, const double* source, vex_int ld,
                                                    typename P::Vector scale, double* packed,
                                                    vex_int panel_stride) {
  constexpr int w = P::width, line = 8;
  constexpr vex_int columns_ahead = 8;
  for (vex_int p = 0; p < k; ++p, source += ld, packed += W) {
    const double* const ahead = source + (p + columns_ahead < k ? columns_ahead * ld : 0);
#pragma GCC unroll 16
    for (int i = 0; i < panels * W; i += line) P::prefetch(ahead + i);
#pragma GCC unroll 4
    for (int q = 0; q < panels; ++q)
#pragma GCC unroll 12
      for (int i = 0; i < W; i += w)
        P::store(packed + q * panel_stride + i, P::multiply(P::load(source + q * W + i), scale));
  }
}

// A whole block: `extent` rows (or columns) by k, panel stride in elements.
template <typename P, int W>
[[gnu::always_inline]] inline void copy_down(vex_int k, vex_int extent, const double* source, vex_int ld,
                                             const double* scale, double* packed, vex_int panel_stride) {
  constexpr int panels = 96 / W < 4 ? 96 / W : 4;
  const typename P::Vector factor = P::splat(*scale);
  vex_int i = 0;
  for (; i + panels * W <= extent; i += panels * W, packed += panels * panel_stride)
    copy_panels_down<P, W, panels>(k, source + i, ld, factor, packed, panel_stride);
  for (; i < extent; i += W, packed += panel_stride)
    copy_panel_down<P, W>(smaller(W, extent - i), k, source + i, ld, factor, packed);
}

template <typename P, int W>
[[gnu::always_inline]] inline void copy_right(vex_int k, vex_int extent, const double* source, vex_int ld,
                                              const double* scale, double* packed, vex_int panel_stride) {
  const typename P::Vector factor = P::splat(*scale);
  for (vex_int i = 0; i < extent; i += W, packed += panel_stride)
    copy_panel_right<P, W>(smaller(W, extent - i), k, source + i * ld, ld, factor, packed);
}

}  // namespace vex::blas::engine
