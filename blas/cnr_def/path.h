// What the engine needs to know of this path: its vectors, its block sizes.
#pragma once

#include "blas/cnr_def/constants.h"
#include "blas/cnr_def/simd.h"

namespace vex::blas::cnr_def {

struct Path : Simd, Constants {};

}  // namespace vex::blas::cnr_def
