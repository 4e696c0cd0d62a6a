// The unblocked factorization of one code path: a matrix or a panel of any shape, on the calling thread,
// without scratch memory. To its callers it is the column by column, left-looking form; inside, the columns
// go through it in strips as wide as the multiply's tile (long columns in strips of their own: long_strip.h),
// so that what the columns on the left do to a strip is one small multiply, and only the steps within a strip
// work on single columns.
#pragma once

#include <cstdint>

#include "blas/engine/multiply.h"
#include "blas/engine/solve.h"
#include "lapack/small/lanes.h"
#include "lapack/small/long_strip.h"
#include "service/types.h"

namespace vex::lapack::small {

template <typename P>
inline constexpr double row_numbers[8] = {0, 1, 2, 3, 4, 5, 6, 7};

// The steps within one strip. P are the path's vectors and block sizes, Lanes what the small systems add to
// the vectors. The strip's rows start with the row of its first pivot; vectors always start a multiple of
// their length below it, since a load that overlaps two recent stores would wait for both.
template <typename P, typename Lanes>
class StripFactorization {
 public:
  static constexpr int width = static_cast<int>(P::blocks.nr);

  // Rows of strips that go right-looking, and columns on the left of such a strip that are interchanged with
  // it. Cycles by rows and columns, AVX-512, left-looking and right-looking steps: 17 x 17 3990 and 3770, 48
  // x 48 18120 and 17530, 64 x 48 21010 and 21190, 200 x 48 48900 and 54400, 4000 x 24 283000 and 354000.
  static constexpr vex_int most_short_rows = 48, most_left = 40;

  // The `left` columns before the strip take its interchanges at once.
  StripFactorization(vex_int rows, int columns, double* a, vex_int lda, vex_int* ipiv, vex_int left)
      : rows_(rows), columns_(columns), a_(a), lda_(lda), ipiv_(ipiv), left_(left) {}

  // The pivots are one-based rows of the strip. Returns info.
  vex_int run() {
    const int steps = static_cast<int>(rows_ < columns_ ? rows_ : columns_);
    if (rows_ > most_short_rows)
      run_left_looking(steps);
    else
      run_right_looking(steps);
    return info_;
  }

 private:
  using V = typename P::Vector;
  using Masks = RowMasks<Lanes>;
  static constexpr int w = P::width;

  double* column(int j) { return a_ + j * lda_; }

  void run_left_looking(int steps) {
    unrolled<0, width>([&](auto column) {
      constexpr int j = decltype(column){};
      if (j >= steps) return;
      update_column<j>();
      finish_row<j>(choose_pivot(j));
    });
    scale_column(steps - 1);
  }

  void run_right_looking(int steps) {
    update_column<0>();
    unrolled<0, width>([&](auto column) {
      constexpr int j = decltype(column){};
      if (j >= steps) return;
      const vex_int p = choose_pivot(j);
      eliminate<j>(p);
      interchange_left(j, p);
    });
  }

  // Left of the strip, while the next pivot is on its way through a chain of latencies: orders 33 to 48 take
  // 6 percent fewer cycles so than with all interchanges of a strip after it, order 128 19 more, since there
  // are many columns to the left, whose rows evict each other from the cache.
  [[gnu::always_inline]] void interchange_left(int j, vex_int p) {
    double* x = a_ - left_ * lda_;
    constexpr int together = width < 4 ? width : 4;
    for (vex_int c = 0; c < left_; c += together, x += together * lda_)
      unrolled<0, together>([&](auto k) {
        double* const y = x + k * lda_;
        const double value = y[j];
        y[j] = y[p];
        y[p] = value;
      });
  }

  // How vectors within the rows, and the one that the last row cuts short, are read and written.
  struct Whole {
    V load(const double* p) const { return P::load(p); }
    void store(double* p, V value) const { P::store(p, value); }
    V existing(V value) const { return value; }
  };
  struct Cut {
    int count;
    typename P::Mask lanes = P::first_lanes(count);
    V load(const double* p) const { return P::load(lanes, p); }
    void store(double* p, V value) const { P::store(lanes, p, value); }
    // Infinite factors turn the zeros that were read for the missing rows into NaNs.
    V existing(V value) const { return Lanes::select(Masks::before(count, 0), value, P::zero()); }
  };

  struct Update {
    V upper[width];  // the rows of U that belong to the columns on the left
    V factor;        // what the last of those is still to be multiplied by
    V best = P::zero();
    typename P::NanFlags nan = P::no_nan();
  };

