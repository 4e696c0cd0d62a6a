// Products in which one of m, n and k is 1: a matrix and a vector, or two vectors. Nothing is used twice, so
// these read their matrix once, in the order in which it lies in memory. Every element of C sees the
// operations of the packed engine in the same order.
#pragma once

#include "blas/engine/narrow.h"

namespace vex::blas::engine {

// Rows of the result that are worked on together: 16 KB of sums, a third of a small L1.
inline constexpr vex_int vector_piece = 2048;

// r := r + M x, or r := M x. Element (i, p) of M is matrix[i + p * ld] when `columns_contiguous`, else
// matrix[i * ld + p]; r[i * r_step].
struct VectorProduct {
  vex_int length, depth;
  const double* matrix;
  vex_int ld;
  bool columns_contiguous;
  double scale;     // of the matrix, value by value
  const double* x;  // contiguous
  double* r;
  vex_int r_step;
  double beta;  // of r, 0 does not read it
};

// sums[i] += (scale M(i, p)) x[p] for N columns of M.
template <typename P, int N, bool scaled>
[[gnu::always_inline]] inline void accumulate_columns(vex_int rows, const double* m, vex_int ld,
                                                      typename P::Vector scale, const double* x,
                                                      double* sums) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  V value[N];
#pragma GCC unroll 8
  for (int j = 0; j < N; ++j) value[j] = P::broadcast(x + j);
  const auto term = [&](V element, V x_value, V sum) __attribute__((always_inline)) {
    return P::multiply_add(scaled ? P::multiply(element, scale) : element, x_value, sum);
  };
  vex_int i = 0;
  for (; i + 2 * w <= rows; i += 2 * w) {
    V first = P::load(sums + i), second = P::load(sums + i + w);
#pragma GCC unroll 8
    for (int j = 0; j < N; ++j) {
      first = term(P::load(m + j * ld + i), value[j], first);
      second = term(P::load(m + j * ld + i + w), value[j], second);
    }
    P::store(sums + i, first);
    P::store(sums + i + w, second);
  }
  for (; i < rows; i += w) {
    const auto lanes = P::first_lanes(static_cast<int>(smaller(w, rows - i)));
    V sum = P::load(lanes, sums + i);
#pragma GCC unroll 8
    for (int j = 0; j < N; ++j) sum = term(P::load(lanes, m + j * ld + i), value[j], sum);
    P::store(lanes, sums + i, sum);
  }
}

template <typename P, bool scaled>
void sum_columns(const VectorProduct& v, vex_int first, vex_int rows, double* sums) {
  constexpr int group = 8;
  const double* const m = v.matrix + first;
  const typename P::Vector scale = P::splat(v.scale);
  for (vex_int i = 0; i < rows; ++i) sums[i] = 0;
  vex_int p = 0;
  for (; p + group <= v.depth; p += group)
    accumulate_columns<P, group, scaled>(rows, m + p * v.ld, v.ld, scale, v.x + p, sums);
  for (; p < v.depth; ++p) accumulate_columns<P, 1, scaled>(rows, m + p * v.ld, v.ld, scale, v.x + p, sums);
}

template <typename P, bool scaled>
void sum_rows(const VectorProduct& v, vex_int first, vex_int rows, double* sums) {
  constexpr int w = P::width, squares = narrow_squares<P>(1);
  const typename P::Vector scale = P::splat(v.scale);
  for (vex_int i = 0; i < rows; i += squares * w) {
    const auto finish = [&](int row, int, int count, typename P::Vector values)
        __attribute__((always_inline)) {
      if (count == w)
        P::store(sums + i + row, values);
      else
        P::store(P::first_lanes(count), sums + i + row, values);
    };
    dot_tile<P, squares, 1, scaled>(rows - i, v.depth, v.matrix + (first + i) * v.ld, v.ld, scale, v.x,
                                    finish);
  }
}

// One slice of the inner dimension.
template <typename P>
void multiply_vector_slice(const VectorProduct& v) {
  const auto sum = v.columns_contiguous ? (v.scale == 1 ? sum_columns<P, false> : sum_columns<P, true>)
                                        : (v.scale == 1 ? sum_rows<P, false> : sum_rows<P, true>);
  alignas(64) double sums[vector_piece];
  for (vex_int i = 0; i < v.length; i += vector_piece) {
    const vex_int rows = smaller(vector_piece, v.length - i);
    sum(v, i, rows, sums);
    double* const r = v.r + i * v.r_step;
    if (v.beta == 0)
      for (vex_int t = 0; t < rows; ++t) r[t * v.r_step] = sums[t];
    else if (v.beta == 1)
      for (vex_int t = 0; t < rows; ++t) r[t * v.r_step] += sums[t];
    else
      for (vex_int t = 0; t < rows; ++t) r[t * v.r_step] = v.beta * r[t * v.r_step] + sums[t];
  }
}

