// Products of a matrix and a vector of one path, and the rank-1 update. Strided vectors pass through a
// contiguous piece on the stack.
#pragma once

#include "blas/engine/multiply.h"
#include "blas/engine/vector_kernels.h"

namespace vex::blas::engine {

// y := y + A (alpha x) on contiguous y, N columns of A at a time; every element of y takes its multiply-adds
// in column order.
template <typename P, int N>
[[gnu::always_inline]] inline void add_columns(vex_int m, const double* a, vex_int lda, const double* x,
                                               double* y) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  V value[N];
#pragma GCC unroll 8
  for (int j = 0; j < N; ++j) value[j] = P::broadcast(x + j);
  vex_int i = 0;
  for (; i + 2 * w <= m; i += 2 * w) {
    V first = P::load(y + i), second = P::load(y + i + w);
#pragma GCC unroll 8
    for (int j = 0; j < N; ++j) {
      first = P::multiply_add(P::load(a + j * lda + i), value[j], first);
      second = P::multiply_add(P::load(a + j * lda + i + w), value[j], second);
    }
    P::store(y + i, first);
    P::store(y + i + w, second);
  }
  for (; i < m; i += w) {
    const auto lanes = P::first_lanes(static_cast<int>(smaller(w, m - i)));
    V sum = P::load(lanes, y + i);
#pragma GCC unroll 8
    for (int j = 0; j < N; ++j) sum = P::multiply_add(P::load(lanes, a + j * lda + i), value[j], sum);
    P::store(lanes, y + i, sum);
  }
}

// The same for a number of columns known only at run time, 1 to N.
template <typename P, int N>
[[gnu::always_inline]] inline void add_up_to_columns(vex_int columns, vex_int m, const double* a, vex_int lda,
                                                     const double* x, double* y) {
  if (columns == N) return add_columns<P, N>(m, a, lda, x, y);
  if constexpr (N > 1) add_up_to_columns<P, N - 1>(columns, m, a, lda, x, y);
}

template <typename P>
void multiply_vector_plain(vex_int m, vex_int n, double alpha, const double* a, vex_int lda, const double* x,
                           vex_int incx, double beta, double* y, vex_int incy) {
  constexpr int group = 8;
  x += first_element(n, incx), y += first_element(m, incy);
  double piece[gather_length];
  for (vex_int i = 0; i < m; i += gather_length) {
    const vex_int rows = smaller(gather_length, m - i);
    double* const target = incy == 1 ? y + i : piece;
    if (incy != 1 && beta != 0) gather<P>(rows, y + i * incy, incy, piece);
    scale_block<P>(rows, 1, beta, target, rows);
    vex_int j = 0;
    double values[group];
    for (; alpha != 0 && j < n; j += group) {
      const vex_int columns = smaller(group, n - j);
      for (vex_int t = 0; t < columns; ++t) values[t] = alpha * x[(j + t) * incx];
      add_up_to_columns<P, group>(columns, rows, a + i + j * lda, lda, values, target);
    }
    if (incy != 1)
      for (vex_int r = 0; r < rows; ++r) y[(i + r) * incy] = piece[r];
  }
}

// sums[j] += A(:, j) . x for N columns; two chains a column whatever N is, so that a column's sum does not
// depend on its neighbours.
template <typename P, int N>
[[gnu::always_inline]] inline void dot_columns(vex_int m, const double* a, vex_int lda, const double* x,
                                               double* sums) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  V even[N], odd[N];
#pragma GCC unroll 8
  for (int j = 0; j < N; ++j) even[j] = odd[j] = P::zero();
  vex_int i = 0;
  for (; i + 2 * w <= m; i += 2 * w) {
    const V x0 = P::load(x + i), x1 = P::load(x + i + w);
#pragma GCC unroll 8
    for (int j = 0; j < N; ++j) {
      even[j] = P::multiply_add(P::load(a + j * lda + i), x0, even[j]);
      odd[j] = P::multiply_add(P::load(a + j * lda + i + w), x1, odd[j]);
    }
  }
  for (; i < m; i += w) {
    const auto lanes = P::first_lanes(static_cast<int>(smaller(w, m - i)));
    const V x0 = P::load(lanes, x + i);
#pragma GCC unroll 8
    for (int j = 0; j < N; ++j) even[j] = P::multiply_add(P::load(lanes, a + j * lda + i), x0, even[j]);
  }
#pragma GCC unroll 8
  for (int j = 0; j < N; ++j) sums[j] += P::sum(P::add(even[j], odd[j]));
}

template <typename P>
void multiply_vector_transposed(vex_int m, vex_int n, double alpha, const double* a, vex_int lda,
                                const double* x, vex_int incx, double beta, double* y, vex_int incy) {
  constexpr int group = P::registers == 32 ? 8 : 4;
  x += first_element(m, incx), y += first_element(n, incy);
  if (beta == 0)
    for (vex_int j = 0; j < n; ++j) y[j * incy] = 0;
  else if (beta != 1)
    for (vex_int j = 0; j < n; ++j) y[j * incy] *= beta;
  if (alpha == 0) return;
  double piece[gather_length];
  for (vex_int i = 0; i < m; i += gather_length) {
    const vex_int rows = smaller(gather_length, m - i);
    if (incx != 1) gather<P>(rows, x + i * incx, incx, piece);
    const double* const source = incx == 1 ? x + i : piece;
    for (vex_int j = 0; j < n; j += group) {
      const vex_int columns = smaller(group, n - j);
      double sums[group] = {};
      if (columns == group)
        dot_columns<P, group>(rows, a + i + j * lda, lda, source, sums);
      else
        for (vex_int t = 0; t < columns; ++t)
          dot_columns<P, 1>(rows, a + i + (j + t) * lda, lda, source, sums + t);
      for (vex_int t = 0; t < columns; ++t) y[(j + t) * incy] += alpha * sums[t];
    }
  }
}

// y := alpha op(A) x + beta y, A m x n as stored.
template <typename P>
void multiply_vector(bool transposed, vex_int m, vex_int n, double alpha, const double* a, vex_int lda,
                     const double* x, vex_int incx, double beta, double* y, vex_int incy) {
  if (m <= 0 || n <= 0) return;
  if (transposed)
    multiply_vector_transposed<P>(m, n, alpha, a, lda, x, incx, beta, y, incy);
  else
    multiply_vector_plain<P>(m, n, alpha, a, lda, x, incx, beta, y, incy);
}

// A := alpha x y' + A.
template <typename P>
void rank_one_update(vex_int m, vex_int n, double alpha, const double* x, vex_int incx, const double* y,
                     vex_int incy, double* a, vex_int lda) {
  if (m <= 0 || n <= 0 || alpha == 0) return;
  x += first_element(m, incx), y += first_element(n, incy);
  double piece[gather_length];
  for (vex_int i = 0; i < m; i += gather_length) {
    const vex_int rows = smaller(gather_length, m - i);
    if (incx != 1) gather<P>(rows, x + i * incx, incx, piece);
    const double* const source = incx == 1 ? x + i : piece;
    for (vex_int j = 0; j < n; ++j) {
      const double value = alpha * y[j * incy];
      add_columns<P, 1>(rows, source, 0, &value, a + i + j * lda);
    }
  }
}

}  // namespace vex::blas::engine
