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
  static constexpr vex_int chunk_elements = 65536;  // of A, half a megabyte of the second cache
  // Tiles of products that are not packed: vectors high, columns wide. Up to three 8 x 6 blocks one below the
  // other share the values of B; four vectors are cut in two pairs, since one alone would starve.
  static constexpr int nocopy_tallest = 3;
  static constexpr int nocopy_widest(int) { return 8; }
  static constexpr vex_int nocopy_height(vex_int vectors) {
    return vectors == 4 ? 2 : vectors > 3 ? 3 : vectors;
  }
  static constexpr vex_int in_place_elements = 160 * 160;  // largest C that is multiplied without packing
};

}  // namespace vex::blas::avx512
