// What the engine needs to know of this path: its vectors, its block sizes, its own kernels.
#pragma once

#include "blas/avx512/constants.h"
#include "blas/avx512/simd.h"
#include "blas/avx512/tile_24x8.h"
#include "blas/engine/in_place.h"
#include "blas/engine/kernel_table.h"

namespace vex::blas::avx512 {

struct Path : Simd, Constants, OwnTile {
  static const engine::PathEngine operations;
  static const engine::NocopyKernels nocopy;
  static const engine::FixedKernels fixed_kernels;
};

}  // namespace vex::blas::avx512
