// Lanes of 128-bit vectors. `Path` keeps the copies of the paths apart and says whether products are fused.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace vex::lapack::small {

template <typename Path>
struct Sse {
  using Vector = __m128d;
  static constexpr int width = 2;

  static Vector load(const double* p) { return _mm_load_pd(p); }
  static void store(double* p, Vector v) { _mm_store_pd(p, v); }
  static Vector broadcast(double x) { return _mm_set1_pd(x); }
  static Vector multiply(Vector a, Vector b) { return _mm_mul_pd(a, b); }
  static Vector divide(Vector a, Vector b) { return _mm_div_pd(a, b); }
  static Vector subtract_product(Vector c, Vector a, Vector b) { return Path::subtract_product(c, a, b); }
  static double subtract_product(double c, double a, double b) {
    return _mm_cvtsd_f64(Path::subtract_product(_mm_set_sd(c), _mm_set_sd(a), _mm_set_sd(b)));
  }

  static Vector read(const double* p, int count) {
    const Vector nan = _mm_set1_pd(__builtin_nan(""));
    if (count >= 2) return _mm_loadu_pd(p);
    return count == 1 ? _mm_loadl_pd(nan, p) : nan;
  }
  static void write(double* p, Vector v, int count) {
    if (count >= 2) return _mm_storeu_pd(p, v);
    if (count == 1) _mm_store_sd(p, v);
  }

  using Mask = Vector;
  static Mask mask(const std::int64_t* p) {
    return _mm_castsi128_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  }
  static Vector select(Mask mask, Vector a, Vector b) {
    return _mm_or_pd(_mm_and_pd(mask, a), _mm_andnot_pd(mask, b));
  }

  // The maximum answers its second operand when the first is NaN, and an excluded lane is made one.
  static Vector magnitudes(Vector x, Vector excluded) {
    return _mm_max_pd(_mm_or_pd(_mm_andnot_pd(_mm_set1_pd(-0.0), x), excluded), _mm_set1_pd(-1.0));
  }
  static Vector larger(Vector a, Vector b) { return _mm_max_pd(a, b); }
  static Vector largest(Vector v) { return _mm_max_pd(v, _mm_shuffle_pd(v, v, 1)); }
  static Mask equal(Vector a, Vector b) { return _mm_cmpeq_pd(a, b); }
  static unsigned equal_lanes(Vector a, Vector b) {
    return static_cast<unsigned>(_mm_movemask_pd(equal(a, b)));
  }

  template <int i>
  static Vector lane(Vector v) {
    return _mm_shuffle_pd(v, v, i == 0 ? 0 : 3);
  }
  template <int i>
  static Vector with_lane(Vector v, Vector x) {
    return i == 0 ? _mm_move_sd(v, x) : _mm_move_sd(x, v);
  }
};

}  // namespace vex::lapack::small
