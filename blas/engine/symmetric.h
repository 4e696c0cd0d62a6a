// Packing a symmetric operand of which one triangle is stored: a panel takes what the triangle has as it
// stands and fetches the rest from across the diagonal.
#pragma once

#include "blas/engine/pack.h"

namespace vex::blas::engine {

// Packs `extent` rows from row `i` on (or columns, which are the same by symmetry), k steps from column `p`
// on, in panels of W. `data` is the whole stored matrix.
template <typename P, int W, bool lower>
[[gnu::always_inline]] inline void copy_symmetric(const double* data, vex_int ld, vex_int i, vex_int extent,
                                                  vex_int p, vex_int k, const double* scale, double* target,
                                                  vex_int panel_stride) {
  const typename P::Vector factor = P::splat(*scale);
  for (vex_int behind = i + extent; i < behind; i += W, target += panel_stride) {
    const vex_int count = smaller(W, behind - i), end = p + k;
    // Steps before `left` lie below the diagonal for every row of the panel, steps from `right` on above it.
    const vex_int left = larger(p, smaller(end, i)), right = larger(left, smaller(end, i + count));
    const auto stored_as_is = [&](vex_int from, vex_int to) __attribute__((always_inline)) {
      copy_panel_down<P, W>(count, to - from, data + i + from * ld, ld, factor, target + (from - p) * W);
    };
    const auto across = [&](vex_int from, vex_int to) __attribute__((always_inline)) {
      copy_panel_right<P, W>(count, to - from, data + from + i * ld, ld, factor, target + (from - p) * W);
    };
    if (lower)
      stored_as_is(p, left), across(right, end);
    else
      across(p, left), stored_as_is(right, end);
    for (vex_int q = left; q < right; ++q)
      for (vex_int r = 0; r < W; ++r) {
        const vex_int row = i + r;
        const double value = r >= count ? 0 : (row >= q) == lower ? data[row + q * ld] : data[q + row * ld];
        target[(q - p) * W + r] = value * *scale;
      }
  }
}

template <typename P, bool lower>
[[gnu::always_inline]] inline void copy_symmetric_left(const MatrixDescriptor* s,
                                                       const PackedDescriptor* packed, double* target,
                                                       const double* scale) {
  copy_symmetric<P, static_cast<int>(P::blocks.mr), lower>(s->data, s->ld, s->row_offset, s->rows,
                                                           s->column_offset, s->columns, scale, target,
                                                           packed->panel_size);
}

template <typename P, bool lower>
[[gnu::always_inline]] inline void copy_symmetric_right(const MatrixDescriptor* s,
                                                        const PackedDescriptor* packed, double* target,
                                                        const double* scale) {
  copy_symmetric<P, static_cast<int>(P::blocks.nr), lower>(s->data, s->ld, s->column_offset, s->columns,
                                                           s->row_offset, s->rows, scale, target,
                                                           packed->panel_size);
}

}  // namespace vex::blas::engine
