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
  static constexpr vex_int chunk_elements = 65536;         // of A, half a megabyte of the second cache
  static constexpr vex_int in_place_elements = 160 * 160;  // largest C that is multiplied without packing
  static constexpr vex_int solve_block = 192;  // order of the diagonal blocks of a triangular solve
};

}  // namespace vex::blas::avx2
