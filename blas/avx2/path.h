// What the engine needs to know of this path: its vectors, its block sizes, its own kernels.
#pragma once

#include "blas/avx2/constants.h"
#include "blas/avx2/simd.h"
#include "blas/avx2/tile_12x4.h"
#include "blas/engine/in_place.h"
#include "blas/engine/kernel_table.h"

namespace vex::blas::avx2 {

struct Path : Simd, Constants, OwnTile {
  static const engine::PathEngine operations;
  static const engine::NocopyKernels nocopy;
  static const engine::FixedKernels fixed_kernels;
};

}  // namespace vex::blas::avx2
