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
  static constexpr vex_int chunk_elements = 65536;         // of A, half a megabyte of the second cache
  static constexpr vex_int in_place_elements = 160 * 160;  // largest C that is multiplied without packing
};

}  // namespace vex::blas::avx512
