// The kernels that verify a solution.
#include "driver/verification.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace vex::driver {
namespace {

constexpr std::int64_t vector_block = 64;  // rows a block of mxpy_ and normi_ has
constexpr std::int64_t matrix_block = 8;   // rows a block of norm1_ has

std::int64_t block_count(std::int64_t rows, std::int64_t block) {
  return rows / block + (rows % block >= 1);
}

int team_size(std::int64_t blocks) {
  return static_cast<int>(std::max<std::int64_t>(1, std::min<std::int64_t>(blocks, omp_get_max_threads())));
}

// A maximum that does not lose a NaN: comparisons ignore it, so it is remembered beside them.
struct Maximum {
  double value = -std::numeric_limits<double>::infinity();
  bool nan = false;

  void include(double magnitude) {
    if (magnitude > value) value = magnitude;
    nan |= std::isnan(magnitude);
  }
};

// y -= A x in a block of at most vector_block rows from `first` on, column by column as a serial loop would.
void subtract_product(std::int64_t first, std::int64_t rows, std::int64_t n, const double* a,
                      std::int64_t lda, const double* x, double* y) {
  double block[vector_block];
  std::copy_n(y + first, rows, block);
  for (std::int64_t j = 0; j < n; ++j) {
    const double* column = a + first + j * lda;
    const double factor = x[j];
    for (std::int64_t i = 0; i < rows; ++i) block[i] -= column[i] * factor;
  }
  std::copy_n(block, rows, y + first);
}

Maximum largest_entry(std::int64_t rows, const double* v) {
  Maximum maximum;
  for (std::int64_t i = 0; i < rows; ++i) maximum.include(std::fabs(v[i]));
  return maximum;
}

// In a block of at most matrix_block rows from `first` on, whose sums all advance with the same column.
Maximum largest_row_sum(std::int64_t first, std::int64_t rows, std::int64_t n, const double* a,
                        std::int64_t lda) {
  double sums[matrix_block] = {};
  for (std::int64_t j = 0; j < n; ++j) {
    const double* column = a + first + j * lda;
    for (std::int64_t i = 0; i < rows; ++i) sums[i] += std::fabs(column[i]);
  }
  Maximum maximum;
  for (std::int64_t i = 0; i < rows; ++i) maximum.include(sums[i]);
  return maximum;
}

// The maximum of block_maximum(first row, rows) over all blocks, and of 0.
template <class BlockMaximum>
double maximum_over_blocks(std::int64_t m, std::int64_t block, const BlockMaximum& block_maximum) {
  const std::int64_t blocks = block_count(m, block);
  double result = 0.0;
  bool nan = false;
#pragma omp parallel for num_threads(team_size(blocks)) schedule(static) reduction(max       \
                                                                                   : result) \
    reduction(||                                                                             \
              : nan)
  for (std::int64_t k = 0; k < blocks; ++k) {
    const std::int64_t first = k * block;
    const Maximum maximum = block_maximum(first, std::min(block, m - first));
    result = std::max(result, maximum.value);
    nan = nan || maximum.nan;
  }
  return nan ? std::numeric_limits<double>::quiet_NaN() : result;
}

}  // namespace
}  // namespace vex::driver

void mxpy_(const std::int32_t* m, const std::int32_t* n, const double* a, const std::int32_t* lda,
           const double* x, double* y) {
  using namespace vex::driver;
  const std::int64_t rows = *m, columns = *n, stride = *lda, blocks = block_count(rows, vector_block);
#pragma omp parallel for num_threads(team_size(blocks)) schedule(static)
  for (std::int64_t k = 0; k < blocks; ++k) {
    const std::int64_t first = k * vector_block;
    subtract_product(first, std::min(vector_block, rows - first), columns, a, stride, x, y);
  }
}

double normi_(const std::int32_t* m, const std::int32_t*, const double* v, const std::int32_t*) {
  using namespace vex::driver;
  return maximum_over_blocks(*m, vector_block, [v](std::int64_t first, std::int64_t rows) {
    return largest_entry(rows, v + first);
  });
}

double norm1_(const std::int32_t* m, const std::int32_t* n, const double* a, const std::int32_t* lda) {
  using namespace vex::driver;
  const std::int64_t columns = *n, stride = *lda;
  return maximum_over_blocks(*m, matrix_block, [=](std::int64_t first, std::int64_t rows) {
    return largest_row_sum(first, rows, columns, a, stride);
  });
}
