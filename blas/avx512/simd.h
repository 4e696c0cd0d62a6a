// The vectors of this path: eight doubles, fused multiply-add, lane masks.
#pragma once

// g++ 12 reports its own deliberately undefined pass-through operands (its bug 105593).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#include <cstdint>

namespace vex::blas::avx512 {

struct Simd {
  using Vector = __m512d;
  struct Mask {
    __mmask8 lanes;
    int count;
  };
  using NanFlags = __mmask8;
  static constexpr int width = 8;
  static constexpr int registers = 32;

  [[gnu::always_inline]] static Vector zero() { return _mm512_setzero_pd(); }
  [[gnu::always_inline]] static Vector splat(double x) { return _mm512_set1_pd(x); }
  [[gnu::always_inline]] static Vector broadcast(const double* p) { return _mm512_set1_pd(*p); }
  [[gnu::always_inline]] static Vector load(const double* p) { return _mm512_loadu_pd(p); }
  [[gnu::always_inline]] static void store(double* p, Vector v) { _mm512_storeu_pd(p, v); }

  // Lanes 0 to count - 1; masked lanes load as zero and are not written.
  [[gnu::always_inline]] static Mask first_lanes(int count) {
    return {static_cast<__mmask8>((1u << count) - 1), count};
  }
  [[gnu::always_inline]] static Vector load(Mask mask, const double* p) {
    return _mm512_maskz_loadu_pd(mask.lanes, p);
  }
  [[gnu::always_inline]] static void store(Mask mask, double* p, Vector v) {
    if (mask.count > 7) return store(p, v);
    __m256d half = _mm512_castpd512_pd256(v);
    if (mask.count > 3) {
      _mm256_storeu_pd(p, half);
      half = _mm512_extractf64x4_pd(v, 1);
      p += 4;
    }
    __m128d rest = _mm256_castpd256_pd128(half);
    if (mask.count & 2) {
      _mm_storeu_pd(p, rest);
      rest = _mm256_extractf128_pd(half, 1);
      p += 2;
    }
    if (mask.count & 1) _mm_store_sd(p, rest);
  }

  [[gnu::always_inline]] static Vector add(Vector a, Vector b) { return _mm512_add_pd(a, b); }
  [[gnu::always_inline]] static Vector multiply(Vector a, Vector b) { return _mm512_mul_pd(a, b); }
  // a * b + c and c - a * b, rounded once.
  [[gnu::always_inline]] static Vector multiply_add(Vector a, Vector b, Vector c) {
    return _mm512_fmadd_pd(a, b, c);
  }
  [[gnu::always_inline]] static Vector subtract_product(Vector a, Vector b, Vector c) {
    return _mm512_fnmadd_pd(a, b, c);
  }
  [[gnu::always_inline]] static double sum(Vector v) {
    const __m256d four = _mm256_add_pd(_mm512_castpd512_pd256(v), _mm512_extractf64x4_pd(v, 1));
    const __m128d two = _mm_add_pd(_mm256_castpd256_pd128(four), _mm256_extractf128_pd(four, 1));
    return _mm_cvtsd_f64(_mm_add_sd(two, _mm_unpackhi_pd(two, two)));
  }

  // Magnitudes, their maximum, and a memory of the NaNs met on the way.
  [[gnu::always_inline]] static Vector magnitude(Vector v) {
    return _mm512_andnot_pd(_mm512_set1_pd(-0.0), v);
  }
  [[gnu::always_inline]] static Vector maximum(Vector a, Vector b) { return _mm512_max_pd(a, b); }
  [[gnu::always_inline]] static NanFlags no_nan() { return 0; }
  [[gnu::always_inline]] static NanFlags note_nan(NanFlags flags, Vector v) {
    return static_cast<NanFlags>(flags | _mm512_cmp_pd_mask(v, v, _CMP_UNORD_Q));
  }
  [[gnu::always_inline]] static bool any_equal(Vector a, Vector b) {
    return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ) != 0;
  }
  [[gnu::always_inline]] static bool any_nan(NanFlags flags) { return flags != 0; }

