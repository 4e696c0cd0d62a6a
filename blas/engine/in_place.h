// Products that are not packed: C is walked in tiles that read A and B where they are. An element sees the
// operations of the packed engine in the same order, so a call gives the same bits whichever way it goes.
#pragma once

#include "blas/engine/nocopy_tile.h"
#include "blas/engine/pack.h"
#include "blas/engine/strategy.h"

namespace vex::blas::engine {

// A whole product; which operands are transposed and what happens to C is in the kernel.
using NocopyKernel = void(const NocopyProduct& x);

struct NocopyKernels {
  NocopyKernel* of[2][2][3];  // [A transposed][B transposed][Beta]
};

// A product of fixed extents; the beta of a kernel that does not read C is not used.
using FixedKernel = void(vex_int n, double alpha, const double* a, vex_int lda, const double* b, vex_int ldb,
                         double beta, double* c, vex_int ldc);

// Depth up to which nothing is sliced, and strips on the stack are enough.
template <typename P>
inline constexpr vex_int deepest_in_place = P::blocks.kc_threshold;

// Columns of the next tile: all that are left, or two equal halves before a narrow rest.
[[gnu::always_inline]] constexpr vex_int next_width(vex_int left, vex_int widest) {
  if (left <= widest) return left;
  return left < 2 * widest ? (left + 1) / 2 : widest;
}

// Rows of op(A) that lie along the columns of A, side by side as a tile reads them.
template <typename P, int vectors>
[[gnu::always_inline]] inline void turn_strip(vex_int height, vex_int rows, const NocopyProduct& x,
                                              const double* a, double* strip) {
  if constexpr (vectors > 1)
    if (height < vectors) return turn_strip<P, vectors - 1>(height, rows, x, a, strip);
  copy_panel_right<P, vectors * P::width>(rows, x.k, a, x.lda, P::splat(1.0), strip);
}

template <typename P, bool b_turned, bool negated>
[[gnu::always_inline]] inline void multiply_strip(const NocopyProduct& x, Beta beta, vex_int height,
                                                  vex_int rows, const double* a, vex_int a_step, double* c) {
  static constexpr auto whole = NocopyTiles<P, false, negated, b_turned>::make();
  static constexpr auto cut = NocopyTiles<P, true, negated, b_turned>::make();
  const auto& tiles = rows == height * P::width ? whole.of[height - 1] : cut.of[height - 1];
  const vex_int widest = P::nocopy_widest(static_cast<int>(height));
  const double* b = x.b;
  for (vex_int left = x.n, width; left > 0; left -= width) {
    width = next_width(left, widest);
    tiles[width - 1](x, beta, rows, a, a_step, b, c);
    b += b_turned ? width : width * x.ldb;
    c += width * x.ldc;
  }
}

template <typename P, bool a_turned, bool b_turned>
[[gnu::always_inline]] inline void multiply_in_place(const NocopyProduct& x, Beta beta) {
  constexpr vex_int w = P::width;
  alignas(64) double strip[a_turned ? P::nocopy_tallest * w * deepest_in_place<P> : 1];
  for (vex_int i = 0, height; i < x.m; i += height * w) {
    height = P::nocopy_height((x.m - i + w - 1) / w);
    const vex_int rows = smaller(height * w, x.m - i);
    const double* a = x.a + (a_turned ? i * x.lda : i);
    if (a_turned) turn_strip<P, P::nocopy_tallest>(height, rows, x, a, strip), a = strip;
    const vex_int a_step = a_turned ? height * w : x.lda;
    if (x.negated)
      multiply_strip<P, b_turned, true>(x, beta, height, rows, a, a_step, x.c + i);
    else
      multiply_strip<P, b_turned, false>(x, beta, height, rows, a, a_step, x.c + i);
  }
}

template <typename P, bool a_turned, bool b_turned, Beta beta>
void nocopy_product(const NocopyProduct& x) {
  multiply_in_place<P, a_turned, b_turned>(x, beta);
}

// The kernels of a path: under the names it gives them, or under none.
template <typename P>
[[gnu::always_inline]] inline NocopyKernel* nocopy_kernel(bool a_turned, bool b_turned, Beta beta) {
  if constexpr (requires { P::nocopy; }) {
    return P::nocopy.of[a_turned][b_turned][static_cast<int>(beta)];
  } else {
    using enum Beta;
    static constexpr NocopyKernels nameless{
        {{{nocopy_product<P, 0, 0, zero>, nocopy_product<P, 0, 0, one>, nocopy_product<P, 0, 0, other>},
          {nocopy_product<P, 0, 1, zero>, nocopy_product<P, 0, 1, one>, nocopy_product<P, 0, 1, other>}},
         {{nocopy_product<P, 1, 0, zero>, nocopy_product<P, 1, 0, one>, nocopy_product<P, 1, 0, other>},
          {nocopy_product<P, 1, 1, zero>, nocopy_product<P, 1, 1, one>, nocopy_product<P, 1, 1, other>}}}};
    return nameless.of[a_turned][b_turned][static_cast<int>(beta)];
  }
}

// The same for any alpha: B is scaled into a copy first, as packing does, some columns at a time.
template <typename P>
void multiply_scaled_in_place(const NocopyProduct& x, bool a_turned, bool b_turned, Beta beta, double alpha) {
  constexpr vex_int piece = 24;
  alignas(64) double scaled[piece * deepest_in_place<P>];
  for (vex_int j = 0; j < x.n; j += piece) {
    NocopyProduct part = x;
    part.n = smaller(piece, x.n - j);
    part.b = scaled, part.ldb = piece;
    part.c = x.c + j * x.ldc;
    const double* const b = x.b + (b_turned ? j : j * x.ldb);
    for (vex_int q = 0; q < part.n; ++q)
      for (vex_int p = 0; p < x.k; ++p)
        scaled[p * piece + q] = alpha * (b_turned ? b[q + p * x.ldb] : b[p + q * x.ldb]);
    nocopy_kernel<P>(a_turned, true, beta)(part);
  }
}

template <typename P>
void drive_in_place(bool a_turned, bool b_turned, vex_int m, vex_int n, vex_int k, double alpha,
                    const double* a, vex_int lda, const double* b, vex_int ldb, double beta, double* c,
                    vex_int ldc) {
  const Beta kind = beta == 1 ? Beta::one : beta == 0 ? Beta::zero : Beta::other;
  const NocopyProduct x{m, n, k, alpha == -1, a, lda, b, ldb, beta, c, ldc};
  if (alpha != 1 && alpha != -1) return multiply_scaled_in_place<P>(x, a_turned, b_turned, kind, alpha);
  nocopy_kernel<P>(a_turned, b_turned, kind)(x);
}

// Whether packing would cost more than it saves. Each element of A is used n times and each of B m times, so
// a C that is small both ways, or narrow, does not earn the copies; m n / (m + n) is at most the lesser side
// and at least half of it. A shallow product is all C, which the packed tiles hold longer.
template <typename P>
[[gnu::always_inline]] inline bool suits_in_place(vex_int m, vex_int n, vex_int k, bool a_turned) {
  constexpr InPlaceLimits limits = P::in_place;
  if (k > deepest_in_place<P>) return false;
  const vex_int side = k <= limits.shallow_depth ? limits.shallow_side
                       : a_turned                ? limits.turned_side
                                                 : limits.side;
  if (m <= side && n <= side) return true;
  return m * n <= (m > n ? limits.tall : limits.wide) * (m + n);
}

}  // namespace vex::blas::engine
