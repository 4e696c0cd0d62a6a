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

inline constexpr vex_int kc_floor = 128;
inline constexpr vex_int shallow_depth = 47;

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

// Depth of one slice of the inner dimension.
template <typename P>
[[gnu::always_inline]] constexpr vex_int depth_slice(vex_int k, vex_int ku, vex_int halving_excess) {
  constexpr BlockConstants c = P::blocks;
  if (k <= c.kc_threshold) return larger(round_up(k, ku), kc_floor);
  if (k >= 2 * c.kc) return c.kc;
  return round_up((k + halving_excess) / 2, ku);
}

template <typename P>
[[gnu::always_inline]] inline void set_buffers(BufferRecord* buffers, const StrategyRecord* s, vex_int m,
                                               vex_int n, vex_int kc, vex_int nc_cap) {
  constexpr BlockConstants c = P::blocks;
  const vex_int mc = round_up(smaller(larger(m, s->mr), c.mc_cap), s->mr);
  const vex_int nc = round_up(smaller(larger(n, s->nr), nc_cap), s->nr);
  const vex_int depth = round_up(kc, s->ku);
  *buffers = {s->copy_mode == copy_b_only ? buffer_b_only : buffer_both,
              mc,
              nc,
              kc,
              nullptr,
              nullptr,
              nullptr,
              {nullptr, kc, mc, s->mr * depth, s->ku, s->mr, depth, 8, 128, getPointer_buffer},
              {nullptr, kc, nc, s->nr * depth, s->ku, s->nr, depth, 8, 128, getPointer_buffer},
              768,
              4096,
              1664,
              2097152,
              1,
              {vex_blas_get_bufs, vex_blas_get_size_bufs, vex_blas_free_bufs, vex_blas_get_bufs_pack,
               vex_blas_set_bufs_pack}};
}

// Block sizes of a multiply of m x n by depth k.
template <typename P>
void initialize_buffers(BufferRecord* buffers, const StrategyRecord* s, vex_int m, vex_int n, vex_int k) {
  constexpr BlockConstants c = P::blocks;
  const vex_int nc_cap = k > shallow_depth ? c.nc_cap : c.nc_cap_shallow;
  set_buffers<P>(buffers, s, m, n, depth_slice<P>(k, s->ku, 1), nc_cap);
}

// The same for the triangular operations, which halve a middling depth downwards and let a shallow one keep
// wide column blocks.
template <typename P>
void initialize_triangular_buffers(BufferRecord* buffers, const StrategyRecord* s, vex_int m, vex_int n,
                                   vex_int k) {
  constexpr BlockConstants c = P::blocks;
  const vex_int kc = depth_slice<P>(k, s->ku, 0);
  set_buffers<P>(buffers, s, m, n, kc, k > shallow_depth ? c.nc_cap : kc);
}

}  // namespace vex::blas::engine