  // Pairs of rows, then quarters: after the first step t holds two rows' even or odd columns, after the
  // second u[c] holds four rows' columns c and c + 4.
  [[gnu::always_inline]] static void transpose(Vector (&r)[width]) {
    Vector t[8], u[8];
    for (int i = 0; i < 8; i += 2) {
      t[i] = _mm512_unpacklo_pd(r[i], r[i + 1]);
      t[i + 1] = _mm512_unpackhi_pd(r[i], r[i + 1]);
    }
    for (int i = 0; i < 2; ++i) {
      u[i] = _mm512_shuffle_f64x2(t[i], t[i + 2], 0x88);
      u[i + 2] = _mm512_shuffle_f64x2(t[i], t[i + 2], 0xdd);
      u[i + 4] = _mm512_shuffle_f64x2(t[i + 4], t[i + 6], 0x88);
      u[i + 6] = _mm512_shuffle_f64x2(t[i + 4], t[i + 6], 0xdd);
    }
    for (int i = 0; i < 2; ++i) {
      r[i] = _mm512_shuffle_f64x2(u[i], u[i + 4], 0x88);
      r[i + 4] = _mm512_shuffle_f64x2(u[i], u[i + 4], 0xdd);
      r[i + 2] = _mm512_shuffle_f64x2(u[i + 2], u[i + 6], 0x88);
      r[i + 6] = _mm512_shuffle_f64x2(u[i + 2], u[i + 6], 0xdd);
    }
  }
  // Rows of the 8 x 8 square whose column c stands at `columns` + c * ld, and back. Half columns are joined
  // on the way in and out of memory, where it costs no shuffle: two steps are left of transpose()'s three.
  [[gnu::always_inline]] static void load_transposed(const double* columns, std::int64_t ld,
                                                     Vector (&rows)[width]) {
    for (int half = 0; half < 8; half += 4) {
      const auto pair = [&](int c) __attribute__((always_inline)) {
        const double* const p = columns + half + c * ld;
        return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_loadu_pd(p)), _mm256_loadu_pd(p + 2 * ld), 1);
      };
      const Vector a = pair(0), b = pair(1), c = pair(4), d = pair(5);
      const Vector even = _mm512_unpacklo_pd(a, b), odd = _mm512_unpackhi_pd(a, b);
      const Vector even2 = _mm512_unpacklo_pd(c, d), odd2 = _mm512_unpackhi_pd(c, d);
      rows[half] = _mm512_shuffle_f64x2(even, even2, 0x88);
      rows[half + 1] = _mm512_shuffle_f64x2(odd, odd2, 0x88);
      rows[half + 2] = _mm512_shuffle_f64x2(even, even2, 0xdd);
      rows[half + 3] = _mm512_shuffle_f64x2(odd, odd2, 0xdd);
    }
  }
  [[gnu::always_inline]] static void store_transposed(double* columns, std::int64_t ld,
                                                      const Vector (&rows)[width]) {
    const __m512i low = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i high = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    for (int half = 0; half < 8; half += 4) {
      const auto pair = [&](int c, Vector v) __attribute__((always_inline)) {
        double* const p = columns + half + c * ld;
        _mm256_storeu_pd(p, _mm512_castpd512_pd256(v));
        _mm256_storeu_pd(p + 2 * ld, _mm512_extractf64x4_pd(v, 1));
      };
      const Vector a = _mm512_unpacklo_pd(rows[half], rows[half + 1]);
      const Vector b = _mm512_unpackhi_pd(rows[half], rows[half + 1]);
      const Vector c = _mm512_unpacklo_pd(rows[half + 2], rows[half + 3]);
      const Vector d = _mm512_unpackhi_pd(rows[half + 2], rows[half + 3]);
      pair(0, _mm512_permutex2var_pd(a, low, c));
      pair(1, _mm512_permutex2var_pd(b, low, d));
      pair(4, _mm512_permutex2var_pd(a, high, c));
      pair(5, _mm512_permutex2var_pd(b, high, d));
    }
  }

  [[gnu::always_inline]] static void prefetch(const double* p) {
    _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_T0);
  }
};

}  // namespace vex::blas::avx512
