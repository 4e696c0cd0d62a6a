// The diagonal-block kernel of the triangular solve: E X = B for one packed block of E, X over B. Written for
// right-hand sides that are columns of X (left) or rows of it (right); a solve from the right is the solve
// from the left with the transposed triangle, so E below is op(A) from the left and op(A)' from the right.
//
// Right-hand sides go through a panel, a tile of the multiply wide: row k of the panel holds element k of
// each. The tile kernel of the multiply subtracts what the solved elements contribute, and the small triangle
// that is left is solved in registers, from which the answers go to the panel and to X at once.
#pragma once

#include "blas/engine/tile.h"

namespace vex::blas::engine {

// E lower triangular is solved from its first row on (forward), upper from its last. Rows are taken in blocks
// of R. A packed block of rows holds, k step by k step, the R values of each column that is solved before it,
// negated, in ascending order; then the R x R triangle by columns, negated off the diagonal and reciprocal on
// it (1 when E has a unit diagonal). Rows beyond the order are those of the identity. The blocks of rows
// follow each other in the order they are solved in.
// What the diagonal of a packed triangle holds.
enum class Diagonal { unit, reciprocals, divisors };

template <typename P>
inline constexpr int solve_rows = static_cast<int>(P::blocks.nr);

// Element (i, k) of E is e[i * row + k * column]; the scale is what the elements off the diagonal take, -1.
template <vex_int R, bool forward>
[[gnu::always_inline]] inline void pack_triangle(vex_int order, const double* e, vex_int row, vex_int column,
                                                 bool unit, double scale, double* packed) {
  const vex_int last = (order - 1) / R * R;
  for (vex_int b = 0; b <= last; b += R) {
    const vex_int i = forward ? b : last - b, rows = smaller(R, order - i);
    const double* const block = e + i * row;
    const vex_int done = forward ? i : larger(0, order - i - R);
    for (vex_int s = 0; s < done; ++s, packed += R) {
      const double* const values = block + (forward ? s : order - 1 - s) * column;
      if (row == 1 && rows == R) {
        __builtin_prefetch(values + (forward ? R : -R));  // of the next block of rows
        for (vex_int r = 0; r < R; ++r) packed[r] = scale * values[r];
        continue;
      }
      for (vex_int r = 0; r < rows; ++r) packed[r] = scale * values[r * row];
      for (vex_int r = rows; r < R; ++r) packed[r] = 0;
    }
    // Off the diagonal whole columns are taken and what is not in the triangle replaced, which needs no
    // branch.
    for (vex_int k = 0; k < R; ++k, packed += R) {
      if (k < rows) {
        const double* const values = block + (i + k) * column;
        if (row == 1 && rows == R)
          for (vex_int r = 0; r < R; ++r) packed[r] = (r > k) == forward ? scale * values[r] : 0.0;
        else
          for (vex_int r = 0; r < R; ++r)
            packed[r] = r < rows && (r > k) == forward ? scale * values[r * row] : 0.0;
        packed[k] = unit ? 1.0 : 1.0 / values[k * row];
      } else {
        for (vex_int r = 0; r < R; ++r) packed[r] = 0;
        packed[k] = 1;
      }
    }
  }
}

// R rows of MV vectors, and the same rows in X.
template <typename P, int MV>
struct SolveRows {
  static constexpr int R = solve_rows<P>, w = P::width, N = MV;
  typename P::Vector of[R][MV];

