// What the engine needs to know of this path: vectors of two doubles, block sizes.
#pragma once

#include "blas/engine/constants128.h"
#include "blas/engine/kernel_table.h"
#include "blas/engine/simd128.h"

namespace vex::blas::mc3 {

struct Tag;

struct Path : engine::Simd128<Tag>, engine::Constants128<Tag> {
  static const engine::PathEngine operations;
};

}  // namespace vex::blas::mc3
