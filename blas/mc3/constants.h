// Block sizes of this path: sixteen registers of two doubles hold a 4 x 4 tile and its operands.
#pragma once

#include "blas/engine/strategy.h"

namespace vex::blas::mc3 {

struct Constants {
  static constexpr engine::BlockConstants blocks{.mr = 4,
                                                 .nr = 4,
                                                 .ku = 1,
                                                 .fourth_block = 8,
                                                 .nocopy_mr = 4,
                                                 .nocopy_nr = 4,
                                                 .kc = 256,
                                                 .kc_threshold = 384,
                                                 .mc_cap = 2000,
                                                 .nc_cap = 192,
                                                 .nc_cap_shallow = 24};
  static constexpr vex_int chunk_elements = 65536;         // of A, half a megabyte of the second cache
  static constexpr vex_int in_place_elements = 160 * 160;  // largest C that is multiplied without packing
  static constexpr vex_int solve_block = 128;  // order of the diagonal blocks of a triangular solve
};

}  // namespace vex::blas::mc3
