// The triangular multiply: B := alpha op(T) B (left) or alpha B op(T) (right). Diagonal blocks of T are
// packed with zeros in their empty half; the kernel leaves the zeros out except in the square that the
// diagonal crosses.
#pragma once

#include "blas/engine/kernel_table.h"

namespace vex::blas::engine {

// The drivers. B stands in the call twice: as the factor that is not triangular, and as C.
template <bool left, bool lower>
void drive_triangular_multiply(const BlockedCall& call);

// Packs a piece of a diagonal block in panels of W rows (left) or columns (right). Steps and panels are
// counted in op(T), whose effective triangle is `lower` or upper.
template <int W, bool left, bool lower>
[[gnu::always_inline]] inline void copy_factor(const MatrixDescriptor* s, const PackedDescriptor* packed,
                                               double* target, const double* scale) {
  const vex_int extent = left ? s->rows : s->columns, depth = left ? s->columns : s->rows;
  const vex_int first = left ? s->row_offset : s->column_offset;
  const vex_int step = left ? s->column_offset : s->row_offset;
  for (vex_int i = 0; i < extent; i += W, target += packed->panel_size) {
    double* value = target;
    for (vex_int p = step; p < step + depth; ++p)
      for (vex_int r = first + i; r < first + i + W; ++r, ++value) {
        const bool inside = r < first + extent && (left == lower ? r > p : r < p);
        if (r == p)
          *value = s->flags & flag_unit ? *scale : *scale * *s->locate(p, p, s);
        else
          *value = inside ? *scale * (left ? *s->locate(r, p, s) : *s->locate(p, r, s)) : 0.0;
      }
  }
}

// Whether a run of packed values holds an infinity or a NaN, which a product with a packed zero would spread.
[[gnu::always_inline]] inline bool has_non_finite(const double* values, vex_int count) {
  bool found = false;
  for (vex_int i = 0; i < count; ++i) found |= __builtin_isfinite(values[i]) == 0;
  return found;
}

// One panel of T against the rest of a block, element by element, without the zeros.
template <typename P, bool left, bool lower>
void multiply_panel_exactly(const BlockProduct& x, vex_int first, vex_int from) {
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr;
  const auto lane = P::first_lanes(1);
  for (vex_int j = 0; j < x.columns; ++j)
    for (vex_int i = 0; i < x.rows; ++i) {
      const vex_int own =
          first + (left ? i : j) - from;  // step of the diagonal, counted from the panel's first
      const double* const a = x.a + i / mr * x.a_panel + i % mr;
      const double* const b = x.b + j / nr * x.b_panel + j % nr;
      typename P::Vector sum = P::zero();
      for (vex_int p = left == lower ? 0 : own; p < (left == lower ? own + 1 : x.depth); ++p)
        sum = P::multiply_add(P::splat(a[p * mr]), P::splat(b[p * nr]), sum);
      double* const c = x.c + i + j * x.ldc;
      P::store(lane, c, x.store ? sum : P::add(P::load(lane, c), sum));
    }
}

// x.diagonal is the first row (left) or column (right) of the block, counted from the first step.
template <typename P, bool left, bool lower>
[[gnu::always_inline]] inline void multiply_diagonal_block(const BlockProduct& x, BlockKernel* full) {
  constexpr vex_int mr = P::blocks.mr, nr = P::blocks.nr, width = left ? mr : nr, other = left ? nr : mr;
  // From the right all panels pass by a chunk of A before the next one comes, as in any block.
  const vex_int chunk = left ? x.rows : larger(1, P::chunk_elements / (mr * x.depth)) * mr;
  for (vex_int i = 0; i < x.rows; i += chunk)
    for (vex_int t = 0; t < (left ? x.rows : x.columns); t += width) {
      const vex_int first = x.diagonal + t;
      const vex_int from = left == lower ? 0 : first,
                    to = left == lower ? smaller(x.depth, first + width) : x.depth;
      BlockProduct part = x;
      if (left) {
        part.rows = smaller(width, x.rows - t);
        part.a += t / mr * x.a_panel, part.c += t;
      } else {
        part.rows = smaller(chunk, x.rows - i), part.columns = smaller(width, x.columns - t);
        part.a += i / mr * x.a_panel, part.b += t / nr * x.b_panel, part.c += i + t * x.ldc;
      }
      part.a += from * mr, part.b += from * nr, part.depth = to - from;
      const double* crossed = (left ? part.b : part.a) + (first - from) * other;
      bool exact = false;
      for (vex_int e = 0; e < (left ? part.columns : part.rows);
           e += other, crossed += left ? x.b_panel : x.a_panel)
        exact |= has_non_finite(crossed, smaller(width, x.depth - first) * other);
      if (exact)
        multiply_panel_exactly<P, left, lower>(part, first, from);
      else
        full(part);
    }
}

}  // namespace vex::blas::engine
