// The small-system routines of the AVX2 path.
#include <immintrin.h>

#include <cstdint>

#include "blas/avx2/path.h"
#include "lapack/small/factor.h"
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
  using Vector = __m256d;
  static constexpr int width = 4;

  static Vector load(const double* p) { return _mm256_load_pd(p); }
  static void store(double* p, Vector v) { _mm256_store_pd(p, v); }
  static Vector broadcast(double x) { return _mm256_set1_pd(x); }
  static Vector multiply(Vector a, Vector b) { return _mm256_mul_pd(a, b); }
  static Vector divide(Vector a, Vector b) { return _mm256_div_pd(a, b); }
  static Vector subtract_product(Vector c, Vector a, Vector b) { return _mm256_fnmadd_pd(a, b, c); }
  static double subtract_product(double c, double a, double b) { return Narrow::subtract_product(c, a, b); }

  // All ones in the first `count` lanes.
  static __m256i first_lanes(int count) {
    return _mm256_cmpgt_epi64(_mm256_set1_epi64x(count), _mm256_setr_epi64x(0, 1, 2, 3));
  }
  static Vector read(const double* p, int count) {
    if (count >= width) return _mm256_loadu_pd(p);
    const __m256i wanted = first_lanes(count);
    return select(_mm256_castsi256_pd(wanted), _mm256_maskload_pd(p, wanted), broadcast(__builtin_nan("")));
  }
  static void write(double* p, Vector v, int count) {
    if (count >= width) return _mm256_storeu_pd(p, v);
    _mm256_maskstore_pd(p, first_lanes(count), v);
  }

  using Mask = Vector;
  static Mask mask(const std::int64_t* p) {
    return _mm256_castsi256_pd(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
  }
  static Vector select(Mask mask, Vector a, Vector b) { return _mm256_blendv_pd(b, a, mask); }

  // The maximum answers its second operand when the first is NaN, and an excluded lane is made one.
  static Vector magnitudes(Vector x, Vector excluded) {
    return _mm256_max_pd(_mm256_or_pd(_mm256_andnot_pd(broadcast(-0.0), x), excluded), broadcast(-1.0));
  }
  static Vector larger(Vector a, Vector b) { return _mm256_max_pd(a, b); }
  static Vector largest(Vector v) {
    const Vector halves = _mm256_max_pd(v, _mm256_permute2f128_pd(v, v, 1));
    return _mm256_max_pd(halves, _mm256_permute_pd(halves, 0b0101));
  }
  static Mask equal(Vector a, Vector b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }
  static unsigned equal_lanes(Vector a, Vector b) {
    return static_cast<unsigned>(_mm256_movemask_pd(equal(a, b)));
  }

  template <int i>
  static Vector lane(Vector v) {
    return _mm256_permute4x64_pd(v, i * 0b01010101);
  }
  template <int i>
  static Vector with_lane(Vector v, Vector x) {
    return _mm256_blend_pd(v, x, 1 << i);
  }
};

}  // namespace

void vex_lapack_ps_avx2_dgetrf_small(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                     vex_int* ipiv, vex_int* info) {
  *info = vex::lapack::small::factor<Lanes, Narrow>(*m, *n, a, *lda, ipiv);
}

void vex_lapack_ps_avx2_dgetrs_small(const char* trans, const vex_int* n, const vex_int* nrhs,
                                     const double* a, const vex_int* lda, const vex_int* ipiv, double* b,
                                     const vex_int* ldb, vex_int* info, vex_int) {
  *info = vex::lapack::small::solve<Narrow>(*trans, *n, *nrhs, a, *lda, ipiv, b, *ldb);
}

void vex_lapack_ps_avx2_dgetf2(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                               vex_int* ipiv, vex_int* info) {
  *info = vex::lapack::small::factor_unblocked<vex::blas::avx2::Path, Lanes>(*m, *n, a, *lda, ipiv);
}

int vex_lapack_ps_avx2_dgetrs_single(const vex_int* n, const double* a, const vex_int* lda,
                                     const vex_int* ipiv, double* b) {
  return vex::lapack::small::SingleSolve<Lanes>(*n, a, *lda, b).run(ipiv);
}
