// Vector-shaped products on threads: the longer dimension of C is cut. They read every value once, so what
// threads add is memory bandwidth.
#include "blas/vector_shaped.h"

#include <omp.h>

#include "blas/gemm_paths.h"
#include "blas/gemm_threads.h"
#include "blas/named_entries.h"
#include "service/thread_count.h"

namespace vex::blas {

namespace {

// Elements that a thread must bring in to be worth starting: 128 KB at ten gigabytes a second are as long as
// the start of a region takes.
constexpr double elements_per_thread = 16384;

int threads_for(const Product& p) {
  const double elements =
      static_cast<double>(p.m) * (static_cast<double>(p.n) * static_cast<double>(p.k > 0 ? p.k : 1));
  if (elements < 2 * elements_per_thread || must_stay_on_this_thread()) return 1;
  const int maximum = vex_serv_domain_get_max_threads(1);
  return elements < maximum * elements_per_thread ? static_cast<int>(elements / elements_per_thread)
                                                  : maximum;
}

void run_part(void* arguments, vex_int row, vex_int column, vex_int rows, vex_int columns) {
  run_sequential_vector_shaped(static_cast<const Product*>(arguments)->block(row, column, rows, columns));
}

}  // namespace

void run_vector_shaped(const Product& product) {
  const int parts = threads_for(product);
  if (parts < 2) return run_sequential_vector_shaped(product);
  Product p = product;
  const int direction = p.n > p.m ? 1 : 0;
  // Parts of a vector start at whole cache lines of it where they can.
#pragma omp parallel num_threads(parts)
  for (int part = omp_get_thread_num(); part < parts; part += omp_get_num_threads())
    partition_1d({p.m, p.n, run_part}, {part, parts, direction, ShareMode::granular, 8}, &p);
}

}  // namespace vex::blas

using namespace vex::blas;

extern "C" {

void vex_blas_dgemmger(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                       const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                       const double* b, const vex_int* ldb, const double* beta, double* c, const vex_int* ldc,
                       vex_int, vex_int) {
  if (*m > 0 && *n > 0)
    run_vector_shaped({*trans_a, *trans_b, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc});
}
}
