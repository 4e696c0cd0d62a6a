// Register blocks and cache blocks of one path, from the path's table of constants.
#pragma once

#include "blas/engine/descriptors.h"

namespace vex::blas::engine {

// What a path's constants table holds. All counts are elements.
struct BlockConstants {
  vex_int mr, nr, ku, fourth_block;  // packed kernels
  vex_int nocopy_mr, nocopy_nr;      // kernels that read A and B in place
  vex_int kc, kc_threshold;          // depths up to the threshold are one slice, at least kc_floor deep
  vex_int mc_cap;                    // rounded up to mr afterwards, so the last panel may overshoot it
  vex_int nc_cap, nc_cap_shallow;    // for k above 47, and for k up to 47
};

// Up to where products are not packed, see suits_in_place(). Settled by timing both ways on the
// same operands, for all transpositions, with least leading dimensions and with 4000.
struct InPlaceLimits {
  vex_int side, turned_side;            // m and n at most, by whether A is transposed
  vex_int shallow_depth, shallow_side;  // the same for k up to shallow_depth
  vex_int tall, wide;                   // or m n / (m + n) at most, for m > n and m <= n
};

// Depth of one slice of the inner dimension. A middling depth is halved; rounded down when `halving_excess`
// is 0.
[[gnu::always_inline]] constexpr vex_int depth_slice(const BlockConstants& c, vex_int k, vex_int ku,
                                                     vex_int halving_excess) {
  constexpr vex_int kc_floor = 128;
  if (k <= c.kc_threshold) return larger(round_up(k, ku), kc_floor);
  if (k >= 2 * c.kc) return c.kc;
  return round_up((k + halving_excess) / 2, ku);
}

// Brings a strategy to the values the kernels of this path can run; 1 when nothing had to change.
template <typename P>
int check_strategy(StrategyRecord* s) {
  constexpr BlockConstants c = P::blocks;
  const StrategyRecord given = *s;
  if (s->copy_mode == copy_none) {
    s->mr = c.nocopy_mr, s->nr = c.nocopy_nr, s->ku = 1, s->prefetch = 4, s->fourth_block = 8;
  } else {
    s->mr = c.mr, s->nr = c.nr, s->ku = c.ku, s->fourth_block = c.fourth_block;
  }
  s->unit_m = s->unit_n = 8;
  if (s->copy_mode == copy_unset) s->copy_mode = copy_both;
  if (s->prefetch == 0) s->prefetch = 2;
  if (s->last_block == 0) s->last_block = 4;
  return given.copy_mode == s->copy_mode && given.mr == s->mr && given.nr == s->nr && given.ku == s->ku &&
         given.fourth_block == s->fourth_block && given.unit_m == s->unit_m && given.unit_n == s->unit_n &&
         given.prefetch == s->prefetch && given.last_block == s->last_block;
}

template <typename P>
void initialize_strategy(StrategyRecord* s) {
  constexpr BlockConstants c = P::blocks;
  *s = {copy_unset, c.mr, c.nr, c.ku, 0, 0, 0, 0, 4, check_strategy<P>};
}

// Which products are streamed (streamed.h): rows from how many on, depth and columns up to where. A shallow
// product of many columns is all C, which packed tiles fetch better. Columns a multiple of a page apart share
// lines of the first cache.
struct StreamedLimits {
  vex_int rows, depth, columns, aliased_columns;
  vex_int shallow_depth, shallow_columns;  // the columns for k up to shallow_depth
  vex_int few_columns, few_columns_depth;  // the depth for n up to few_columns
};

template <typename P>
[[gnu::always_inline]] constexpr vex_int depth_slice(vex_int k, vex_int ku, vex_int halving_excess) {
  return depth_slice(P::blocks, k, ku, halving_excess);
}

// Block sizes of a multiply of m x n by depth k.
void size_buffers(BufferRecord* buffers, const BlockConstants& constants, const StrategyRecord* strategy,
                  vex_int m, vex_int n, vex_int k);
// The same for the triangular operations, which halve a middling depth downwards and let a shallow one keep
// wide column blocks.
void size_triangular_buffers(BufferRecord* buffers, const BlockConstants& constants,
                             const StrategyRecord* strategy, vex_int m, vex_int n, vex_int k);

template <typename P>
void initialize_buffers(BufferRecord* buffers, const StrategyRecord* s, vex_int m, vex_int n, vex_int k) {
  size_buffers(buffers, P::blocks, s, m, n, k);
}

template <typename P>
void initialize_triangular_buffers(BufferRecord* buffers, const StrategyRecord* s, vex_int m, vex_int n,
                                   vex_int k) {
  size_triangular_buffers(buffers, P::blocks, s, m, n, k);
}

}  // namespace vex::blas::engine