// What becomes of the old value of C.
enum class Old { ignored, kept, scaled };

// One piece of a column, c := beta c + x value, x contiguous. A product is added to zero first, as in a chain
// of one step; that turns a product of -0 into +0.
template <typename P, Old old>
[[gnu::always_inline]] inline void add_multiple(vex_int rows, const double* x, typename P::Vector value,
                                                typename P::Vector beta, double* c) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  const auto sum = [&](V left, V before) __attribute__((always_inline)) {
    const V product = P::multiply_add(left, value, P::zero());
    if constexpr (old == Old::ignored) return product;
    return P::add(old == Old::kept ? before : P::multiply(before, beta), product);
  };
  vex_int t = 0;
  for (; t + w <= rows; t += w)
    P::store(c + t, sum(P::load(x + t), old == Old::ignored ? P::zero() : P::load(c + t)));
  if (t == rows) return;
  const auto lanes = P::first_lanes(static_cast<int>(rows - t));
  P::store(lanes, c + t, sum(P::load(lanes, x + t), old == Old::ignored ? P::zero() : P::load(lanes, c + t)));
}

// C := beta C + x (alpha y), x m long, in pieces that are gathered when they are strided.
template <typename P, Old old>
void multiply_outer(vex_int m, vex_int n, double alpha, const double* x, vex_int incx, const double* y,
                    vex_int incy, double beta, double* c, vex_int ldc) {
  alignas(64) double gathered[vector_piece];
  for (vex_int i = 0; i < m; i += vector_piece, x += vector_piece * incx) {
    const vex_int rows = smaller(vector_piece, m - i);
    if (incx != 1)
      for (vex_int t = 0; t < rows; ++t) gathered[t] = x[t * incx];
    const double* const left = incx == 1 ? x : gathered;
    for (vex_int j = 0; j < n; ++j)
      add_multiple<P, old>(rows, left, P::splat(alpha * y[j * incy]), P::splat(beta), c + i + j * ldc);
  }
}

// The whole product C := alpha op(A) op(B) + beta C; m, n or k is 1.
template <typename P>
void multiply_vector_shaped(bool a_plain, bool b_plain, vex_int m, vex_int n, vex_int k, double alpha,
                            const double* a, vex_int lda, const double* b, vex_int ldb, double beta,
                            double* c, vex_int ldc) {
  if (m <= 0 || n <= 0) return;
  if (alpha == 0 || k <= 0) return scale_block<P>(m, n, beta, c, ldc);
  if (k == 1) {
    const auto multiply = beta == 0   ? multiply_outer<P, Old::ignored>
                          : beta == 1 ? multiply_outer<P, Old::kept>
                                      : multiply_outer<P, Old::scaled>;
    return multiply(m, n, alpha, a, a_plain ? 1 : lda, b, b_plain ? ldb : 1, beta, c, ldc);
  }
  // B carries alpha, whichever of the two it is; signs move freely.
  const bool column = n == 1;
  const vex_int incx = column ? (b_plain ? 1 : ldb) : (a_plain ? lda : 1);
  const bool sign_only = alpha == 1 || alpha == -1;
  const double x_scale = column || sign_only ? alpha : 1;
  const vex_int kc = depth_slice<P>(k, P::blocks.ku, 1);
  alignas(64) double x[deepest_slice];
  VectorProduct v{column ? m : n,
                  0,
                  nullptr,
                  column ? lda : ldb,
                  column ? a_plain : !b_plain,
                  column || sign_only ? 1 : alpha,
                  x,
                  c,
                  column ? 1 : ldc,
                  beta};
  for (vex_int p = 0; p < k; p += kc, v.beta = 1) {
    v.depth = smaller(kc, k - p);
    v.matrix = (column ? a : b) + (v.columns_contiguous ? p * v.ld : p);
    const double* const from = (column ? b : a) + p * incx;
    for (vex_int q = 0; q < v.depth; ++q) x[q] = x_scale * from[q * incx];
    multiply_vector_slice<P>(v);
  }
}

}  // namespace vex::blas::engine