  // The vector of column j that starts at row i. With `top` it is the one that row j lies in, whose rows
  // above are finished.
  template <int j, bool top, typename Rows>
  [[gnu::always_inline]] void update_vector(Update& update, vex_int i, Rows rows) {
    double* const x = column(j) + i;
    V value = rows.load(x);
    if constexpr (j > 0) {
      double* const last = column(j - 1) + i;
      V multiplier = rows.load(last);
      const V scaled = P::multiply(multiplier, update.factor);
      multiplier = top && j % w != 0 ? Lanes::select(Masks::from(j % w, 0), scaled, multiplier) : scaled;
      rows.store(last, multiplier);
      V updated = value;
      unrolled<0, j - 1>(
          [&](auto k) { updated = P::subtract_product(rows.load(column(k) + i), update.upper[k], updated); });
      updated = P::subtract_product(multiplier, update.upper[j - 1], updated);
      value = top && j % w != 0 ? Lanes::select(Masks::from(j % w, 0), updated, value) : updated;
      rows.store(x, value);
    }
    value = rows.existing(value);
    if (top && j % w != 0) value = Lanes::select(Masks::from(j % w, 0), value, P::zero());
    update.nan = P::note_nan(update.nan, value);
    update.best = P::maximum(update.best, P::magnitude(value));
  }

  // Column j minus the products of the columns on its left, of which the last is still to be divided by its
  // pivot; on the way, the largest magnitude.
  template <int j>
  [[gnu::always_inline]] void update_column() {
    Update update;
    unrolled<0, j>([&](auto k) { update.upper[k] = P::broadcast(&upper_[k][j]); });
    update.factor = P::splat(factor_);
    const Cut rest{static_cast<int>(rows_ % w)};
    const vex_int whole = rows_ - rest.count;
    vex_int i = j / w * w;
    if (i < whole)
      update_vector<j, true>(update, i, Whole{});
    else
      update_vector<j, true>(update, i, rest);
    for (i += w; i < whole; i += w) update_vector<j, false>(update, i, Whole{});
    if (i < rows_) update_vector<j, false>(update, i, rest);
    has_nan_ = P::any_nan(update.nan);
    largest_ = Lanes::largest(update.best);
  }

  // The first NaN from row j on, or else the first row of largest magnitude.
  vex_int pivot_row(int j) {
    const double* const x = column(j);
    if (__builtin_expect(has_nan_, 0)) {
      vex_int i = j;
      while (x[i] == x[i]) ++i;
      return i;
    }
    // Without a branch until 64 rows are compared: where the pivot lies cannot be predicted. The zeros read
    // behind the last row agree only where a zero above them has.
    const Cut rest{static_cast<int>(rows_ % w)};
    std::uint64_t wanted = ~std::uint64_t{0} << j % w;
    for (vex_int i = j / w * w;; wanted = ~std::uint64_t{0}) {
      std::uint64_t agree = 0;
      const vex_int start = i;
      for (; i + w <= rows_ && i < start + 64; i += w)
        agree |= std::uint64_t{Lanes::equal_lanes(P::magnitude(P::load(x + i)), largest_)} << (i - start);
      if (i < rows_ && i < start + 64)
        agree |= std::uint64_t{Lanes::equal_lanes(P::magnitude(rest.load(x + i)), largest_)} << (i - start);
      agree &= wanted;
      if (agree != 0) return start + __builtin_ctzll(agree);
    }
  }

  // Returns the row to interchange with row j, and settles what the column below the pivot is multiplied by.
  [[gnu::always_inline]] vex_int choose_pivot(int j) {
    // The division needs the magnitude only, and need not wait for the row.
    const double reciprocal = 1 / largest_[0];
    const vex_int p = pivot_row(j);
    ipiv_[j] = p + 1;
    const double pivot = column(j)[p];
    factor_ = 1;
    if (__builtin_expect(__builtin_fabs(pivot) >= safe_minimum, 1)) {
      factor_ = __builtin_copysign(reciprocal, pivot);
    } else if (pivot == 0) {
      if (info_ == 0) info_ = j + 1;
      return j;
    } else {
      for (vex_int i = j; i < rows_; ++i)
        if (i != p) column(j)[i] /= pivot;
    }
    return p;
  }

  // The interchange within the strip, and row j right of the pivot minus the products of the rows above it.
  // All in single numbers: a vector read just after would wait for the stores.
  template <int j>
  [[gnu::always_inline]] void finish_row(vex_int p) {
    double multipliers[j + 1];
    unrolled<0, j + 1>([&](auto k) {
      double* const x = column(k);
      const double upper = x[p];
      x[p] = x[j];
      x[j] = multipliers[k] = upper;
    });
    unrolled<j + 1, width>([&](auto k) {
      if (k >= columns_) return;
      double* const x = column(k);
      double upper = x[p];
      x[p] = x[j];
      unrolled<0, j>([&](auto i) { upper = Lanes::subtract_product(upper, multipliers[i], upper_[i][k]); });
      x[j] = upper_[j][k] = upper;
    });
  }

