// The triangular solve with one right-hand side of one path. Eight unknowns at a time are solved in
// registers, where a chain of as many multiply-adds is all that one waits for, and leave the rows that depend
// on them at once: what the next eight need comes first, so that the rest overlaps with their chain.
#pragma once

#include "blas/engine/matrix_vector.h"

namespace vex::blas::engine {

inline constexpr int unknowns = 8;

// op(A) x = b with x over b, both contiguous.
struct VectorSolve {
  bool lower, transposed, unit;
  vex_int n;
  const double* a;
  vex_int lda;
  double* x;
};

// Unknowns in the order they are solved in: s stands at x[s * step], and row i of its column at
// e[i * step + s * ld * step]. The diagonal's reciprocals are used unless one is not representable.
template <typename P, int step, bool divide>
[[gnu::always_inline]] inline void solve_unknowns(bool unit, const double* e, vex_int ld,
                                                  const double* reciprocals, const double* x,
                                                  typename P::Vector (&value)[unknowns]) {
#pragma GCC unroll 8
  for (int s = 0; s < unknowns; ++s) value[s] = P::broadcast(x + s * step);
#pragma GCC unroll 8
  for (int s = 0; s < unknowns; ++s) {
    const double* const column = e + s * ld * step;
    if (divide)
      value[s] = P::splat(value[s][0] / column[s * step]);
    else if (!unit)
      value[s] = P::multiply(value[s], P::broadcast(reciprocals + s));
#pragma GCC unroll 8
    for (int i = s + 1; i < unknowns; ++i)
      value[i] = P::subtract_product(P::broadcast(column + i * step), value[s], value[i]);
  }
}

template <typename P, int step>
[[gnu::always_inline]] inline void solve_diagonal(bool unit, const double* e, vex_int ld, double* x,
                                                  typename P::Vector (&value)[unknowns]) {
  constexpr double least = 0x1p-1022, most = 0x1p1022;
  double reciprocals[unknowns];
  bool representable = true;
  if (!unit)
#pragma GCC unroll 8
    for (int s = 0; s < unknowns; ++s) {
      const double diagonal = e[s * step * (ld + 1)], magnitude = __builtin_fabs(diagonal);
      representable = representable & (magnitude >= least) & (magnitude <= most);
      reciprocals[s] = 1 / diagonal;
    }
  if (__builtin_expect(representable, 1))
    solve_unknowns<P, step, false>(unit, e, ld, reciprocals, x, value);
  else
    solve_unknowns<P, step, true>(unit, e, ld, reciprocals, x, value);
#pragma GCC unroll 8
  for (int s = 0; s < unknowns; ++s) x[s * step] = value[s][0];
}

// y := y - A value for the m rows below (step 1) or above y, nearest first. A's columns are `lda` apart.
template <typename P, int step>
[[gnu::always_inline]] inline void subtract_columns(vex_int m, const double* a, vex_int lda,
                                                    const typename P::Vector (&value)[unknowns], double* y) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  constexpr int start = step > 0 ? 0 : -w;
  vex_int i = 0;
  for (; i + w <= m; i += w, a += step * w, y += step * w) {
    V rest = P::load(y + start);
#pragma GCC unroll 8
    for (int s = 0; s < unknowns; ++s)
      rest = P::subtract_product(P::load(a + start + s * lda), value[s], rest);
    P::store(y + start, rest);
  }
  if (i == m) return;
  const auto lanes = P::first_lanes(static_cast<int>(m - i));
  V rest = P::load(lanes, y);
#pragma GCC unroll 8
  for (int s = 0; s < unknowns; ++s) rest = P::subtract_product(P::load(lanes, a + s * lda), value[s], rest);
  P::store(lanes, y, rest);
}

// The `count` unknowns from `first` on, as a whole block that unknowns 0 = 1 * 0 fill up.
template <typename P>
void solve_copied(const VectorSolve& v, vex_int first, vex_int count) {
  alignas(64) double e[unknowns * unknowns] = {}, x[unknowns] = {};
  const double* const diagonal = v.a + first * (v.lda + 1);
  const vex_int row = v.transposed ? v.lda : 1, column = v.transposed ? 1 : v.lda;
  const bool forward = v.lower != v.transposed;
  for (vex_int j = 0; j < unknowns; ++j) {
    e[j * (unknowns + 1)] = 1;
    for (vex_int i = forward ? j + 1 : 0; i < (forward ? count : j) && j < count; ++i)
      e[i + j * unknowns] = diagonal[i * row + j * column];
    if (j < count && !v.unit) e[j * (unknowns + 1)] = diagonal[j * (v.lda + 1)];
  }
  for (vex_int j = 0; j < count; ++j) x[j] = v.x[first + j];
  typename P::Vector value[unknowns];
  if (forward)
    solve_diagonal<P, 1>(v.unit, e, unknowns, x, value);
  else
    solve_diagonal<P, -1>(v.unit, e + unknowns * unknowns - 1, unknowns, x + unknowns - 1, value);
  for (vex_int j = 0; j < count; ++j) v.x[first + j] = x[j];
}

