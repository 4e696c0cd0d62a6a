// The triangular solve with many right-hand sides of one path. All sixteen cases become one: E X = B with E
// lower triangular, by walking the operands with strides (a transposed operand swaps them, an upper triangle
// is walked from its last row backwards, a solve from the right is the transposed solve from the left).
#pragma once

#include "blas/engine/multiply.h"
#include "service/buffer_cache.h"
#include "service/check_pointer.h"

namespace vex::blas::engine {

// E is order x order, element (i, j) at e[i * e_row + j * e_column]; X is order x count, x[i * x_row + j *
// x_column]. Strides may be negative.
struct LowerSolve {
  vex_int order, count;
  const double* e;
  vex_int e_row, e_column;
  double* x;
  vex_int x_row, x_column;
  bool unit;
};

[[gnu::always_inline]] inline LowerSolve as_lower_solve(bool left, bool lower, bool transposed, bool unit,
                                                        vex_int m, vex_int n, const double* a, vex_int lda,
                                                        double* b, vex_int ldb) {
  const bool turned =
      transposed == left;  // from the right, the matrix applied to the columns of X' is op(A)'
  LowerSolve s{left ? m : n,   left ? n : m,   a,   turned ? lda : 1, turned ? 1 : lda, b,
               left ? 1 : ldb, left ? ldb : 1, unit};
  if (lower == turned) {
    const vex_int last = s.order - 1;
    s.e += last * (s.e_row + s.e_column), s.x += last * s.x_row;
    s.e_row = -s.e_row, s.e_column = -s.e_column, s.x_row = -s.x_row;
  }
  return s;
}

// The unblocked solve, which divides by the diagonal: for diagonals whose reciprocals are not representable,
// and when there is no scratch memory.
template <typename P>
void solve_unblocked(const LowerSolve& s) {
  for (vex_int i = 0; i < s.order; ++i) {
    const double* const column = s.e + i * s.e_column;
    const double diagonal = column[i * s.e_row];
    for (vex_int j = 0; j < s.count; ++j) {
      double* const x = s.x + j * s.x_column;
      if (!s.unit) x[i * s.x_row] /= diagonal;
      const double value = x[i * s.x_row];
      for (vex_int r = i + 1; r < s.order; ++r) x[r * s.x_row] -= column[r * s.e_row] * value;
    }
  }
}

// Whether every diagonal element can be replaced by its reciprocal: none is subnormal, and none so large that
// the reciprocal is.
template <typename P>
bool reciprocals_fit(const LowerSolve& s) {
  constexpr std::uint64_t exponent = 0x7ff0000000000000, mantissa = 0x000fffffffffffff;
  constexpr std::uint64_t largest_exponent = 0x7fc0000000000000;  // 2^1021
  if (s.unit) return true;
  for (vex_int i = 0; i < s.order; ++i) {
    std::uint64_t bits;
    __builtin_memcpy(&bits, s.e + i * (s.e_row + s.e_column), sizeof bits);
    const std::uint64_t magnitude = bits & exponent;
    if (magnitude == 0 && (bits & mantissa) != 0) return false;
    if (magnitude > largest_exponent && magnitude != exponent) return false;
  }
  return true;
}

// Rows of the register block of the solve and vectors of right-hand sides in it.
template <typename P>
inline constexpr int solve_rows = P::registers == 32 ? 8
                                  : P::width == 4    ? 6
                                                     : 4;
template <typename P>
inline constexpr int solve_vectors = P::registers == 32 ? 3 : 2;
template <typename P>
inline constexpr int solve_columns = solve_vectors<P>* P::width;

// A diagonal block of E packed as panels of R rows: panel i holds the columns 0 .. i + R of its rows, column
// by column, and the reciprocals on the diagonal. Rows beyond the order are those of the identity.
template <typename P>
void pack_triangle(const LowerSolve& s, vex_int first, vex_int order, double* packed) {
  constexpr int R = solve_rows<P>;
  const double* const e = s.e + first * (s.e_row + s.e_column);
  for (vex_int i = 0; i < order; i += R) {
    for (vex_int p = 0; p < i + R; ++p, packed += R) {
      for (vex_int r = 0; r < R; ++r) {
        const vex_int row = i + r;
        if (row < order && p < row)
          packed[r] = e[row * s.e_row + p * s.e_column];
        else if (p == row)
          packed[r] = row < order && !s.unit ? 1.0 / e[row * (s.e_row + s.e_column)] : 1.0;
        else
          packed[r] = 0;
      }
    }
  }
}

// Doubles that pack_triangle writes for a block of that order.
template <typename P>
[[gnu::always_inline]] constexpr vex_int triangle_size(vex_int order) {
  constexpr vex_int R = solve_rows<P>;
  const vex_int panels = (order + R - 1) / R;
  return R * R * panels * (panels + 1) / 2;
}

// The right-hand sides of one panel: rows of `solve_columns` values side by side.
template <typename P, bool into_panel>
void move_right_hand_sides(const LowerSolve& s, vex_int first, vex_int order, vex_int column, vex_int count,
                           double* panel) {
  constexpr int W = solve_columns<P>, w = P::width;
  // Copies of the strides: vector stores may alias the record as far as the compiler knows.
  const vex_int x_row = s.x_row, x_column = s.x_column;
  double* const x = s.x + first * x_row + column * x_column;
  if (x_column == 1 && count == W) {  // the values of one row are neighbours in memory
    for (vex_int i = 0; i < order; ++i) {
#pragma GCC unroll 4
      for (int v = 0; v < W; v += w) {
        if (into_panel)
          P::store(panel + i * W + v, P::load(x + i * x_row + v));
        else
          P::store(x + i * x_row + v, P::load(panel + i * W + v));
      }
    }
    return;
  }
  vex_int done = 0;
  if (count == W && (x_row == 1 || x_row == -1)) {  // columns run down memory: turn squares in registers
    const bool backwards = x_row < 0;
    for (; done + w <= order; done += w) {
      double* const at = backwards ? x - done - (w - 1) : x + done;
#pragma GCC unroll 4
      for (int v = 0; v < W; v += w) {
        typename P::Vector square[w];
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r) {
          const int row = backwards ? w - 1 - r : r;
          square[r] = into_panel ? P::load(at + (v + r) * x_column) : P::load(panel + (done + row) * W + v);
        }
        P::transpose(square);
#pragma GCC unroll 8
        for (int r = 0; r < w; ++r) {
          const int row = backwards ? w - 1 - r : r;
          P::store(into_panel ? panel + (done + row) * W + v : at + (v + r) * x_column, square[r]);
        }
      }
    }
  }
  for (; done < order; ++done) {
    for (vex_int j = 0; j < count; ++j) {
      double* const element = x + done * x_row + j * x_column;
      if (into_panel)
        panel[done * W + j] = *element;
      else
        *element = panel[done * W + j];
    }
    if (into_panel)
      for (vex_int j = count; j < W; ++j) panel[done * W + j] = 0;
  }
}

