// The narrow path: products with few columns and a transposed left operand, cut into stripes of rows.
#pragma once

#include "blas/gemm_product.h"
#include "blas/gemm_threads.h"

namespace vex::blas {

// What a call looks like beyond its letters and n.
struct NarrowOptions {
  bool several_slices;  // k is more than one slice of the inner dimension
  bool short_stripes;   // a thread's rows are fewer than one tile's
  bool scaled;          // alpha is neither 1 nor -1
};

// Whether the narrow kernels take a product on code path `path`. When all three options hold, what a stripe
// costs whatever its height (a scaled copy of B for each slice) weighs most: fifteen columns then lose to the
// packed engine (23 rows, k = 2000: 53 against 58 percent of the peak), two still win (8 rows, k = 1000: 27
// against 12).
bool suits_narrow(int path, const char* trans_a, const char* trans_b, vex_int n,
                  const NarrowOptions& options);

// Whether a product could be one of them on some path.
inline bool may_be_narrow(const char* trans_a, const char* trans_b, vex_int n) {
  return n <= 15 && !engine::is(trans_a, 'N') && engine::is(trans_b, 'N');
}

// 1 when the narrow kernels have done the whole product: on state.maximum threads when state.chosen says that
// threads are worth it at all, otherwise on this one. 0 when the caller must go on.
int use_smalln_kernels(const Product& product, const ThreadState& state);

// The product in `stripes` stripes of `rows` rows of C, the last one the rest, on as many threads of a
// parallel region; a single stripe opens none.
void omp_driver_stripes(const Product& product, vex_int rows, int stripes);

}  // namespace vex::blas
