// What the engine needs to know of this path: its vectors, its block sizes.
#pragma once

#include "blas/def/constants.h"
#include "blas/def/simd.h"
#include "blas/engine/kernel_table.h"

namespace vex::blas::def {

struct Path : Simd, Constants {
  static const engine::PathEngine operations;
};

}  // namespace vex::blas::def