// Solves R rows of a panel whose first `done` rows are solved: a multiply over those, then the triangle in
// registers.
template <typename P, bool unit>
void solve_register_block(vex_int done, const double* l, double* panel) {
  constexpr int R = solve_rows<P>, N = solve_vectors<P>, w = P::width, W = N * w;
  using V = typename P::Vector;
  V x[R][N];
  double* const target = panel + done * W;
#pragma GCC unroll 16
  for (int r = 0; r < R; ++r)
#pragma GCC unroll 4
    for (int v = 0; v < N; ++v) x[r][v] = P::load(target + r * W + v * w);
#pragma GCC unroll 2
  for (vex_int p = 0; p < done; ++p, l += R, panel += W) {
    V row[N];
#pragma GCC unroll 4
    for (int v = 0; v < N; ++v) row[v] = P::load(panel + v * w);
#pragma GCC unroll 16
    for (int r = 0; r < R; ++r) {
      const V value = P::broadcast(l + r);
#pragma GCC unroll 4
      for (int v = 0; v < N; ++v) x[r][v] = P::subtract_product(value, row[v], x[r][v]);
    }
  }
#pragma GCC unroll 16
  for (int s = 0; s < R; ++s) {
    if (!unit) {
      const V reciprocal = P::broadcast(l + s * R + s);
#pragma GCC unroll 4
      for (int v = 0; v < N; ++v) x[s][v] = P::multiply(x[s][v], reciprocal);
    }
#pragma GCC unroll 4
    for (int v = 0; v < N; ++v) P::store(target + s * W + v * w, x[s][v]);
#pragma GCC unroll 16
    for (int r = s + 1; r < R; ++r) {
      const V value = P::broadcast(l + s * R + r);
#pragma GCC unroll 4
      for (int v = 0; v < N; ++v) x[r][v] = P::subtract_product(value, x[s][v], x[r][v]);
    }
  }
}

// Brings R rows of the panel that follows into the first caches, while the current one is solved.
template <typename P>
[[gnu::always_inline]] inline void prefetch_right_hand_sides(const LowerSolve& s, vex_int row,
                                                             vex_int column) {
  constexpr int R = solve_rows<P>, W = solve_columns<P>;
  const double* const x = s.x + row * s.x_row + column * s.x_column;
  if (s.x_column == 1) {
    for (int r = 0; r < R; ++r)
      for (int v = 0; v < W; v += 8) P::prefetch(x + r * s.x_row + v);
  } else {
    for (int v = 0; v < W; ++v) P::prefetch(x + v * s.x_column);
  }
}

