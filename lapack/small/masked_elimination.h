// Factorization of matrices of at most 32 rows and columns where masks are made of bits, right-looking, in a
// padded copy of the matrix that never leaves the first-level cache. Rows are not interchanged while it
// works: a row that gave a pivot is left out of all further steps by a mask, and each column is brought into
// its final order on its way back. Steps go in pairs, so that the columns on the right are read and written
// once for two of them.
#pragma once

#include "lapack/small/lanes.h"
#include "service/types.h"

namespace vex::lapack::small {

// What the pivot search makes of NaNs, and the magnitude from which a pivot's reciprocal is used.
enum class Rule {
  small,  // a scan that moves only to a greater magnitude; divides by pivots up to the safe minimum
  panel   // the first NaN wins; divides by pivots below the safe minimum
};

// `blocks` vectors make a column. Beside what lanes.h lists, Lanes has
//   subtract_product(mask, c, a, b)         c - a * b where the mask is set, c elsewhere
//   read_or_zero(p, count)                  the first `count` lanes, perhaps none, and zeros
//   any_nan(x)                              whether one of several vectors holds a NaN
//   RowNumbers, row_numbers(p)              `width` row numbers
//   pick<blocks>(column, numbers)           these rows of a column
template <typename Lanes, int blocks, Rule rule>
class MaskedElimination {
 public:
  static constexpr int width = Lanes::width;
  static constexpr int rows = blocks * width;

  // m is at most `rows`, n at most 32.
  MaskedElimination(int m, int n, vex_int* ipiv) : m_(m), n_(n), ipiv_(ipiv) {
    for (int i = 0; i < rows; ++i) row_at_[i] = position_of_[i] = i;
  }

  // Returns info.
  vex_int run(double* a, vex_int lda) {
    for (int k = 0; k < n_; ++k) read_column(k, a + k * lda);
    if constexpr (blocks <= 2)
      eliminate();
    else
      eliminate_overlapped();
    write_columns(a, lda);
    return info_;
  }

 private:
  using Vector = typename Lanes::Vector;

  struct Column {
    Vector of[blocks];
  };

  // What the columns on the right need of a step.
  struct Step {
    Column multipliers;
    int row;          // of the pivot
    unsigned active;  // a bit for each of the rows below it
  };

  unsigned all_rows() const { return static_cast<unsigned>((1ull << m_) - 1); }
  double* column(int k) { return cells_ + k * rows; }
  static auto mask(unsigned set, int block) { return Lanes::mask(set >> (block * width)); }

  Column loaded(int k) {
    Column x;
    unrolled<0, blocks>([&](auto b) { x.of[b] = Lanes::load(column(k) + b * width); });
    return x;
  }

  void read_column(int k, const double* from) {
    unrolled<0, blocks>([&](auto b) {
      Lanes::store(column(k) + b * width, Lanes::read_or_zero(from + b * width, m_ - b * width));
    });
  }

  void write_columns(double* a, vex_int lda) {
    for (int first = 0; first < m_; first += width) {
      const typename Lanes::RowNumbers numbers = Lanes::row_numbers(row_at_ + first);
      for (int k = 0; k < n_; ++k)
        Lanes::write(a + k * lda + first, Lanes::template pick<blocks>(column(k), numbers), m_ - first);
    }
  }

  // The row of the pivot of column j as the rule says, of those from position j on.
  [[gnu::noinline, gnu::cold]] static int scan(int j, int m, const double* x, const vex_int* row_at) {
    vex_int best = row_at[j];
    for (int i = j; i < m; ++i) {
      const double value = __builtin_fabs(x[row_at[i]]);
      if (rule == Rule::panel && value != value) return static_cast<int>(row_at[i]);
      if (value > __builtin_fabs(x[best])) best = row_at[i];
    }
    return static_cast<int>(best);
  }

  template <int from, int to>
  [[gnu::always_inline]] static Vector largest_of(const Vector (&x)[blocks]) {
    if constexpr (to - from == 1)
      return x[from];
    else
      return Lanes::larger(largest_of<from, (from + to) / 2>(x), largest_of<(from + to) / 2, to>(x));
  }

  // The row of the pivot of column j, whose numbers are x, without a branch that depends on ordinary data.
  // Where rows tie, their order decides, which only row_at_ knows. The reciprocal of the largest magnitude
  // (of no use if the pivot is a NaN) does not wait for the row.
  [[gnu::always_inline]] int pivot_row(int j, const Column& x, unsigned active, double& reciprocal) {
    Vector candidates[blocks];
    unrolled<0, blocks>([&](auto b) { candidates[b] = Lanes::magnitudes(x.of[b], mask(~active, b)); });
    const Vector best = Lanes::largest(largest_of<0, blocks>(candidates));
    reciprocal = 1 / best[0];
    unsigned found = 0;
    unrolled<0, blocks>([&](auto b) { found |= Lanes::equal_lanes(candidates[b], best) << (b * width); });
    const bool tied = (found & (found - 1)) != 0;
    if (__builtin_expect(tied || Lanes::any_nan(x.of), 0)) return scan(j, m_, column(j), row_at_);
    return __builtin_ctz(found);
  }

  // The interchange of step j, which moves nothing but the numbers of the rows. Leaving it until all steps
  // are done cost a quarter more at 16 rows.
  [[gnu::always_inline]] void interchange(int j, int row) {
    const vex_int position = position_of_[row], displaced = row_at_[j];
    ipiv_[j] = position + 1;
    row_at_[position] = displaced;
    position_of_[displaced] = position;
    row_at_[j] = row;
  }

