// How many threads the vector routines take.
#pragma once

#include "service/types.h"

namespace vex::blas {

// `maximum` is the count the caller may use.
int copy_threads(vex_int n, vex_int incy, int maximum);
// Also asks which processor and reproducibility branch is in force.
int ger_threads(vex_int n, int maximum);

}  // namespace vex::blas
