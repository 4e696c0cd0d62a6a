// The dispatchers of the multiply that only the front end calls, by value. The named ones stand in
// named_entries.h.
#pragma once

#include "blas/gemm_product.h"

namespace vex::blas {

// The path's own way to share a multiply among `threads` threads: 1 when it has done the product, 0 when it
// has none and the drivers are to go on.
int run_path_parallel(const Product& product, int threads);

// A product with m, n or k equal to 1, on the calling thread.
void run_sequential_vector_shaped(const Product& product);

}  // namespace vex::blas