  // From the columns of X: squares of w rows and w columns are turned in registers.
  template <bool whole, bool into_x>
  [[gnu::always_inline]] void turn(vex_int rows, vex_int count, double* x, vex_int ldx) {
#pragma GCC unroll 4
    for (int i = 0; i < R; i += w) {
      const auto lanes = P::first_lanes(whole ? w : static_cast<int>(larger(0, smaller(w, rows - i))));
#pragma GCC unroll 4
      for (int v = 0; v < MV; ++v) {
        typename P::Vector square[w];
        if constexpr (whole && requires { P::load_transposed(x, ldx, square); }) {
          double* const columns = x + i + v * w * ldx;
          if (into_x) {
#pragma GCC unroll 8
            for (int r = 0; r < w; ++r) square[r] = of[i + r][v];
            P::store_transposed(columns, ldx, square);
          } else {
            P::load_transposed(columns, ldx, square);
#pragma GCC unroll 8
            for (int r = 0; r < w; ++r) of[i + r][v] = square[r];
          }
          continue;
        }
        if (into_x) {
#pragma GCC unroll 8
          for (int r = 0; r < w; ++r) square[r] = of[i + r][v];
          P::transpose(square);
        }
#pragma GCC unroll 8
        for (int c = 0; c < w; ++c) {
          double* const column = x + i + (v * w + c) * ldx;
          if (!whole && (v * w + c >= count || i >= rows)) {
            if (!into_x) square[c] = P::zero();
          } else if (into_x) {
            if (whole)
              P::store(column, square[c]);
            else
              P::store(lanes, column, square[c]);
          } else {
            square[c] = whole ? P::load(column) : P::load(lanes, column);
          }
        }
        if (!into_x) {
          P::transpose(square);
#pragma GCC unroll 8
          for (int r = 0; r < w; ++r) of[i + r][v] = square[r];
        }
      }
    }
  }

  // From the rows of X' : each is a column of X.
  template <bool whole, bool into_x>
  [[gnu::always_inline]] void move(vex_int rows, vex_int count, double* x, vex_int ldx) {
#pragma GCC unroll 8
    for (int r = 0; r < R; ++r)
#pragma GCC unroll 4
      for (int v = 0; v < MV; ++v) {
        double* const at = x + v * w + r * ldx;
        const vex_int left = whole ? w : smaller(w, count - v * w);
        if (!whole && (r >= rows || left <= 0)) {
          if (!into_x) of[r][v] = P::zero();
        } else if (into_x) {
          if (whole)
            P::store(at, of[r][v]);
          else
            P::store(P::first_lanes(static_cast<int>(left)), at, of[r][v]);
        } else {
          of[r][v] = whole ? P::load(at) : P::load(P::first_lanes(static_cast<int>(left)), at);
        }
      }
  }

  [[gnu::always_inline]] void load(const double* panel) {
#pragma GCC unroll 8
    for (int r = 0; r < R; ++r)
#pragma GCC unroll 4
      for (int v = 0; v < MV; ++v) of[r][v] = P::load(panel + (r * MV + v) * w);
  }
  [[gnu::always_inline]] void store(double* panel) const {
#pragma GCC unroll 8
    for (int r = 0; r < R; ++r)
#pragma GCC unroll 4
      for (int v = 0; v < MV; ++v) P::store(panel + (r * MV + v) * w, of[r][v]);
  }

  // `solved` is the row of the panel that was solved first.
  template <bool forward>
  [[gnu::always_inline]] void subtract(vex_int done, const double* e, const double* solved) {
#pragma GCC unroll 2
    for (vex_int k = 0; k < done; ++k, e += R, solved += forward ? MV * w : -MV * w) {
      typename P::Vector row[MV];
#pragma GCC unroll 4
      for (int v = 0; v < MV; ++v) row[v] = P::load(solved + v * w);
#pragma GCC unroll 16
      for (int r = 0; r < R; ++r) {
        const auto value = P::broadcast(e + r);
#pragma GCC unroll 4
        for (int v = 0; v < MV; ++v) of[r][v] = P::multiply_add(value, row[v], of[r][v]);
      }
    }
  }

