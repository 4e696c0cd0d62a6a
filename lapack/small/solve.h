// Solve with the factors of at most 8 equations for at most 8 right-hand sides. A right-hand side stays in
// registers from its interchanges to its last division; several go through the triangles side by side, since
// one alone would wait for the latency of every operation.
#pragma once

#include "lapack/small/lanes.h"
#include "service/types.h"
#include "service/xerbla.h"

namespace vex::lapack::small {

inline constexpr int most_equations = 8;

// The columns of the triangles as vectors, and the reciprocals of U's diagonal: one for each system. With
// `transposed` they are the columns of the transposed factors.
template <typename Lanes, int order>
class Triangles {
 public:
  using Vector = typename Lanes::Vector;
  using Masks = RowMasks<Lanes>;
  static constexpr int width = Lanes::width;
  static constexpr int blocks = (order + width - 1) / width;

  struct RightHandSide {
    Vector x[blocks];
  };

  [[gnu::always_inline]] Triangles(bool transposed, const double* a, vex_int lda) {
    const double* columns = a;
    vex_int ld = lda;
    alignas(64) double rows[order * blocks * width];
    if (transposed) {
      ld = blocks * width;
      columns = rows;
      unrolled<0, order>([&](auto j) {
        unrolled<0, order>([&](auto i) { rows[j + i * (blocks * width)] = a[i + j * lda]; });
      });
    }
    unrolled<0, order>([&](auto j) {
      for (int b = 0; b < blocks; ++b) {
        columns_[j].x[b] = Lanes::read(columns + j * ld + b * width, order - b * width);
      }
      reciprocals_[j] = Lanes::broadcast(1.0 / a[j + j * lda]);
    });
  }

  static RightHandSide read(const double* b) {
    RightHandSide side;
    for (int block = 0; block < blocks; ++block) {
      side.x[block] = Lanes::read(b + block * width, order - block * width);
    }
    return side;
  }

  static void write(double* b, const RightHandSide& side) {
    for (int block = 0; block < blocks; ++block) {
      Lanes::write(b + block * width, side.x[block], order - block * width);
    }
  }

  // x := x / (diagonal, when `divide`), then its multiples leave the rows below.
  template <int count, bool divide>
  [[gnu::always_inline]] void solve_down(RightHandSide (&sides)[count]) const {
    unrolled<0, order>([&](auto j) {
      unrolled<0, count>([&](auto c) { eliminate<decltype(j){}, divide, true>(sides[c].x); });
    });
  }

  template <int count, bool divide>
  [[gnu::always_inline]] void solve_up(RightHandSide (&sides)[count]) const {
    unrolled_down<order>([&](auto j) {
      unrolled<0, count>([&](auto c) { eliminate<decltype(j){}, divide, false>(sides[c].x); });
    });
  }

 private:
  template <int j, bool divide, bool down>
  [[gnu::always_inline]] void eliminate(Vector (&x)[blocks]) const {
    constexpr int home = j / width;
    Vector solved = Lanes::template lane<j % width>(x[home]);
    if constexpr (divide) {
      solved = Lanes::multiply(solved, reciprocals_[j]);
      x[home] = Lanes::select(Masks::only(j, home * width), solved, x[home]);
    }
    constexpr int first = down ? home : 0;
    constexpr int end = down ? blocks : home + 1;
    for (int b = first; b < end; ++b) {
      const Vector updated = Lanes::subtract_product(x[b], columns_[j].x[b], solved);
      if (b != home) {
        x[b] = updated;
      } else {
        x[b] = down ? Lanes::select(Masks::from(j + 1, b * width), updated, x[b])
                    : Lanes::select(Masks::from(j, b * width), x[b], updated);
      }
    }
  }

