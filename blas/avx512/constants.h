// Block sizes of this path: thirty-two registers of eight doubles, twenty-four of them for a 24 x 8 tile.
#pragma once

#include "blas/engine/strategy.h"

namespace vex::blas::avx512 {

struct Constants {
  static constexpr engine::BlockConstants blocks{.mr = 24,
                                                 .nr = 8,
                                                 .ku = 1,
                                                 .fourth_block = 24,
                                                 .nocopy_mr = 8,
                                                 .nocopy_nr = 6,
                                                 .kc = 384,
                                                 .kc_threshold = 384,
                                                 .mc_cap = 4992,
                                                 .nc_cap = 192,
                                                 .nc_cap_shallow = 24};
  // Of A, 256 KiB: the next chunk, which is fetched meanwhile, the packed block of B and the lines of C that
  // pass share the second cache of 1 MiB with it. Half a megabyte lost 1 to 3 %, three quarters 3 to 5.
  static constexpr vex_int chunk_elements = 32768;
  // Tiles of products that are not packed: vectors high, columns wide. Three vectors one below the other
  // share the values of B; four are cut in two pairs, since one alone would starve.
  static constexpr int nocopy_tallest = 3;
  static constexpr int nocopy_widest(int) { return 8; }
  static constexpr vex_int nocopy_height(vex_int vectors) {
    return vectors == 4 ? 2 : vectors > 3 ? 3 : vectors;
  }
  // The tall tiles that 32 registers hold stay ahead of packing up to 256, by 2 %; at 100 it is 3 to 17 %,
  // for depths to 16 from 64 on nothing. Narrow: these are for a transposed A, which is not streamed.
  static constexpr engine::InPlaceLimits in_place{
      .side = 160, .turned_side = 160, .shallow_depth = 31, .shallow_side = 64, .tall = 11, .wide = 24};
  // Against packing and tiles without prefetching, m 200 to 4000: up to 96 columns 0 to 40 % ahead for all
  // depths, 35 % at 12 columns; 20000 x 24 x 24 25 %, 100000 x 8 x 16 four times as fast. Not tried beyond.
  static constexpr engine::StreamedLimits streamed{.rows = 192,
                                                   .depth = 128,
                                                   .columns = 192,
                                                   .aliased_columns = 192,
                                                   .shallow_depth = 12,
                                                   .shallow_columns = 24,
                                                   .few_columns = 2,
                                                   .few_columns_depth = 64};
  static constexpr vex_int solve_block = 192;  // order of the diagonal blocks of a triangular solve
};

}  // namespace vex::blas::avx512
