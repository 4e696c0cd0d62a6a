// What the engine needs to know of this path: its vectors, its block sizes.
#pragma once

#include "blas/def/constants.h"
#include "blas/def/simd.h"

namespace vex::blas::def {

struct Path : Simd, Constants {};

}  // namespace vex::blas::def
