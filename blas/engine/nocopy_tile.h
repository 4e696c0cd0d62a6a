// The inner kernel of products that are not packed: a tile of C, MV vectors high and NR columns wide,
// straight from the operands where they lie. An element sees the operations of the packed kernel (tile.h) in
// the same order.
#pragma once

#include "blas/engine/descriptors.h"

namespace vex::blas::engine {

// What happens to C: it is not read, taken as it is, or multiplied first.
enum class Beta { zero, one, other };

// C := beta C + op(A) op(B), or - op(A) op(B). The operands are m x k and k x n.
struct NocopyProduct {
  vex_int m, n, k;
  bool negated;
  const double* a;
  vex_int lda;
  const double* b;
  vex_int ldb;
  double beta;
  double* c;
  vex_int ldc;
};

// Keeps the compiler from deriving a pointer from its neighbours again: each advances by itself.
[[gnu::always_inline]] inline void settle(const double*& p) {
  asm("" : "+r"(p));
}

// One tile. Element (i, p) of A is a[i + p * a_step]; (p, j) of op(B) is b[p + j * ldb], or b[j + p * ldb]
// when b_turned. rows <= MV * width, and only when `partial` may they be less: then no row of A or C below
// them is touched.
template <typename P, int MV, int NR, bool partial, bool negated, bool b_turned>
void nocopy_tile(const NocopyProduct& x, Beta beta, vex_int rows, const double* a, vex_int a_step,
                 const double* b, double* c) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  const vex_int ldb = x.ldb, ldc = x.ldc;
  const auto lanes = P::first_lanes(partial ? static_cast<int>(rows - (MV - 1) * w) : w);
  vex_int left = x.k;
  if (left > 24)  // a short loop is over before the tile has come
#pragma GCC unroll 8
    for (int j = 0; j < NR; ++j) {
      P::prefetch(c + j * ldc);
      if (MV * w > 8) P::prefetch(c + j * ldc + 8);
      P::prefetch(c + j * ldc + rows - 1);
    }
  V sum[NR][MV];
#pragma GCC unroll 8
  for (int j = 0; j < NR; ++j)
#pragma GCC unroll 3
    for (int i = 0; i < MV; ++i) sum[j][i] = P::zero();
  // Three columns of B to a pointer: x86 addresses have room for one and two steps beside it.
  constexpr int pointers = b_turned ? 1 : (NR + 2) / 3;
  const double* column[pointers];
#pragma GCC unroll 3
  for (int q = 0; q < pointers; ++q) {
    column[q] = b + 3 * q * ldb;
    settle(column[q]);
  }
  const auto step = [&](int ahead) __attribute__((always_inline)) {
    V values[MV];
#pragma GCC unroll 3
    for (int i = 0; i < MV; ++i)
      values[i] = partial && i == MV - 1 ? P::load(lanes, a + i * w) : P::load(a + i * w);
#pragma GCC unroll 8
    for (int j = 0; j < NR; ++j) {
      const V value = P::broadcast(b_turned ? column[0] + j : column[j / 3] + j % 3 * ldb + ahead);
#pragma GCC unroll 3
      for (int i = 0; i < MV; ++i)
        sum[j][i] = negated ? P::subtract_product(values[i], value, sum[j][i])
                            : P::multiply_add(values[i], value, sum[j][i]);
    }
    a += a_step;
    settle(a);
    if (b_turned) {
      column[0] += ldb;
      settle(column[0]);
    }
  };
  const auto advance = [&](int steps) __attribute__((always_inline)) {
    if (b_turned) return;
#pragma GCC unroll 3
    for (int q = 0; q < pointers; ++q) {
      column[q] += steps;
      settle(column[q]);
    }
  };
  for (; left >= 4; left -= 4) {
    step(0), step(1), step(2), step(3);
    advance(4);
  }
  for (; left > 0; --left) {
    step(0);
    advance(1);
  }
  const auto finish = [&](const auto& combined) __attribute__((always_inline)) {
#pragma GCC unroll 8
    for (int j = 0; j < NR; ++j)
#pragma GCC unroll 3
      for (int i = 0; i < MV; ++i) {
        double* const target = c + j * ldc + i * w;
        if (partial && i == MV - 1)
          P::store(lanes, target, combined([&] { return P::load(lanes, target); }, sum[j][i]));
        else
          P::store(target, combined([&] { return P::load(target); }, sum[j][i]));
      }
  };
  if (beta == Beta::one)
    finish([](const auto& old, V product) { return P::add(old(), product); });
  else if (beta == Beta::zero)
    finish([](const auto&, V product) { return product; });
  else
    finish([factor = P::splat(x.beta)](const auto& old, V product) {
      return P::add(P::multiply(old(), factor), product);
    });
}

// Tiles of every height and width that the registers hold beside a column of A and a value of B.
template <typename P, bool partial, bool negated, bool b_turned>
struct NocopyTiles {
  using Function = void (*)(const NocopyProduct& x, Beta beta, vex_int rows, const double* a, vex_int a_step,
                            const double* b, double* c);
  static constexpr int tallest = P::nocopy_tallest, widest = P::nocopy_widest(1);
  Function of[tallest][widest];

  template <int I, int J>
  static constexpr void fill(NocopyTiles& table) {
    if constexpr (J < P::nocopy_widest(I + 1))
      table.of[I][J] = nocopy_tile<P, I + 1, J + 1, partial, negated, b_turned>;
    if constexpr (J + 1 < widest)
      fill<I, J + 1>(table);
    else if constexpr (I + 1 < tallest)
      fill<I + 1, 0>(table);
  }
  static constexpr NocopyTiles make() {
    NocopyTiles table{};
    fill<0, 0>(table);
    return table;
  }
};

}  // namespace vex::blas::engine
