// The factorization of a strip of at most 8 columns that are longer than the first caches. What counts is how
// often a column passes through the processor, so the strip is halved: the left half is factored, the right
// half brought up to date in one pass, in which its first pivot is searched as well, then factored like the
// left.
//
//   columns 0 1 2 3 4 5 6 7     a pass reads all that it names and writes all but the finished ones
//           0>1                 column 0 into 1
//           0 1>2 3             0 and 1 into 2 and 3
//               2>3             2 into 3
//           0 1 2 3>4 5 6 7     and the same in the right half: 26 columns fetched, against 37 if each column
//                               were brought up to date by itself
#pragma once

#include "lapack/small/lanes.h"
#include "service/types.h"

namespace vex::lapack::small {

template <typename P, typename Lanes>
class LongStrip {
 public:
  static constexpr int width = 8;

  // The strip's rows start with the row of its first pivot; there are at least `width`.
  LongStrip(vex_int rows, int columns, double* a, vex_int lda, vex_int* ipiv)
      : rows_(rows), columns_(columns), a_(a), lda_(lda), ipiv_(ipiv) {}

  // The pivots are one-based rows of the strip. Returns info.
  vex_int run() {
    update<0, 1>(0);
    factor<width>(0);
    double* const last = column(columns_ - 1);
    for (vex_int i = columns_; i < rows_; ++i) last[i] *= factor_;
    return info_;
  }

 private:
  using V = typename P::Vector;
  static constexpr int w = P::width;
  // Rows among which a pivot is searched again, once it is known that it lies there.
  static constexpr vex_int chunk = 512;

  double* column(int j) { return a_ + j * lda_; }

  // Factors `count` columns, of which the first is up to date and searched.
  template <int count>
  void factor(int first) {
    if constexpr (count == 1) {
      finish_row(first, choose_pivot(first));
    } else {
      constexpr int half = count / 2;
      factor<half>(first);
      if (first + half >= columns_) return;
      update_up_to<half, half>(first);
      factor<half>(first + half);
    }
  }

  // As many targets as there are.
  template <int sources, int targets>
  void update_up_to(int first) {
    if constexpr (targets > 1)
      if (first + sources + targets > columns_) return update_up_to<sources, targets - 1>(first);
    update<sources, targets>(first);
  }

  // The columns of a pass, and the rows of U that belong to the sources.
  template <int sources, int targets>
  struct Pass {
    double* x[sources + targets];
    double upper[sources + 1][targets];
  };

  // Brings the `targets` columns right of columns first ... first + sources - 1 up to date with these, of
  // which the last is still to be divided by its pivot. On the way, where the pivot of the first target is.
  template <int sources, int targets>
  [[gnu::noinline]] void update(int first) {
    const int top = first + sources;
    Pass<sources, targets> pass;
    for (int k = 0; k < sources + targets; ++k) pass.x[k] = column(first + k);
    for (int t = 0; t < targets; ++t) {
      for (int k = 0; k < sources; ++k) pass.upper[k][t] = upper_[first + k][top + t];
      up_to_date_[top + t] = top;
    }
    largest_ = -1;
    nan_from_ = -1;
    update_single_rows(pass, top, width);
    const vex_int whole = width + (rows_ - width) / w * w;
    for (vex_int i = width; i < whole; i += chunk)
      update_rows(pass, i, whole - i < chunk ? whole : i + chunk);
    update_single_rows(pass, whole, rows_);
  }

  // What the search found in rows from ... end - 1, which follow those noted before.
  void note(double largest, bool has_nan, vex_int from, vex_int end) {
    if (has_nan && nan_from_ < 0) nan_from_ = from;
    if (largest > largest_) largest_ = largest, pivot_from_ = from, pivot_end_ = end;
  }

  template <int sources, int targets>
  void update_single_rows(const Pass<sources, targets>& pass, vex_int from, vex_int end) {
    for (vex_int i = from; i < end; ++i) {
      if constexpr (sources > 0) pass.x[sources - 1][i] *= factor_;
      for (int t = 0; t < targets; ++t) {
        double& target = pass.x[sources + t][i];
        for (int k = 0; k < sources; ++k)
          target = Lanes::subtract_product(target, pass.x[k][i], pass.upper[k][t]);
      }
      const double value = pass.x[sources][i];
      note(__builtin_fabs(value), value != value, i, i + 1);
    }
  }

