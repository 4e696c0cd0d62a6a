// Block sizes of the paths with sixteen registers of two doubles and no fused multiply-add: an 8 x 2 tile
// takes eight registers, its products and B the others. One table for them all, since their instructions, and
// so their best sizes, are the same; the tag puts the path into the names of what the linker keeps.
#pragma once

#include "blas/engine/strategy.h"

namespace vex::blas::engine {

template <typename PathTag>
struct Constants128 {
  static constexpr BlockConstants blocks{.mr = 8,
                                         .nr = 2,
                                         .ku = 1,
                                         .fourth_block = 8,
                                         .nocopy_mr = 8,
                                         .nocopy_nr = 2,
                                         .kc = 256,
                                         .kc_threshold = 384,
                                         .mc_cap = 2000,
                                         .nc_cap = 192,
                                         .nc_cap_shallow = 24};
  static constexpr vex_int chunk_elements = 65536;  // of A, half a megabyte of the second cache
  // Compiled tiles reach 60 % of the peak; the packed kernel passes them at 16 x 16 x 16 already (16 against
  // 12 GF) and has half as much again at 48 and above.
  static constexpr InPlaceLimits in_place{
      .side = 12, .turned_side = 12, .shallow_depth = 0, .shallow_side = 0, .tall = 2, .wide = 6};
  // Tiles of products that are not packed: vectors high, columns wide.
  static constexpr int nocopy_tallest = 2;
  static constexpr int nocopy_widest(int) { return 4; }
  static constexpr vex_int nocopy_height(vex_int vectors) { return vectors > 1 ? 2 : 1; }
};

}  // namespace vex::blas::engine
