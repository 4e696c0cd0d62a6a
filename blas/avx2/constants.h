// Block sizes of this path: sixteen registers of four doubles, twelve of them for a 12 x 4 tile.
#pragma once

#include "blas/engine/strategy.h"

namespace vex::blas::avx2 {

struct Constants {
  static constexpr engine::BlockConstants blocks{.mr = 12,
                                                 .nr = 4,
                                                 .ku = 1,
                                                 .fourth_block = 16,
                                                 .nocopy_mr = 8,
                                                 .nocopy_nr = 6,
                                                 .kc = 192,
                                                 .kc_threshold = 256,
                                                 .mc_cap = 5000,
                                                 .nc_cap = 192,
                                                 .nc_cap_shallow = 24};
  // Of A, 160 KiB: with the packed block of B and the lines of C that pass, it stays in a second cache of 1
  // MiB. Half a megabyte lost 2 to 5 % at depths of 48 to 192; chunks of one or two panels lost as much at 48
  // and 96.
  static constexpr vex_int chunk_elements = 20000;
  // Tiles of products that are not packed: vectors high, columns wide. 8 x 6 is the rule; an odd number of
  // vectors ends with 12 x 4, since one vector alone leaves the multipliers waiting for their own results.
  static constexpr int nocopy_tallest = 3;
  static constexpr int nocopy_widest(int vectors) { return vectors == 1 ? 8 : vectors == 2 ? 6 : 4; }
  static constexpr vex_int nocopy_height(vex_int vectors) { return vectors == 3 ? 3 : vectors > 1 ? 2 : 1; }
  // At 72 both ways are even (0.98 to 1.03), at 48 in place gains 2 to 9 %, at 100 it loses up to 12 % with
  // large leading dimensions. Narrow: 1000 x 12 is even or gains, 1000 x 24 loses 5 to 13 %, 16 x 1000 gains
  // 4 to 32 %.
  static constexpr engine::InPlaceLimits in_place{
      .side = 72, .turned_side = 56, .shallow_depth = 4, .shallow_side = 40, .tall = 11, .wide = 16};
  // Much the same gains as with AVX-512 where C fits the caches, but 20000 x 104 x 96 loses 10 %, and columns
  // a multiple of a page apart half the speed from 24 columns on. The factorization of 20000 x 200
  // takes 33.6, 34.9 and 38.4 GFlops with 192, 96 and 48 columns at most.
  static constexpr engine::StreamedLimits streamed{.rows = 192,
                                                   .depth = 128,
                                                   .columns = 48,
                                                   .aliased_columns = 8,
                                                   .shallow_depth = 12,
                                                   .shallow_columns = 24,
                                                   .few_columns = 2,
                                                   .few_columns_depth = 64};
  static constexpr vex_int solve_block = 192;  // order of the diagonal blocks of a triangular solve
};

}  // namespace vex::blas::avx2
