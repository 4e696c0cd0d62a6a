// Vector routines of one path: pivot search, copy, scale, swap, dot product. A negative increment walks its
// vector from the far end, as the standard routines do.
#pragma once

#include "blas/engine/descriptors.h"

namespace vex::blas::engine {

[[gnu::always_inline]] constexpr vex_int first_element(vex_int n, vex_int increment) {
  return increment < 0 ? (1 - n) * increment : 0;
}

// Elements gathered at a time when a strided vector meets a contiguous kernel: 16 KB, a third of a small L1.
inline constexpr vex_int gather_length = 2048;

template <typename P>
void gather(vex_int n, const double* x, vex_int incx, double* packed) {
  for (vex_int i = 0; i < n; ++i) packed[i] = x[i * incx];
}

// The largest magnitude among n contiguous elements, and whether a NaN is among them (then the maximum means
// nothing; it is not looked for when `nan_free`). Magnitudes are added up for that: among them only a NaN
// makes a NaN, and an addition is one operation beside the maximum where comparing takes two.
template <typename P, bool nan_free>
[[gnu::always_inline]] inline double largest_magnitude(vex_int n, const double* x, bool* has_nan) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  V top[4] = {P::zero(), P::zero(), P::zero(), P::zero()};
  V sum[4] = {P::zero(), P::zero(), P::zero(), P::zero()};
  const auto take = [&](int v, V value) __attribute__((always_inline)) {
    value = P::magnitude(value);
    top[v] = P::maximum(top[v], value);
    if (!nan_free) sum[v] = P::add(sum[v], value);
  };
  vex_int i = 0;
  for (; i + 4 * w <= n; i += 4 * w) {
#pragma GCC unroll 4
    for (int v = 0; v < 4; ++v) take(v, P::load(x + i + v * w));
  }
  for (; i < n; i += w) take(0, P::load(P::first_lanes(static_cast<int>(smaller(w, n - i))), x + i));
  *has_nan = P::any_nan(P::note_nan(P::no_nan(), P::add(P::add(sum[0], sum[1]), P::add(sum[2], sum[3]))));
  double lanes[w];
  P::store(lanes, P::maximum(P::maximum(top[0], top[1]), P::maximum(top[2], top[3])));
  double best = lanes[0];
  for (int l = 1; l < w; ++l) best = lanes[l] > best ? lanes[l] : best;
  return best;
}

// The scan that defines the answer: the first of equal magnitudes wins, and the first NaN over all.
template <typename P>
vex_int first_largest(vex_int n, const double* x, vex_int incx) {
  double best = __builtin_fabs(x[0]);
  if (best != best) return 1;
  vex_int index = 1;
  for (vex_int i = 1; i < n; ++i) {
    const double value = __builtin_fabs(x[i * incx]);
    if (value != value) return i + 1;
    if (value > best) best = value, index = i + 1;
  }
  return index;
}

// Where a magnitude that is known to be there stands first among contiguous elements.
template <typename P>
[[gnu::always_inline]] inline vex_int first_of_magnitude(vex_int n, const double* x, double magnitude) {
  constexpr int w = P::width;
  const typename P::Vector wanted = P::splat(magnitude);
  vex_int i = 0;
  while (i + w <= n && !P::any_equal(P::magnitude(P::load(x + i)), wanted)) i += w;
  while (__builtin_fabs(x[i]) != magnitude) ++i;
  return i;
}

// The search among elements of which none is a NaN.
template <typename P>
vex_int index_of_largest_nonan(vex_int n, const double* x, vex_int incx) {
  if (n < 1 || incx < 1) return 0;
  if (incx != 1) return first_largest<P>(n, x, incx);
  bool has_nan;
  return first_of_magnitude<P>(n, x, largest_magnitude<P, true>(n, x, &has_nan)) + 1;
}

