// The solve in place, for triangles too small to repay packing: 4 x 4 diagonal blocks with four or eight
// right-hand sides at a time, and in-place products for the rest.
#pragma once

#include "blas/engine/multiply.h"
#include "blas/engine/solve_kernel.h"

namespace vex::blas::engine {

// Packs a diagonal block of at most 4 x 4 as solve_kernel.h says; with the diagonal itself in place of its
// reciprocals (rf, reciprocal-free) for elements whose reciprocals lose bits.
template <bool reciprocal_free>
[[gnu::always_inline]] inline void copy_fixed(const MatrixDescriptor* e, SideIndex side, double* target) {
  const bool left = side == on_left, by_rows = is_transposed(*e) == left;
  const vex_int row = by_rows ? e->ld : 1, column = by_rows ? 1 : e->ld;
  const bool unit = (e->flags & flag_unit) != 0;
  const double* const first = first_element(*e);
  if (left == (effective_triangle(e->flags) == of_lower))
    pack_triangle<4, true>(e->rows, first, row, column, unit, -1, target);
  else
    pack_triangle<4, false>(e->rows, first, row, column, unit, -1, target);
  if (reciprocal_free && !unit)
    for (vex_int i = 0; i < e->rows; ++i) target[5 * i] = first[i * (row + column)];
}

// Q is a type of vectors of four doubles in blocks of four rows.
template <typename Q, bool left, bool lower, Diagonal diagonal, int vectors>
[[gnu::always_inline]] inline void solve_fixed(const double* e, double* x, vex_int ldx) {
  SolveRows<Q, vectors> rows;
  if (left)
    rows.template turn<true, false>(4, 4 * vectors, x, ldx);
  else
    rows.template move<true, false>(4, 4 * vectors, x, ldx);
  rows.template solve<left == lower, diagonal>(e);
  if (left)
    rows.template turn<true, true>(4, 4 * vectors, x, ldx);
  else
    rows.template move<true, true>(4, 4 * vectors, x, ldx);
}

// A piece of X cut by its edge, solved in a square beside it.
[[gnu::always_inline]] inline void solve_cut(FixedSolve* kernel, const double* e, double* x, vex_int ldx,
                                             vex_int rows, vex_int columns) {
  alignas(64) double square[16] = {};
  for (vex_int c = 0; c < columns; ++c)
    for (vex_int r = 0; r < rows; ++r) square[r + 4 * c] = x[r + c * ldx];
  kernel(e, square, 4);
  for (vex_int c = 0; c < columns; ++c)
    for (vex_int r = 0; r < rows; ++r) x[r + c * ldx] = square[r + 4 * c];
}

// op(A) X = alpha B or X op(A) = alpha B.
template <typename P>
void solve_in_place(const FixedKernels& kernels, bool left, double alpha, const MatrixDescriptor& e,
                    const MatrixDescriptor& x, bool reciprocal_free) {
  const vex_int order = e.rows, count = left ? x.columns : x.rows, ldx = x.ld;
  const TriangleIndex triangle = effective_triangle(e.flags);
  const SideIndex side = left ? on_left : on_right;
  const bool forward = left == (triangle == of_lower), plain = !is_transposed(e);
  const auto& kernel = kernels.solve[side][triangle][(e.flags & flag_unit) != 0];
  FixedSolve* const four = kernel[0][reciprocal_free];
  FixedSolve* const eight = kernel[1][reciprocal_free];
  scale_block<P>(x.rows, x.columns, alpha, x.data, ldx);
  alignas(64) double packed[16];
  const vex_int blocks = (order + 3) / 4;
  for (vex_int b = 0; b < blocks; ++b) {
    const vex_int i = 4 * (forward ? b : blocks - 1 - b), rows = smaller(4, order - i);
    const MatrixDescriptor diagonal = narrowed(e, i, i, rows, rows);
    kernels.copy[reciprocal_free](&diagonal, side, packed);
    double* const solved = x.data + (left ? i : i * ldx);
    const vex_int step = left ? ldx : 1;
    vex_int j = 0;
    if (rows == 4) {
      for (; j + 8 <= count; j += 8) eight(packed, solved + j * step, ldx);
      for (; j + 4 <= count; j += 4) four(packed, solved + j * step, ldx);
    }
    for (; j < count; j += 4) {
      const vex_int width = smaller(4, count - j);
      solve_cut(four, packed, solved + j * step, ldx, left ? rows : width, left ? width : rows);
    }
    const vex_int rest = forward ? order - i - rows : i, first = forward ? i + rows : 0;
    if (rest <= 0) continue;
    if (left)
      drive_in_place<P>(plain, true, rest, count, rows, -1, e.locate(first, i, &e), e.ld, solved, ldx, 1,
                        x.data + first, ldx);
    else
      drive_in_place<P>(true, plain, count, rest, rows, -1, solved, ldx, e.locate(i, first, &e), e.ld, 1,
                        x.data + first * ldx, ldx);
  }
}

}  // namespace vex::blas::engine
