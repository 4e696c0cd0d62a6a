// Products in which one of m, n and k is 1.
#pragma once

#include "blas/gemm_product.h"

namespace vex::blas {

// On as many threads as the work deserves.
void run_vector_shaped(const Product& product);

}  // namespace vex::blas