  // The right-looking step of short strips: the interchange with row p and the product of column j leave the
  // columns on its right in one pass of whole vectors, since reading a vector that single numbers were just
  // stored into would take longer than everything else. The columns on the left are not read any more.
  template <int j>
  [[gnu::always_inline]] void eliminate(vex_int p) {
    unrolled<0, j>([&](auto k) {
      double* const x = column(k);
      const double upper = x[p];
      x[p] = x[j];
      x[j] = upper;
    });
    Step step;
    unrolled<j, width>([&](auto k) {
      if (k > j && k >= columns_) return;
      step.upper[k] = P::broadcast(column(k) + p);
      step.displaced[k] = P::broadcast(column(k) + j);
    });
    step.factor = P::splat(factor_);
    step.pivot_row = P::splat(static_cast<double>(p));
    const Cut rest{static_cast<int>(rows_ % w)};
    const vex_int whole = rows_ - rest.count;
    vex_int i = j / w * w;
    if (i < whole)
      update_rows<j, true>(step, i, Whole{});
    else
      update_rows<j, true>(step, i, rest);
    for (i += w; i < whole; i += w) update_rows<j, false>(step, i, Whole{});
    if (i < rows_) update_rows<j, false>(step, i, rest);
    has_nan_ = P::any_nan(step.nan);
    largest_ = Lanes::largest(step.best);
  }

  struct Step {
    V upper[width], displaced[width];  // of each column, the numbers in row p and in row j before the step
    V factor, pivot_row;
    V best = P::zero();
    typename P::NanFlags nan = P::no_nan();
  };

  // The vectors of all columns from j on that start at row i; `top` as above.
  template <int j, bool top, typename Rows>
  [[gnu::always_inline]] void update_rows(Step& step, vex_int i, Rows rows) {
    const V numbers = P::add(P::load(row_numbers<P>), P::splat(static_cast<double>(i)));
    const auto at_pivot = Lanes::equal(numbers, step.pivot_row);
    const auto below = Masks::from(j % w + 1, 0), diagonal = Masks::only(j % w, 0);
    const auto finish = [&](auto k, V old, V updated) __attribute__((always_inline)) {
      if (top) updated = Lanes::select(below, updated, Lanes::select(diagonal, step.upper[k], old));
      rows.store(column(k) + i, updated);
      return updated;
    };
    const V last = rows.load(column(j) + i);
    const V multipliers = P::multiply(Lanes::select(at_pivot, step.displaced[j], last), step.factor);
    finish(Constant<j>{}, last, multipliers);
    unrolled<j + 1, width>([&](auto k) {
      if (k >= columns_) return;
      const V old = rows.load(column(k) + i);
      const V swapped = Lanes::select(at_pivot, step.displaced[k], old);
      V value = finish(k, old, P::subtract_product(multipliers, step.upper[k], swapped));
      if constexpr (k == j + 1) {
        value = rows.existing(value);
        if (top && (j + 1) % w != 0) value = Lanes::select(below, value, P::zero());
        if (top && (j + 1) % w == 0) return;
        step.nan = P::note_nan(step.nan, value);
        step.best = P::maximum(step.best, P::magnitude(value));
      }
    });
  }

  void scale_column(int j) {
    double* const x = column(j);
    for (vex_int i = j + 1; i < rows_; ++i) x[i] *= factor_;
  }