  static bool is_safe(double pivot) {
    const double magnitude = __builtin_fabs(pivot);
    return rule == Rule::small ? magnitude > safe_minimum : magnitude >= safe_minimum;
  }

  // x / pivot, in the usual case by the reciprocal of its magnitude.
  [[gnu::always_inline]] Column scaled(const Column& x, double pivot, double reciprocal, int j) {
    Column result = x;
    if (__builtin_expect(is_safe(pivot), 1)) {
      const Vector factor = Lanes::broadcast(__builtin_copysign(reciprocal, pivot));
      unrolled<0, blocks>([&](auto b) { result.of[b] = Lanes::multiply(x.of[b], factor); });
    } else if (pivot != 0.0) {
      unrolled<0, blocks>([&](auto b) { result.of[b] = Lanes::divide(x.of[b], Lanes::broadcast(pivot)); });
    } else if (info_ == 0) {
      info_ = j + 1;
    }
    return result;
  }

  void eliminate() {
    const int diagonal = m_ < n_ ? m_ : n_;
    unsigned active = all_rows();
    Column x = loaded(0);
    int j = 0;
    for (; j + 1 < diagonal; j += 2) {
      const Step first = choose_pivot(j, x, active);
      const Step second = choose_pivot(j + 1, update(j + 1, first), active);
      if (j + 2 == n_) return;
      const Vector link = Lanes::broadcast(column(j)[second.row]);
      x = update(j + 2, first, second, link);
      for (int k = j + 3; k < n_; ++k) update(k, first, second, link);
    }
    if (j == diagonal) return;
    const Step last = choose_pivot(j, x, active);
    for (int k = diagonal; k < n_; ++k) update(k, last);
  }

  // The same with the searches for a pair's pivots between the updates of the pair before, which have all
  // they need and fill the time that a search waits for itself. Nanoseconds without and with that: 945 and
  // 812 at order 24, 1640 and 1536 at 32, but 398 and 440 at 16.
  void eliminate_overlapped() {
    const int diagonal = m_ < n_ ? m_ : n_;
    unsigned active = all_rows();
    Step first = choose_pivot(0, loaded(0), active), second = first;
    bool paired = diagonal > 1;
    if (paired) second = choose_pivot(1, update(1, first), active);
    int j = 0;
    for (; paired && j + 2 < n_; j += 2) {
      const Step before = first, last = second;
      const Vector link = Lanes::broadcast(column(j)[last.row]);
      const Column x = update(j + 2, before, last, link);
      if (j + 2 < diagonal) first = choose_pivot(j + 2, x, active);
      const int half = (j + 4 + n_) / 2;
      int k = j + 3;
      for (; k < half; ++k) update(k, before, last, link);
      paired = j + 3 < diagonal;
      if (paired) second = choose_pivot(j + 3, update(j + 3, first), active);
      for (; k < n_; ++k) update(k, before, last, link);
    }
    if (paired || j == diagonal) return;
    for (int k = diagonal; k < n_; ++k) update(k, first);
  }

  // Everything of column j, whose numbers are x, but the updates to its right.
  [[gnu::always_inline]] Step choose_pivot(int j, const Column& x, unsigned& active) {
    double reciprocal;
    const int row = pivot_row(j, x, active, reciprocal);
    active &= ~(1u << row);
    interchange(j, row);
    const Column multipliers = scaled(x, column(j)[row], reciprocal, j);
    unrolled<0, blocks>([&](auto b) {
      Lanes::store(column(j) + b * width, Lanes::select(mask(active, b), multipliers.of[b], x.of[b]));
    });
    return {multipliers, row, active};
  }

  // The rank-1 update of column k.
  [[gnu::always_inline]] Column update(int k, const Step& step) {
    const Vector upper = Lanes::broadcast(column(k)[step.row]);
    Column x = loaded(k);
    unrolled<0, blocks>([&](auto b) {
      x.of[b] = Lanes::subtract_product(mask(step.active, b), x.of[b], step.multipliers.of[b], upper);
      Lanes::store(column(k) + b * width, x.of[b]);
    });
    return x;
  }

  // Both steps of a pair; `link` is the first one's multiplier in the pivot row of the second.
  [[gnu::always_inline]] Column update(int k, const Step& first, const Step& second, Vector link) {
    const Vector upper = Lanes::broadcast(column(k)[first.row]);
    const Vector next = Lanes::subtract_product(Lanes::broadcast(column(k)[second.row]), link, upper);
    Column x = loaded(k);
    unrolled<0, blocks>([&](auto b) {
      x.of[b] = Lanes::subtract_product(mask(first.active, b), x.of[b], first.multipliers.of[b], upper);
      x.of[b] = Lanes::subtract_product(mask(second.active, b), x.of[b], second.multipliers.of[b], next);
      Lanes::store(column(k) + b * width, x.of[b]);
    });
    return x;
  }

  static constexpr int most_columns = 32;

  alignas(64) double cells_[most_columns * rows];
  int m_, n_;
  vex_int* ipiv_;
  vex_int info_ = 0;
  vex_int row_at_[rows];       // the row that stands at a position
  vex_int position_of_[rows];  // where a row that has given no pivot stands
};

// Returns info. m and n are at most 32.
template <typename Lanes, Rule rule, int blocks = 1>
vex_int factor_masked(int m, int n, double* a, vex_int lda, vex_int* ipiv) {
  if constexpr (blocks * Lanes::width < 32) {
    if (m > blocks * Lanes::width) return factor_masked<Lanes, rule, blocks + 1>(m, n, a, lda, ipiv);
  }
  return MaskedElimination<Lanes, blocks, rule>(m, n, ipiv).run(a, lda);
}

}  // namespace vex::lapack::small