  // Whole vectors.
  template <int sources, int targets>
  void update_rows(const Pass<sources, targets>& pass, vex_int from, vex_int end) {
    V upper[sources + 1][targets];
    unrolled<0, sources>([&](auto k) {
      unrolled<0, targets>([&](auto t) { upper[k][t] = P::broadcast(&pass.upper[k][t]); });
    });
    const V factor = P::splat(factor_);
    V best = P::zero();
    auto nan = P::no_nan();
    for (vex_int i = from; i < end; i += w) {
      V multiplier[sources + 1];
      unrolled<0, sources>([&](auto k) {
        multiplier[k] = P::load(pass.x[k] + i);
        if constexpr (k == sources - 1) {
          multiplier[k] = P::multiply(multiplier[k], factor);
          P::store(pass.x[k] + i, multiplier[k]);
        }
      });
      unrolled<0, targets>([&](auto t) {
        V value = P::load(pass.x[sources + t] + i);
        unrolled<0, sources>([&](auto k) { value = P::subtract_product(multiplier[k], upper[k][t], value); });
        if constexpr (sources > 0) P::store(pass.x[sources + t] + i, value);
        if constexpr (t == 0) {
          nan = P::note_nan(nan, value);
          best = P::maximum(best, P::magnitude(value));
        }
      });
    }
    // A maximum that has met a NaN says nothing, but is not asked either.
    note(Lanes::largest(best)[0], P::any_nan(nan), from, end);
  }

  // The first NaN from row j on, or else the first row of largest magnitude.
  vex_int pivot_row(int j) {
    const double* const x = column(j);
    vex_int i = pivot_from_;
    if (__builtin_expect(nan_from_ >= 0, 0)) {
      for (i = nan_from_; x[i] == x[i];) ++i;
      return i;
    }
    const V largest = P::splat(largest_);
    while (pivot_end_ - i >= 4 * w && !P::any_equal(P::magnitude(P::load(x + i)), largest)) i += w;
    while (__builtin_fabs(x[i]) != largest_) ++i;
    return i;
  }

  // Returns the row to interchange with row j, and settles what the column below the pivot is multiplied by.
  vex_int choose_pivot(int j) {
    const vex_int p = pivot_row(j);
    ipiv_[j] = p + 1;
    const double pivot = column(j)[p];
    factor_ = 1;
    if (pivot == 0) {
      if (info_ == 0) info_ = j + 1;
      return j;
    }
    if (__builtin_expect(!(__builtin_fabs(pivot) < safe_minimum), 1)) {
      factor_ = 1 / pivot;
    } else {
      for (vex_int i = j; i < rows_; ++i)
        if (i != p) column(j)[i] /= pivot;
    }
    return p;
  }

  // The interchange within the strip, and row j right of the pivot minus the products of the rows above it
  // that its columns have not seen yet.
  void finish_row(int j, vex_int p) {
    for (int k = 0; k < columns_; ++k) {
      double* const x = column(k);
      double upper = x[p];
      x[p] = x[j];
      for (int i = up_to_date_[k]; k > j && i < j; ++i)
        upper = Lanes::subtract_product(upper, column(i)[j], upper_[i][k]);
      x[j] = upper_[j][k] = upper;
    }
  }

  vex_int rows_;
  int columns_;
  double* a_;
  vex_int lda_;
  vex_int* ipiv_;
  vex_int info_ = 0;
  double factor_ = 1;  // reciprocal of the pivot of the last column, whose rows below still wait for it
  // Of the column searched last: its largest magnitude and among which rows that stands first, and where the
  // rows among which the first NaN stands begin, or -1.
  double largest_ = 0;
  vex_int pivot_from_ = 0, pivot_end_ = 0, nan_from_ = -1;
  int up_to_date_[width] = {};       // how many of the columns on its left each column has seen
  double upper_[width][width] = {};  // the rows of U within the strip
};

}  // namespace vex::lapack::small