  RightHandSide columns_[order];
  Vector reciprocals_[order];
};

template <typename Lanes>
[[gnu::always_inline]] inline void interchange(double* x, vex_int i, vex_int pivot) {
  if (pivot == i) return;
  const double other = x[i];
  x[i] = x[pivot];
  x[pivot] = other;
}

// `count` right-hand sides from b on.
template <int count, typename Lanes, int order>
[[gnu::always_inline]] inline void solve_some(const Triangles<Lanes, order>& triangles, bool transposed,
                                              const vex_int* ipiv, double* b, vex_int ldb) {
  typename Triangles<Lanes, order>::RightHandSide sides[count];
  if (!transposed) {
    for (int c = 0; c < count; ++c) {
      for (int i = 0; i < order; ++i) interchange<Lanes>(b + c * ldb, i, ipiv[i] - 1);
    }
  }
  for (int c = 0; c < count; ++c) sides[c] = triangles.read(b + c * ldb);
  if (transposed) {
    triangles.template solve_down<count, true>(sides);
    triangles.template solve_up<count, false>(sides);
  } else {
    triangles.template solve_down<count, false>(sides);
    triangles.template solve_up<count, true>(sides);
  }
  for (int c = 0; c < count; ++c) triangles.write(b + c * ldb, sides[c]);
  if (!transposed) return;
  for (int c = 0; c < count; ++c) {
    for (int i = order - 1; i >= 0; --i) interchange<Lanes>(b + c * ldb, i, ipiv[i] - 1);
  }
}

template <typename Lanes, int order, bool transposed>
[[gnu::noinline]] void solve_order(vex_int nrhs, const double* a, vex_int lda, const vex_int* ipiv, double* b,
                                   vex_int ldb) {
  const Triangles<Lanes, order> triangles(transposed, a, lda);
  constexpr int together = Lanes::width >= 4 ? 4 : 2;  // as many as the registers hold at order 8
  for (; nrhs >= together; nrhs -= together, b += together * ldb) {
    solve_some<together>(triangles, transposed, ipiv, b, ldb);
  }
  for (; nrhs > 0; --nrhs, b += ldb) solve_some<1>(triangles, transposed, ipiv, b, ldb);
}

template <typename Lanes, bool transposed>
void solve_any(vex_int n, vex_int nrhs, const double* a, vex_int lda, const vex_int* ipiv, double* b,
               vex_int ldb) {
  switch (n) {
    case 1:
      return solve_order<Lanes, 1, transposed>(nrhs, a, lda, ipiv, b, ldb);
    case 2:
      return solve_order<Lanes, 2, transposed>(nrhs, a, lda, ipiv, b, ldb);
    case 3:
      return solve_order<Lanes, 3, transposed>(nrhs, a, lda, ipiv, b, ldb);
    case 4:
      return solve_order<Lanes, 4, transposed>(nrhs, a, lda, ipiv, b, ldb);
    case 5:
      return solve_order<Lanes, 5, transposed>(nrhs, a, lda, ipiv, b, ldb);
    case 6:
      return solve_order<Lanes, 6, transposed>(nrhs, a, lda, ipiv, b, ldb);
    case 7:
      return solve_order<Lanes, 7, transposed>(nrhs, a, lda, ipiv, b, ldb);
    default:
      return solve_order<Lanes, 8, transposed>(nrhs, a, lda, ipiv, b, ldb);
  }
}

// The number of the first parameter that is wrong, 0 when none is.
template <typename Lanes>
vex_int wrong_parameter(char letter, vex_int n, vex_int nrhs, vex_int lda, vex_int ldb) {
  const vex_int least_ld = n > 1 ? n : 1;
  if (letter != 'N' && letter != 'T' && letter != 'C') return 1;
  if (n < 0) return 2;
  if (nrhs < 0) return 3;
  if (lda < least_ld) return 5;
  if (ldb < least_ld) return 8;
  return 0;
}

// Returns info. n and nrhs are at most 8. Every path solves with 128-bit lanes: one right-hand side of order
// 8 took 142 cycles with them, 168 with 256 bits and 185 with 512.
template <typename Lanes>
vex_int solve(char trans, vex_int n, vex_int nrhs, const double* a, vex_int lda, const vex_int* ipiv,
              double* b, vex_int ldb) {
  const char letter = trans >= 'a' && trans <= 'z' ? static_cast<char>(trans - 'a' + 'A') : trans;
  const vex_int parameter = wrong_parameter<Lanes>(letter, n, nrhs, lda, ldb);
  if (parameter != 0) {
    vex_serv_xerbla("DGETRS", &parameter, 6);
  } else if (n == 0 || nrhs == 0) {
    return 0;
  } else if (letter == 'N') {
    solve_any<Lanes, false>(n, nrhs, a, lda, ipiv, b, ldb);
  } else {
    solve_any<Lanes, true>(n, nrhs, a, lda, ipiv, b, ldb);
  }
  return -parameter;
}

}  // namespace vex::lapack::small
