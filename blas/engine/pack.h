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
// registers.
template <typename P, int W>
[[gnu::always_inline]] inline void copy_panel_right(vex_int count, vex_int k, const double* source,
                                                    vex_int ld, typename P::Vector scale, double* panel) {
  constexpr int w = P::width;
  static_assert(W % w == 0);
  vex_int p = 0;
  for (; p + w <= k; p += w) {
    for (int i = 0; i < W; i += w) {
      typename P::Vector square[w];
      if (i + w <= count) {
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r) square[r] = P::multiply(P::load(source + (i + r) * ld + p), scale);
      } else {
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r)
          square[r] = i + r < count ? P::multiply(P::load(source + (i + r) * ld + p), scale) : P::zero();
      }
      P::transpose(square);
#pragma GCC unroll 8
      for (int r = 0; r < w; ++r) P::store(panel + (p + r) * W + i, square[r]);
    }
  }
  if (p == k) return;
  const auto lanes = P::first_lanes(static_cast<int>(k - p));
  for (int i = 0; i < W; i += w) {
    typename P::Vector square[w];
#pragma GCC unroll 8
    for (int r = 0; r < w; ++r)
      square[r] = i + r < count ? P::multiply(P::load(lanes, source + (i + r) * ld + p), scale) : P::zero();
    P::transpose(square);
#pragma GCC unroll 8
    for (int r = 0; r < w; ++r)
      if (p + r < k) P::store(panel + (p + r) * W + i, square[r]);
  }
}

// A whole block: `extent` rows (or columns) by k, panel stride in elements.
template <typename P, int W>
[[gnu::always_inline]] inline void copy_down(vex_int k, vex_int extent, const double* source, vex_int ld,
                                             const double* scale, double* packed, vex_int panel_stride) {
  const typename P::Vector factor = P::splat(*scale);
  for (vex_int i = 0; i < extent; i += W, packed += panel_stride)
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
