// The small-system routines of the AVX-512 path.
#include <cstdint>

#include "blas/avx512/path.h"
#include "lapack/small/factor.h"
#include "lapack/small/masked_elimination.h"
#include "lapack/small/small.h"
#include "lapack/small/solve.h"
#include "lapack/small/solve_single.h"
#include "lapack/small/sse.h"
#include "lapack/small/unblocked.h"

namespace {

struct Path {
  static __m128d subtract_product(__m128d c, __m128d a, __m128d b) { return _mm_fnmadd_pd(a, b, c); }
};
using Narrow = vex::lapack::small::Sse<Path>;

struct Lanes {
  using Vector = __m512d;
  static constexpr int width = 8;

  static Vector load(const double* p) { return _mm512_load_pd(p); }
  static void store(double* p, Vector v) { _mm512_store_pd(p, v); }
  static Vector broadcast(double x) { return _mm512_set1_pd(x); }
  static Vector multiply(Vector a, Vector b) { return _mm512_mul_pd(a, b); }
  static Vector divide(Vector a, Vector b) { return _mm512_div_pd(a, b); }
  static Vector subtract_product(Vector c, Vector a, Vector b) { return _mm512_fnmadd_pd(a, b, c); }
  static Vector subtract_product(__mmask8 where, Vector c, Vector a, Vector b) {
    return _mm512_mask3_fnmadd_pd(a, b, c, where);
  }
  static double subtract_product(double c, double a, double b) { return Narrow::subtract_product(c, a, b); }

  // A bit for each of the first `count` lanes, fewer than all.
  static __mmask8 first_lanes(int count) { return static_cast<__mmask8>(count > 0 ? (1 << count) - 1 : 0); }
  static Vector read(const double* p, int count) {
    if (count >= width) return _mm512_loadu_pd(p);
    return _mm512_mask_loadu_pd(broadcast(__builtin_nan("")), first_lanes(count), p);
  }
  static Vector read_or_zero(const double* p, int count) {
    if (count >= width) return _mm512_loadu_pd(p);
    return _mm512_maskz_loadu_pd(first_lanes(count), p);
  }
  // The plain store for a whole vector: what a masked one has written cannot be read again at once.
  static void write(double* p, Vector v, int count) {
    if (count >= width) return _mm512_storeu_pd(p, v);
    _mm512_mask_storeu_pd(p, first_lanes(count), v);
  }

  using Mask = __mmask8;
  static constexpr bool bit_masks = true;
  static Mask mask(unsigned bits) { return static_cast<Mask>(bits); }
  static Vector select(Mask mask, Vector a, Vector b) { return _mm512_mask_blend_pd(mask, b, a); }

  // The maximum answers its second operand when the first is NaN.
  static Vector magnitudes(Vector x, Mask excluded) {
    const Vector least = broadcast(-1.0);
    return _mm512_mask_max_pd(least, static_cast<Mask>(~excluded), _mm512_andnot_pd(broadcast(-0.0), x),
                              least);
  }
  // The masked form because the plain one starts from an undefined vector, which g++ 12 warns of.
  static Vector larger(Vector a, Vector b) { return _mm512_maskz_max_pd(0xff, a, b); }
  static Vector largest(Vector v) {
    const Vector halves = larger(v, __builtin_shufflevector(v, v, 4, 5, 6, 7, 0, 1, 2, 3));
    const Vector quarters = larger(halves, __builtin_shufflevector(halves, halves, 2, 3, 0, 1, 6, 7, 4, 5));
    return larger(quarters, __builtin_shufflevector(quarters, quarters, 1, 0, 3, 2, 5, 4, 7, 6));
  }
  static Mask equal(Vector a, Vector b) { return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ); }
  static unsigned equal_lanes(Vector a, Vector b) { return equal(a, b); }

  template <int blocks>
  static bool any_nan(const Vector (&x)[blocks]) {
    unsigned lanes = 0;
    for (int b = 0; b < blocks; b += 2)
      lanes |= _mm512_cmp_pd_mask(x[b], x[b + 1 < blocks ? b + 1 : b], _CMP_UNORD_Q);
    return lanes != 0;
  }

  using RowNumbers = __m512i;
  static RowNumbers row_numbers(const vex_int* p) { return _mm512_loadu_si512(p); }
  template <int blocks>
  static Vector pick(const double* column, RowNumbers numbers) {
    if constexpr (blocks == 1) return _mm512_permutexvar_pd(numbers, load(column));
    const Vector low = _mm512_permutex2var_pd(load(column), numbers, load(column + width));
    if constexpr (blocks <= 2) return low;
    const double* const third = column + 2 * width;
    const double* const last = column + (blocks - 1) * width;
    const Vector high = _mm512_permutex2var_pd(load(third), numbers, load(last));
    return select(_mm512_cmpgt_epi64_mask(numbers, _mm512_set1_epi64(2 * width - 1)), high, low);
  }

  template <int i>
  static Vector lane(Vector v) {
    return __builtin_shufflevector(v, v, i, i, i, i, i, i, i, i);
  }
  template <int i>
  static Vector with_lane(Vector v, Vector x) {
    return select(1u << i, x, v);
  }
};

}  // namespace

void vex_lapack_ps_avx512_dgetrf_small(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                       vex_int* ipiv, vex_int* info) {
  *info = vex::lapack::small::factor<Lanes, Narrow>(*m, *n, a, *lda, ipiv);
}

void vex_lapack_ps_avx512_dgetrs_small(const char* trans, const vex_int* n, const vex_int* nrhs,
                                       const double* a, const vex_int* lda, const vex_int* ipiv, double* b,
                                       const vex_int* ldb, vex_int* info, vex_int) {
  *info = vex::lapack::small::solve<Narrow>(*trans, *n, *nrhs, a, *lda, ipiv, b, *ldb);
}

void vex_lapack_ps_avx512_dgetf2(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                 vex_int* ipiv, vex_int* info) {
  using namespace vex::lapack::small;
  if (*m <= 32 && *n <= 32) {
    *info = factor_masked<Lanes, Rule::panel>(static_cast<int>(*m), static_cast<int>(*n), a, *lda, ipiv);
    return;
  }
  *info = factor_unblocked<vex::blas::avx512::Path, Lanes>(*m, *n, a, *lda, ipiv);
}

int vex_lapack_ps_avx512_dgetrs_single(const vex_int* n, const double* a, const vex_int* lda,
                                       const vex_int* ipiv, double* b) {
  return vex::lapack::small::SingleSolve<Lanes>(*n, a, *lda, b).run(ipiv);
}
