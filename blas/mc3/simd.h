// The vectors of this path: two doubles.
#pragma once

#include "blas/engine/simd128.h"

namespace vex::blas::mc3 {

struct Tag;
using Simd = engine::Simd128<Tag>;

}  // namespace vex::blas::mc3
