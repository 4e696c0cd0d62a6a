// The size decisions of the sequential factorizations, as the standard environment enquiry answers them.
#pragma once

#include "service/types.h"

namespace vex::lapack {

// Width of the blocks in which an m x n matrix or panel is factored by one thread on this machine.
vex_int panel_width(vex_int m, vex_int n);

// Non-zero for shapes too small or too thin for anything but the sequential recursive factorization.
vex_int crossover(vex_int m, vex_int n);

// Block width of the sequential factorization of n columns on a code path.
vex_int sequential_width(int code_path, vex_int n);

}  // namespace vex::lapack
