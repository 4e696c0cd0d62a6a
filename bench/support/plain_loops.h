// What a loop that does next to nothing with the elements of a vector reaches: the bound of routines that are
// about moving data.
#pragma once

#include <cstddef>

namespace vex::bench {

// Reads the vector.
double plain_sum(std::size_t n, const double* x);
// Reads and writes it: x := -x.
void plain_negate(std::size_t n, double* x);

}  // namespace vex::bench