// Long contiguous vectors: the maximum of each block decides which block holds the answer, and only that
// block, then known to be free of NaNs (or the first one with a NaN), is searched.
template <typename P, auto nan_free_search>
vex_int index_of_largest(vex_int n, const double* x, vex_int incx) {
  constexpr vex_int block =
      1024;  // 512: 50 instead of 70 GB/s at 1000 elements, no gain beyond the first cache
  if (n < 1 || incx < 1) return 0;
  if (n == 1) return 1;
  if (incx != 1 || n < 2 * P::width) return first_largest<P>(n, x, incx);
  double best = -1;
  vex_int best_start = 0;
  for (vex_int start = 0; start < n; start += block) {
    const vex_int count = smaller(block, n - start);
    bool has_nan;
    const double top = largest_magnitude<P, false>(count, x + start, &has_nan);
    if (has_nan) {
      vex_int i = start;
      while (x[i] == x[i]) ++i;
      return i + 1;
    }
    if (top > best) best = top, best_start = start;
  }
  if (n <= block) return first_of_magnitude<P>(n, x, best) + 1;
  const vex_int count = smaller(block, n - best_start), one = 1;
  return best_start + nan_free_search(&count, x + best_start, &one);
}

template <typename P>
void copy_vector(vex_int n, const double* x, vex_int incx, double* y, vex_int incy) {
  if (n <= 0) return;
  constexpr int w = P::width;
  if (incx == 1 && incy == 1) {
    vex_int i = 0;
    for (; i + w <= n; i += w) P::store(y + i, P::load(x + i));
    for (; i < n; ++i) y[i] = x[i];
    return;
  }
  x += first_element(n, incx), y += first_element(n, incy);
  for (vex_int i = 0; i < n; ++i) y[i * incy] = x[i * incx];
}

template <typename P>
void scale_vector(vex_int n, double alpha, double* x, vex_int incx) {
  if (n <= 0 || incx <= 0) return;
  constexpr int w = P::width;
  vex_int i = 0;
  if (incx == 1) {
    const typename P::Vector factor = P::splat(alpha);
    // The loop's own steps were the bound in the first caches: 60 % of their rate without the unrolling. A
    // swap, with two stores a step, gains nothing from it.
#pragma GCC unroll 4
    for (; i + w <= n; i += w) P::store(x + i, P::multiply(P::load(x + i), factor));
  }
  for (; i < n; ++i) x[i * incx] *= alpha;
}

template <typename P>
void swap_vectors(vex_int n, double* x, vex_int incx, double* y, vex_int incy) {
  if (n <= 0) return;
  constexpr int w = P::width;
  vex_int i = 0;
  if (incx == 1 && incy == 1) {
    for (; i + w <= n; i += w) {
      const typename P::Vector value = P::load(x + i);
      P::store(x + i, P::load(y + i));
      P::store(y + i, value);
    }
  }
  x += first_element(n, incx), y += first_element(n, incy);
  for (; i < n; ++i) {
    const double value = x[i * incx];
    x[i * incx] = y[i * incy];
    y[i * incy] = value;
  }
}

// Contiguous dot product: four chains, and the rest in the first of them.
template <typename P>
[[gnu::always_inline]] inline double dot_contiguous(vex_int n, const double* x, const double* y) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  V sum[4] = {P::zero(), P::zero(), P::zero(), P::zero()};
  vex_int i = 0;
  for (; i + 4 * w <= n; i += 4 * w) {
#pragma GCC unroll 4
    for (int v = 0; v < 4; ++v)
      sum[v] = P::multiply_add(P::load(x + i + v * w), P::load(y + i + v * w), sum[v]);
  }
  for (; i < n; i += w) {
    const auto lanes = P::first_lanes(static_cast<int>(smaller(w, n - i)));
    sum[0] = P::multiply_add(P::load(lanes, x + i), P::load(lanes, y + i), sum[0]);
  }
  return P::sum(P::add(P::add(sum[0], sum[1]), P::add(sum[2], sum[3])));
}

template <typename P>
double dot(vex_int n, const double* x, vex_int incx, const double* y, vex_int incy) {
  if (n <= 0) return 0;
  if (incx == 1 && incy == 1) return dot_contiguous<P>(n, x, y);
  x += first_element(n, incx), y += first_element(n, incy);
  double sums[4] = {};
  vex_int i = 0;
  for (; i + 4 <= n; i += 4)
    for (int v = 0; v < 4; ++v) sums[v] += x[(i + v) * incx] * y[(i + v) * incy];
  for (; i < n; ++i) sums[0] += x[i * incx] * y[i * incy];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace vex::blas::engine
