// Two doubles in an SSE register, multiply and add separate. The tag is a type of the code path that includes
// this, so that whatever the linker keeps carries the path in its name.
#pragma once

#include <pmmintrin.h>

#include <cstdint>

namespace vex::blas::engine {

template <typename PathTag>
struct Simd128 {
  using Vector = __m128d;
  using Mask = int;  // how many lanes, 1 or 2
  using NanFlags = __m128d;
  static constexpr int width = 2;
  static constexpr int registers = 16;

  [[gnu::always_inline]] static Vector zero() { return _mm_setzero_pd(); }
  [[gnu::always_inline]] static Vector splat(double x) { return _mm_set1_pd(x); }
  [[gnu::always_inline]] static Vector broadcast(const double* p) { return _mm_loaddup_pd(p); }
  [[gnu::always_inline]] static Vector load(const double* p) { return _mm_loadu_pd(p); }
  [[gnu::always_inline]] static void store(double* p, Vector v) { _mm_storeu_pd(p, v); }

  [[gnu::always_inline]] static Mask first_lanes(int count) { return count; }
  [[gnu::always_inline]] static Vector load(Mask lanes, const double* p) {
    return lanes == 2 ? _mm_loadu_pd(p) : _mm_load_sd(p);
  }
  [[gnu::always_inline]] static void store(Mask lanes, double* p, Vector v) {
    if (lanes == 2)
      _mm_storeu_pd(p, v);
    else
      _mm_store_sd(p, v);
  }

  [[gnu::always_inline]] static Vector add(Vector a, Vector b) { return _mm_add_pd(a, b); }
  [[gnu::always_inline]] static Vector multiply(Vector a, Vector b) { return _mm_mul_pd(a, b); }
  // a * b + c and c - a * b, rounded twice on this path.
  [[gnu::always_inline]] static Vector multiply_add(Vector a, Vector b, Vector c) {
    return _mm_add_pd(c, _mm_mul_pd(a, b));
  }
  [[gnu::always_inline]] static Vector subtract_product(Vector a, Vector b, Vector c) {
    return _mm_sub_pd(c, _mm_mul_pd(a, b));
  }
  // Sum of the lanes, in lane order.
  [[gnu::always_inline]] static double sum(Vector v) {
    return _mm_cvtsd_f64(_mm_add_sd(v, _mm_unpackhi_pd(v, v)));
  }

  // Magnitudes, their maximum, and a memory of the NaNs met on the way.
  [[gnu::always_inline]] static Vector magnitude(Vector v) { return _mm_andnot_pd(_mm_set1_pd(-0.0), v); }
  [[gnu::always_inline]] static Vector maximum(Vector a, Vector b) { return _mm_max_pd(a, b); }
  [[gnu::always_inline]] static NanFlags no_nan() { return _mm_setzero_pd(); }
  [[gnu::always_inline]] static NanFlags note_nan(NanFlags flags, Vector v) {
    return _mm_or_pd(flags, _mm_cmpunord_pd(v, v));
  }
  [[gnu::always_inline]] static bool any_equal(Vector a, Vector b) {
    return _mm_movemask_pd(_mm_cmpeq_pd(a, b)) != 0;
  }
  [[gnu::always_inline]] static bool any_nan(NanFlags flags) { return _mm_movemask_pd(flags) != 0; }

  [[gnu::always_inline]] static void transpose(Vector (&r)[width]) {
    const Vector low = _mm_unpacklo_pd(r[0], r[1]);
    r[1] = _mm_unpackhi_pd(r[0], r[1]);
    r[0] = low;
  }
  [[gnu::always_inline]] static void prefetch(const double* p) {
    _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_T0);
  }
};

}  // namespace vex::blas::engine
