// What the engine needs to know of this path: vectors of two doubles, block sizes.
#pragma once

#include "blas/engine/constants128.h"
#include "blas/engine/kernel_table.h"
#include "blas/engine/simd128.h"

namespace vex::blas::def {

struct Tag;

struct Path : engine::Simd128<Tag>, engine::Constants128<Tag> {
  static const engine::PathEngine operations;
  // The blocked multiply of this path; see engine/own_multiply.h.
  static void multiply_blocked(const engine::MatrixDescriptor& a, const engine::MatrixDescriptor& b,
                               const engine::MatrixDescriptor& c, double alpha, double beta);
};

}  // namespace vex::blas::def