// A triangle is read so fast that a small matrix, which the hardware sees too little of to foresee, is waited
// for: the second cache is asked for its columns some blocks ahead. For all of their rows: after L comes U.
// Cycles of both triangles from the third cache, without and with it: order 64 12300 and 4300, 100 21200 and
// 11000, 200 58000 and 46000. Asking 16 or 64 columns ahead does as well, for the first cache worse.
inline constexpr vex_int largest_foreseen = 360;  // orders whose matrix the second cache holds
inline constexpr vex_int columns_ahead = 32;

[[gnu::always_inline]] inline void ask_for_columns(const VectorSolve& v, vex_int from, vex_int end) {
  constexpr vex_int line = 8;
  if (v.n > largest_foreseen) return;
  for (vex_int j = from; j < smaller(end, v.n); ++j)
    for (vex_int i = 0; i < v.n; i += line) __builtin_prefetch(v.a + i + j * v.lda, 0, 2);
}

// Blocks start at multiples of eight, so that only the last rows are ever cut short.
template <typename P>
void solve_down(const VectorSolve& v) {
  typename P::Vector value[unknowns];
  vex_int i = 0;
  ask_for_columns(v, 0, columns_ahead);
  for (; i + unknowns <= v.n; i += unknowns) {
    ask_for_columns(v, i + columns_ahead, i + columns_ahead + unknowns);
    const double* const e = v.a + i * (v.lda + 1);
    solve_diagonal<P, 1>(v.unit, e, v.lda, v.x + i, value);
    subtract_columns<P, 1>(v.n - i - unknowns, e + unknowns, v.lda, value, v.x + i + unknowns);
  }
  if (i < v.n) solve_copied<P>(v, i, v.n - i);
}

template <typename P>
void solve_up(const VectorSolve& v) {
  typename P::Vector value[unknowns];
  vex_int i = v.n / unknowns * unknowns;
  if (i < v.n) {
    solve_copied<P>(v, i, v.n - i);
    multiply_vector_plain<P>(i, v.n - i, -1, v.a + i * v.lda, v.lda, v.x + i, 1, 1, v.x, 1);
  }
  for (; i > 0; i -= unknowns) {
    const double* const e = v.a + (i - 1) * (v.lda + 1);
    solve_diagonal<P, -1>(v.unit, e, v.lda, v.x + i - 1, value);
    subtract_columns<P, -1>(i - unknowns, e - (unknowns - 1), -v.lda, value, v.x + i - unknowns);
  }
}

// The columns of A are the rows of the system: a block first takes what those solved before it leave of it.
template <typename P>
void solve_by_rows(const VectorSolve& v) {
  for (vex_int done = 0, count; done < v.n; done += count) {
    const vex_int cut = v.n % unknowns;
    count = !v.lower ? smaller(unknowns, v.n - done) : done == 0 && cut > 0 ? cut : unknowns;
    const vex_int first = v.lower ? v.n - done - count : done, solved = v.lower ? first + count : 0;
    multiply_vector_transposed<P>(done, count, -1, v.a + solved + first * v.lda, v.lda, v.x + solved, 1, 1,
                                  v.x + first, 1);
    solve_copied<P>(v, first, count);
  }
}

template <typename P>
void solve_contiguous(const VectorSolve& v) {
  if (v.transposed)
    solve_by_rows<P>(v);
  else if (v.lower)
    solve_down<P>(v);
  else
    solve_up<P>(v);
}

// op(A) x = b, x over b. A strided x passes piece by piece through a contiguous one.
template <typename P>
void solve_vector(bool lower, bool transposed, bool unit, vex_int n, const double* a, vex_int lda, double* x,
                  vex_int incx) {
  if (n <= 0) return;
  if (incx == 1) return solve_contiguous<P>({lower, transposed, unit, n, a, lda, x});
  x += first_element(n, incx);
  double piece[gather_length];
  const bool forward = lower != transposed;
  for (vex_int done = 0, count; done < n; done += count) {
    count = smaller(gather_length, n - done);
    const vex_int first = forward ? done : n - done - count, rest = n - done - count;
    const vex_int rest_first = forward ? first + count : 0;
    gather<P>(count, x + first * incx, incx, piece);
    solve_contiguous<P>({lower, transposed, unit, count, a + first * (lda + 1), lda, piece});
    for (vex_int i = 0; i < count; ++i) x[(first + i) * incx] = piece[i];
    if (rest == 0) break;
    // A negative increment is turned to the start the product expects.
    double* const target = x + (rest_first + (incx < 0 ? rest - 1 : 0)) * incx;
    const double* const block = a + (transposed ? first + rest_first * lda : rest_first + first * lda);
    multiply_vector<P>(transposed, transposed ? count : rest, transposed ? rest : count, -1, block, lda,
                       piece, 1, 1, target, incx);
  }
}

}  // namespace vex::blas::engine