// One diagonal block against all right-hand sides. scratch holds the packed triangle and one panel.
template <typename P>
void solve_diagonal_block(const LowerSolve& s, vex_int first, vex_int order, double* triangle,
                          double* panel) {
  constexpr int R = solve_rows<P>, W = solve_columns<P>;
  pack_triangle<P>(s, first, order, triangle);
  for (vex_int i = order * W; i < round_up(order, R) * W; ++i) panel[i] = 0;
  for (vex_int column = 0; column < s.count; column += W) {
    const vex_int count = smaller(W, s.count - column);
    move_right_hand_sides<P, true>(s, first, order, column, count, panel);
    const double* l = triangle;
    for (vex_int i = 0; i < order; i += R) {
      if (column + 2 * W <= s.count) prefetch_right_hand_sides<P>(s, first + i, column + W);
      if (s.unit)
        solve_register_block<P, true>(i, l, panel);
      else
        solve_register_block<P, false>(i, l, panel);
      l += R * (i + R);
    }
    move_right_hand_sides<P, false>(s, first, order, column, count, panel);
  }
}

// B_rest := B_rest - E_rest X_block, in the operands' own orientation.
template <typename P>
void update_rest(const LowerSolve& s, vex_int first, vex_int order) {
  const vex_int rest = s.order - first - order;
  if (rest <= 0) return;
  const double* e = s.e + (first + order) * s.e_row + first * s.e_column;
  double *x = s.x + first * s.x_row, *target = s.x + (first + order) * s.x_row;
  const bool backwards = s.e_row < 0;
  const vex_int e_row = backwards ? -s.e_row : s.e_row, e_column = backwards ? -s.e_column : s.e_column;
  const vex_int x_row = backwards ? -s.x_row : s.x_row;
  if (backwards) {  // from the last row to the first of each block
    e += (rest - 1) * s.e_row + (order - 1) * s.e_column;
    x += (order - 1) * s.x_row;
    target += (rest - 1) * s.x_row;
  }
  // Row-major in memory means a transposed operand. A stride of 1 along both dimensions (order 1) is either.
  const bool e_plain = e_row == 1;
  if (x_row == 1 && s.x_column != 1)
    multiply<P>(e_plain ? "N" : "T", "N", rest, s.count, order, -1.0, e, e_plain ? e_column : e_row, x,
                s.x_column, 1.0, target, s.x_column);
  else
    multiply<P>("N", e_plain ? "T" : "N", s.count, rest, order, -1.0, x, x_row, e, e_plain ? e_column : e_row,
                1.0, target, x_row);
}

template <typename P>
void solve_v1(bool left, bool lower, bool transposed, bool unit, vex_int m, vex_int n, double alpha,
              const double* a, vex_int lda, double* b, vex_int ldb) {
  if (m < 1 || n < 1) return;
  scale_block<P>(m, n, alpha, b, ldb);
  if (alpha != 0) solve_unblocked<P>(as_lower_solve(left, lower, transposed, unit, m, n, a, lda, b, ldb));
}

template <typename P>
void solve(bool left, bool lower, bool transposed, bool unit, vex_int m, vex_int n, double alpha,
           const double* a, vex_int lda, double* b, vex_int ldb) {
  if (m < 1 || n < 1) return;
  scale_block<P>(m, n, alpha, b, ldb);
  if (alpha == 0) return;
  const LowerSolve s = as_lower_solve(left, lower, transposed, unit, m, n, a, lda, b, ldb);
  if (!reciprocals_fit<P>(s)) return solve_unblocked<P>(s);
  const vex_int block = smaller(s.order, P::solve_block);
  const vex_int triangle = round_up(triangle_size<P>(block), 16);
  const vex_int panel = round_up(block, solve_rows<P>) * solve_columns<P>;
  auto* const scratch =
      static_cast<double*>(vex_serv_allocate(static_cast<std::size_t>(triangle + panel) * 8, 128));
  if (vex_serv_check_ptr_and_warn(scratch, "DTRSM") != 0) return solve_unblocked<P>(s);
  for (vex_int first = 0; first < s.order; first += block) {
    const vex_int order = smaller(block, s.order - first);
    solve_diagonal_block<P>(s, first, order, scratch, scratch + triangle);
    update_rest<P>(s, first, order);
  }
  vex_serv_deallocate(scratch);
}

}  // namespace vex::blas::engine