  vex_int rows_;
  int columns_;
  double* a_;
  vex_int lda_;
  vex_int* ipiv_;
  vex_int left_;
  vex_int info_ = 0;
  double factor_ = 1;  // reciprocal of the pivot of the last column, whose rows below still wait for it
  bool has_nan_ = false;
  V largest_;
  alignas(64) double upper_[width][width];  // the rows of U within the strip
};

template <typename P, int columns>
[[gnu::always_inline]] inline void interchange_rows_of(double* a, vex_int lda, vex_int from, vex_int end,
                                                       const vex_int* ipiv) {
  for (vex_int i = from; i < end; ++i) {
    const vex_int p = ipiv[i] - 1;
    unrolled<0, columns>([&](auto j) {
      double* const x = a + j * lda;
      const double value = x[i];
      x[i] = x[p];
      x[p] = value;
    });
  }
}

// Interchanges rows i and ipiv[i] - 1 for from <= i < end, in groups of columns: the swaps within one column
// wait for each other.
template <typename P>
void interchange_rows(vex_int columns, double* a, vex_int lda, vex_int from, vex_int end,
                      const vex_int* ipiv) {
  for (; columns >= 4; columns -= 4, a += 4 * lda) interchange_rows_of<P, 4>(a, lda, from, end, ipiv);
  for (; columns > 0; --columns, a += lda) interchange_rows_of<P, 1>(a, lda, from, end, ipiv);
}

// B := L^-1 B for the unit lower triangle of `order` rows (a multiple of the vector length) at l, B `columns`
// wide.
template <typename P, typename Lanes, int columns>
[[gnu::always_inline]] inline void solve_unit_lower(vex_int order, const double* l, vex_int lda, double* b) {
  using V = typename P::Vector;
  constexpr int w = P::width;
  for (vex_int i = 0; i < order; i += w) {
    V x[columns];
    unrolled<0, columns>([&](auto c) { x[c] = P::load(b + c * lda + i); });
    for (vex_int k = 0; k < i; ++k) {
      const V multipliers = P::load(l + k * lda + i);
      unrolled<0, columns>(
          [&](auto c) { x[c] = P::subtract_product(multipliers, P::broadcast(b + c * lda + k), x[c]); });
    }
    unrolled<0, w - 1>([&](auto s) {
      const V multipliers = P::load(l + (i + s) * lda + i);
      const auto below = RowMasks<Lanes>::from(s + 1, 0);
      unrolled<0, columns>([&](auto c) {
        const V solved = Lanes::template lane<decltype(s){}>(x[c]);
        x[c] = Lanes::select(below, P::subtract_product(multipliers, solved, x[c]), x[c]);
      });
    });
    unrolled<0, columns>([&](auto c) { P::store(b + c * lda + i, x[c]); });
  }
}

// The same for any number of columns, at most `widest` side by side.
template <typename P, typename Lanes, int widest>
[[gnu::always_inline]] inline void solve_unit_lower_by(int columns, vex_int order, const double* l,
                                                       vex_int lda, double* b) {
  if (columns >= widest) {
    solve_unit_lower<P, Lanes, widest>(order, l, lda, b);
    columns -= widest, b += widest * lda;
  }
  if constexpr (widest > 1)
    if (columns > 0) solve_unit_lower_by<P, Lanes, widest / 2>(columns, order, l, lda, b);
}

// From how many rows on a strip is one of long columns: at 400 it gains with AVX-512 and loses with AVX2,
// from 800 on it gains with both.
inline constexpr vex_int least_long_rows = 600;

// Returns info.
template <typename P, typename Lanes>
vex_int factor_unblocked(vex_int m, vex_int n, double* a, vex_int lda, vex_int* ipiv) {
  using Strip = StripFactorization<P, Lanes>;
  using Long = LongStrip<P, Lanes>;
  const vex_int diagonal = m < n ? m : n;
  const bool has_long_columns = m - diagonal >= least_long_rows;
  const int width = has_long_columns ? Long::width : Strip::width;
  vex_int info = 0, first = 0;
  for (; first < diagonal; first += width) {
    const int columns = static_cast<int>(n - first < width ? n - first : width);
    double* const strip = a + first * lda;
    if (first > 0) {
      interchange_rows<P>(columns, strip, lda, 0, first, ipiv);
      for (int c = 0; c < columns; c += Strip::width)
        solve_unit_lower_by<P, Lanes, Strip::width>(columns - c < Strip::width ? columns - c : Strip::width,
                                                    first, a, lda, strip + c * lda);
      blas::engine::multiply<P>("N", "N", m - first, columns, first, -1, a + first, lda, strip, lda, 1,
                                strip + first, lda);
    }
    const vex_int left = m - first <= Strip::most_short_rows && first <= Strip::most_left ? first : 0;
    const vex_int strip_info = has_long_columns
                                   ? Long(m - first, columns, strip + first, lda, ipiv + first).run()
                                   : Strip(m - first, columns, strip + first, lda, ipiv + first, left).run();
    if (info == 0 && strip_info > 0) info = first + strip_info;
    const vex_int end = first + (columns < m - first ? columns : m - first);
    for (vex_int i = first; i < end; ++i) ipiv[i] += first;
    interchange_rows<P>(first - left, a, lda, first, end, ipiv);
  }
  if (first < n) {
    interchange_rows<P>(n - first, a + first * lda, lda, 0, m, ipiv);
    blas::engine::solve<P>("L", "L", "N", "U", m, n - first, 1, a, lda, a + first * lda, lda);
  }
  return info;
}

}  // namespace vex::lapack::small
