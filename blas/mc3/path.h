// What the engine needs to know of this path: its vectors, its block sizes.
#pragma once

#include "blas/engine/kernel_table.h"
#include "blas/mc3/constants.h"
#include "blas/mc3/simd.h"

namespace vex::blas::mc3 {

struct Path : Simd, Constants {
  static const engine::PathEngine operations;
};

}  // namespace vex::blas::mc3