  template <bool forward, Diagonal diagonal>
  [[gnu::always_inline]] void solve(const double* e) {
#pragma GCC unroll 8
    for (int t = 0; t < R; ++t) {
      const int s = forward ? t : R - 1 - t;
      if constexpr (diagonal != Diagonal::unit) {
        const auto value = P::broadcast(e + s * R + s);
#pragma GCC unroll 4
        for (int v = 0; v < MV; ++v) {
          if constexpr (diagonal == Diagonal::divisors)
            of[s][v] = P::divide(of[s][v], value);
          else
            of[s][v] = P::multiply(of[s][v], value);
        }
      }
#pragma GCC unroll 8
      for (int r = forward ? s + 1 : 0; r < (forward ? R : s); ++r) {
        const auto value = P::broadcast(e + s * R + r);
#pragma GCC unroll 4
        for (int v = 0; v < MV; ++v) of[r][v] = P::multiply_add(value, of[s][v], of[r][v]);
      }
    }
  }
};

// One group of right-hand sides, at most MV vectors of them.
template <typename P, bool left, bool forward, bool unit, int MV, bool whole>
[[gnu::always_inline]] inline void solve_group(const SolveBlock& s, vex_int count, double* x) {
  constexpr vex_int R = solve_rows<P>, W = MV * P::width;
  const vex_int order = s.order, ldx = s.ldx, last = (order - 1) / R * R;
  const double* e = s.triangle;
  for (vex_int b = 0; b <= last; b += R) {
    const vex_int i = forward ? b : last - b, rows = smaller(R, order - i);
    double* const target = s.panel + i * W;
    double* const at = left ? x + i : x + i * ldx;
    SolveRows<P, MV> block;
    if (left) {
      if (whole && rows == R)
        block.template turn<true, false>(rows, count, at, ldx);
      else
        block.template turn<false, false>(rows, count, at, ldx);
    } else {
      if (whole && rows == R)
        block.template move<true, false>(rows, count, at, ldx);
      else
        block.template move<false, false>(rows, count, at, ldx);
    }
    // The same rows of the group that follows come to the second cache. On their way to the first they kept
    // what the products read from the second waiting: LU of orders 500 to 2000 took 1 to 6 percent longer, of
    // 4000 and 8000 as long. Asking for the first group's rows beforehand gained nothing.
    const double* next = left ? at + W * ldx : at + W;
#pragma GCC unroll 1
    for (vex_int line = 0; line < (left ? W : R); ++line, next += ldx) {
      __builtin_prefetch(next, 0, 2);
      if (!left && W > 8) __builtin_prefetch(next + 8, 0, 2);
      if (!left && W > 16) __builtin_prefetch(next + 16, 0, 2);
    }
    const vex_int done = forward ? i : larger(0, order - i - R);
    block.template subtract<forward>(done, e, s.panel + (forward ? 0 : order - 1) * W);
    e += done * R;
    block.template solve<forward, unit ? Diagonal::unit : Diagonal::reciprocals>(e);
    e += R * R;
    if (b != last) block.store(target);
    if (left) {
      if (whole && rows == R)
        block.template turn<true, true>(rows, count, at, ldx);
      else
        block.template turn<false, true>(rows, count, at, ldx);
    } else {
      if (whole && rows == R)
        block.template move<true, true>(rows, count, at, ldx);
      else
        block.template move<false, true>(rows, count, at, ldx);
    }
  }
}

// Whole groups a tile of the multiply wide, then what is left in a group as few vectors wide as hold it.
template <typename P, bool left, bool forward, bool unit>
[[gnu::always_inline]] inline void solve_block(const SolveBlock& s) {
  constexpr vex_int W = P::blocks.mr, w = P::width;
  constexpr int N = static_cast<int>(W / w);
  const vex_int step = left ? s.ldx : 1;
  vex_int j = 0;
  for (; j + W <= s.count; j += W) solve_group<P, left, forward, unit, N, true>(s, W, s.x + j * step);
  const vex_int rest = s.count - j;
  if (rest == 0) return;
  if (rest > 2 * w)
    solve_group<P, left, forward, unit, N, false>(s, rest, s.x + j * step);
  else if (rest > w)
    solve_group<P, left, forward, unit, 2, false>(s, rest, s.x + j * step);
  else
    solve_group<P, left, forward, unit, 1, false>(s, rest, s.x + j * step);
}

template <typename P, bool left, bool forward>
[[gnu::always_inline]] inline void solve_diagonal(const SolveBlock& s) {
  if (s.unit)
    solve_block<P, left, forward, true>(s);
  else
    solve_block<P, left, forward, false>(s);
}

// The copy routine of the kernel table that goes with it.
template <typename P, bool left, bool forward>
[[gnu::always_inline]] inline void copy_triangle(const MatrixDescriptor* e, double* target,
                                                 const double* scale) {
  const bool by_rows = is_transposed(*e) == left;  // E's rows are contiguous
  pack_triangle<P::blocks.nr, forward>(e->rows, first_element(*e), by_rows ? e->ld : 1, by_rows ? 1 : e->ld,
                                       (e->flags & flag_unit) != 0, *scale, target);
}

}  // namespace vex::blas::engine
