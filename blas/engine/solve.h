// The triangular solve with many right-hand sides of one path: the way to the drivers, and the unblocked
// solver. There all sixteen cases become one: E X = B with E lower triangular, by walking the operands with
// strides (a transposed operand swaps them, an upper triangle is walked from its last row backwards, a solve
// from the right is the transposed solve from the left).
#pragma once

#include "blas/engine/fixed_solve.h"
#include "blas/engine/scale.h"
#include "blas/engine/solve_drivers.h"
#include "blas/engine/solve_kernel.h"

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

template <typename P>
void solve_v1(bool left, bool lower, bool transposed, bool unit, vex_int m, vex_int n, double alpha,
              const double* a, vex_int lda, double* b, vex_int ldb) {
  if (m < 1 || n < 1) return;
  scale_block<P>(m, n, alpha, b, ldb);
  if (alpha != 0) solve_unblocked<P>(as_lower_solve(left, lower, transposed, unit, m, n, a, lda, b, ldb));
}

// The same from the records of a call.
template <typename P>
void solve_v1(const BlockedCall& call) {
  const SolveLetters letters = solve_letters(call);
  const bool left = letters.side == 'L';
  const MatrixDescriptor& e = left ? call.a : call.b;
  solve_v1<P>(left, letters.uplo == 'L', letters.trans == 'T', letters.diag == 'U', call.c.rows,
              call.c.columns, call.operation.alpha, first_element(e), e.ld, first_element(call.c), call.c.ld);
}

// Orders up to this may be solved in place. With more than one 4 x 4 block the blocked solve wins: at order 8
// from 64 right-hand sides on (280 against 430 ns), and the way must not depend on their number, which
// threads share. A single block takes the same operations on either way, so there the choice is free: a whole
// one is three times as fast in place (70 against 200 to 290 ns for 64), a cut one up to 16 right-hand sides.
inline constexpr vex_int largest_in_place = 4;
inline constexpr vex_int few_right_hand_sides = 16;

// The solve by blocks, or in place.
template <typename P>
void solve(const char* side, const char* uplo, const char* trans, const char* diag, vex_int m, vex_int n,
           double alpha, const double* a, vex_int lda, double* b, vex_int ldb) {
  if (m < 1 || n < 1) return;
  const bool right = !is(side, 'L');
  const vex_int order = right ? n : m;
  MatrixDescriptor triangle, x;
  blas_initialize_matrix(&triangle, const_cast<double*>(a), order, order, lda, uplo, diag, trans);
  blas_initialize_matrix(&x, b, m, n, ldb, nullptr, nullptr, nullptr);
  if constexpr (requires { P::fixed_kernels; }) {
    if (order <= largest_in_place && alpha != 0) {
      const Reciprocals reciprocals = reciprocals_of(triangle);
      const bool divide = reciprocals == Reciprocals::lose_bits;
      const bool in_place = divide || order == largest_in_place || (right ? m : n) <= few_right_hand_sides;
      if (in_place && reciprocals != Reciprocals::overflow)
        return solve_in_place<P>(P::fixed_kernels, !right, alpha, triangle, x, divide);
    }
  }
  run_solve(P::operations, right, alpha, triangle, x, nullptr);
}

}  // namespace vex::blas::engine
