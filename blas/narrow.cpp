// See narrow.h.
#include "blas/narrow.h"

#include <omp.h>

#include <algorithm>

#include "blas/dispatch.h"
#include "blas/paths.h"

namespace vex::blas {

namespace {

// The rule below sends nothing here from other paths.
constinit Dispatched<DgemmFunction> path_narrow{nullptr, nullptr, nullptr, nullptr,
                                                vex_blas_avx512_dgemm_narrow};

constexpr vex_int single_slice = 384, tile_rows = 24;  // of path 7

void run_narrow(const Product& p) {
  path_narrow.get()(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb, &p.beta,
                    p.c, &p.ldc, 1, 1);
}

}  // namespace

bool suits_narrow(int path, const char* trans_a, const char* trans_b, vex_int n,
                  const NarrowOptions& options) {
  if (!may_be_narrow(trans_a, trans_b, n)) return false;
  const bool two_or_three = n == 2 || n == 3;
  if (path == 6) return two_or_three;
  if (path != 7) return false;
  return two_or_three || !(options.several_slices && options.short_stripes && options.scaled);
}

int use_smalln_kernels(const Product& p, const ThreadState& state) {
  if (!may_be_narrow(&p.trans_a, &p.trans_b, p.n)) return 0;
  const vex_int threads = state.chosen < 2 ? 1 : state.maximum;
  const vex_int rows = (p.m + threads - 1) / threads;
  const NarrowOptions options{p.k > single_slice, rows < tile_rows, p.alpha != 1 && p.alpha != -1};
  if (!suits_narrow(state.path, &p.trans_a, &p.trans_b, p.n, options)) return 0;
  omp_driver_stripes(p, rows, static_cast<int>((p.m + rows - 1) / rows));
  return 1;
}

void omp_driver_stripes(const Product& product, vex_int rows, int stripes) {
  if (stripes < 2) return run_narrow(product);
#pragma omp parallel num_threads(stripes)
  for (vex_int s = omp_get_thread_num(); s < stripes; s += omp_get_num_threads())
    run_narrow(product.block(s * rows, 0, std::min(rows, product.m - s * rows), product.n));
}

}  // namespace vex::blas
