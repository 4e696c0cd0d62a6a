// The vectors of this path: four doubles, fused multiply-add.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace vex::blas::avx2 {

struct Simd {
  using Vector = __m256d;
  struct Mask {
    __m256i lanes;
    int count;
  };
  using NanFlags = __m256d;
  static constexpr int width = 4;
  static constexpr int registers = 16;

  [[gnu::always_inline]] static Vector zero() { return _mm256_setzero_pd(); }
  [[gnu::always_inline]] static Vector splat(double x) { return _mm256_set1_pd(x); }
  [[gnu::always_inline]] static Vector broadcast(const double* p) { return _mm256_broadcast_sd(p); }
  [[gnu::always_inline]] static Vector load(const double* p) { return _mm256_loadu_pd(p); }
  [[gnu::always_inline]] static void store(double* p, Vector v) { _mm256_storeu_pd(p, v); }

  // Lanes 0 to count - 1; masked lanes load as zero and are not written.
  [[gnu::always_inline]] static Mask first_lanes(int count) {
    return {_mm256_cmpgt_epi64(_mm256_set1_epi64x(count), _mm256_setr_epi64x(0, 1, 2, 3)), count};
  }
  [[gnu::always_inline]] static Vector load(Mask mask, const double* p) {
    return _mm256_maskload_pd(p, mask.lanes);
  }
  // By halves: a masked store takes some processors 20 cycles.
  [[gnu::always_inline]] static void store(Mask mask, double* p, Vector v) {
    if (mask.count > 3) return store(p, v);
    __m128d rest = _mm256_castpd256_pd128(v);
    if (mask.count > 1) {
      _mm_storeu_pd(p, rest);
      rest = _mm256_extractf128_pd(v, 1);
    }
    if (mask.count & 1) _mm_store_sd(p + (mask.count & 2), rest);
  }

  [[gnu::always_inline]] static Vector add(Vector a, Vector b) { return _mm256_add_pd(a, b); }
  [[gnu::always_inline]] static Vector multiply(Vector a, Vector b) { return _mm256_mul_pd(a, b); }
  [[gnu::always_inline]] static Vector divide(Vector a, Vector b) { return _mm256_div_pd(a, b); }
  // a * b + c and c - a * b, rounded once.
  [[gnu::always_inline]] static Vector multiply_add(Vector a, Vector b, Vector c) {
    return _mm256_fmadd_pd(a, b, c);
  }
  [[gnu::always_inline]] static Vector subtract_product(Vector a, Vector b, Vector c) {
    return _mm256_fnmadd_pd(a, b, c);
  }
  [[gnu::always_inline]] static double sum(Vector v) {
    const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
    return _mm_cvtsd_f64(_mm_add_sd(half, _mm_unpackhi_pd(half, half)));
  }

  // Magnitudes, their maximum, and a memory of the NaNs met on the way.
  [[gnu::always_inline]] static Vector magnitude(Vector v) {
    return _mm256_andnot_pd(_mm256_set1_pd(-0.0), v);
  }
  [[gnu::always_inline]] static Vector maximum(Vector a, Vector b) { return _mm256_max_pd(a, b); }
  [[gnu::always_inline]] static NanFlags no_nan() { return _mm256_setzero_pd(); }
  [[gnu::always_inline]] static NanFlags note_nan(NanFlags flags, Vector v) {
    return _mm256_or_pd(flags, _mm256_cmp_pd(v, v, _CMP_UNORD_Q));
  }
  [[gnu::always_inline]] static bool any_equal(Vector a, Vector b) {
    return _mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_EQ_OQ)) != 0;
  }
  [[gnu::always_inline]] static bool any_nan(NanFlags flags) { return _mm256_movemask_pd(flags) != 0; }

  [[gnu::always_inline]] static void transpose(Vector (&r)[width]) {
    const Vector a = _mm256_unpacklo_pd(r[0], r[1]), b = _mm256_unpackhi_pd(r[0], r[1]);
    const Vector c = _mm256_unpacklo_pd(r[2], r[3]), d = _mm256_unpackhi_pd(r[2], r[3]);
    r[0] = _mm256_permute2f128_pd(a, c, 0x20);
    r[1] = _mm256_permute2f128_pd(b, d, 0x20);
    r[2] = _mm256_permute2f128_pd(a, c, 0x31);
    r[3] = _mm256_permute2f128_pd(b, d, 0x31);
  }
  [[gnu::always_inline]] static void prefetch(const double* p) {
    _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_T0);
  }
};

}  // namespace vex::blas::avx2
