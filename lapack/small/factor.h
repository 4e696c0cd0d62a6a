// Factorization of matrices of at most 16 rows and columns, right-looking, in a padded copy of the matrix
// that never leaves the first-level cache. The step has no branch that depends on ordinary data: the row of
// the pivot is only ever an address or a mask, so the search in the next column overlaps with the update of
// the others.
#pragma once

#include "lapack/small/lanes.h"
#include "lapack/small/masked_elimination.h"
#include "service/types.h"

namespace vex::lapack::small {

inline constexpr int largest_order = 16;
inline constexpr int largest_unrolled_order = 7;

// `blocks` vectors make a column. The rows of the padding hold NaN, which no pivot search chooses.
template <typename Lanes, int blocks>
class Elimination {
 public:
  Elimination(int m, int n, double* a, vex_int lda, vex_int* ipiv)
      : m_(m), n_(n), a_(a), lda_(lda), ipiv_(ipiv) {}

  // Any shape: the loops over columns stay loops, one for each block that the diagonal passes through.
  vex_int run() {
    for (int k = 0; k < n_; ++k) read_column(k);
    const int diagonal = m_ < n_ ? m_ : n_;
    unrolled<0, blocks>([&](auto block) {
      constexpr int first = decltype(block){} * Lanes::width;
      const int end = diagonal < first + Lanes::width ? diagonal : first + Lanes::width;
      for (int j = first; j < end; ++j) {
        const Step step = choose_pivot<decltype(block){}>(j);
        for (int k = j + 1; k < n_; ++k) update<decltype(block){}>(k, j, step);
      }
    });
    for (int k = 0; k < n_; ++k) write_column(k);
    for (int j = 1; j < diagonal; ++j) interchange_left(j);
    return info_;
  }

  // A square matrix of an order known at compile time: no loop is left.
  template <int order>
  vex_int run_unrolled() {
    unrolled<0, order>([&](auto k) { read_column(k); });
    unrolled<0, order>([&](auto column) {
      constexpr int j = decltype(column){};
      const Step step = choose_pivot<j / Lanes::width>(j);
      unrolled<j + 1, order>([&](auto k) { update<j / Lanes::width>(k, j, step); });
    });
    unrolled<0, order>([&](auto k) { write_column(k); });
    unrolled<1, order>([&](auto j) { interchange_left(j); });
    return info_;
  }

 private:
  using Vector = typename Lanes::Vector;
  using Masks = RowMasks<Lanes>;
  static constexpr int width = Lanes::width;
  static constexpr int rows = blocks * width;

  // What the columns on the right need of a step: the row of the pivot and the multipliers. Not members: they
  // would be read from memory again after every store.
  struct Step {
    Vector multipliers[blocks];
    int pivot_row;
  };

  double* column(int k) { return cells_ + k * rows; }

  void read_column(int k) {
    for (int b = 0; b < blocks; ++b) {
      Lanes::store(column(k) + b * width, Lanes::read(a_ + k * lda_ + b * width, m_ - b * width));
    }
  }

  void write_column(int k) {
    for (int b = 0; b < blocks; ++b) {
      Lanes::write(a_ + k * lda_ + b * width, Lanes::load(column(k) + b * width), m_ - b * width);
    }
  }

  // The interchange of step j in the columns on its left. It waits until they have left the workspace: there,
  // reading a vector just after a scalar store into it would cost more than all the swaps.
  [[gnu::always_inline]] void interchange_left(int j) {
    const vex_int p = ipiv_[j] - 1;
    if (p == j) return;
    for (int k = 0; k < j; ++k) {
      double* const left = a_ + k * lda_;
      const double upper = left[j];
      left[j] = left[p];
      left[p] = upper;
    }
  }

  // The first row from j on whose magnitude nothing below exceeds. A NaN exceeds nothing and is not exceeded,
  // as in a scan that replaces its candidate only for a strictly greater one. The reciprocal of that
  // magnitude (of no use if it is a NaN's) does not wait for the row.
  template <int top>
  [[gnu::always_inline]] int pivot_row(const Vector (&x)[blocks], int j, double& reciprocal) {
    Vector candidates[blocks];
    Vector best = Lanes::broadcast(-1.0);
    for (int b = top; b < blocks; ++b) {
      candidates[b] = Lanes::magnitudes(x[b], Masks::before(j, b * width));
      best = Lanes::larger(best, candidates[b]);
    }
    best = Lanes::largest(best);
    reciprocal = 1 / best[0];
    unsigned rows_of_best = 0;
    for (int b = top; b < blocks; ++b) {
      rows_of_best |= Lanes::equal_lanes(candidates[b], best) << (b * width);
    }
    return column(j)[j] == column(j)[j] ? __builtin_ctz(rows_of_best) : j;
  }

  // x / pivot, in the usual case by the reciprocal of its magnitude.
  template <int top>
  [[gnu::always_inline]] void scale(Vector (&x)[blocks], double pivot, double reciprocal, int j) {
    if (__builtin_expect(__builtin_fabs(pivot) > safe_minimum, 1)) {
      const Vector factor = Lanes::broadcast(__builtin_copysign(reciprocal, pivot));
      for (int b = top; b < blocks; ++b) x[b] = Lanes::multiply(x[b], factor);
    } else if (pivot != 0.0) {
      for (int b = top; b < blocks; ++b) x[b] = Lanes::divide(x[b], Lanes::broadcast(pivot));
    } else if (info_ == 0) {
      info_ = j + 1;
    }
  }

  // Everything of column j but the updates to its right; `top` is the block that row j lies in. The blocks
  // above are finished.
  template <int top>
  [[gnu::always_inline]] Step choose_pivot(int j) {
    Step step;
    Vector(&x)[blocks] = step.multipliers;
    for (int b = top; b < blocks; ++b) x[b] = Lanes::load(column(j) + b * width);
    double reciprocal;
    const int p = pivot_row<top>(x, j, reciprocal);
    ipiv_[j] = p + 1;
    step.pivot_row = p;
    const double pivot = column(j)[p];
    const Vector displaced = Lanes::broadcast(column(j)[j]);
    for (int b = top; b < blocks; ++b) x[b] = Lanes::select(Masks::only(p, b * width), displaced, x[b]);
    scale<top>(x, pivot, reciprocal, j);
    for (int b = top; b < blocks; ++b) {
      Vector finished = x[b];
      if (b == top) {
        const Vector old = Lanes::load(column(j) + b * width);
        finished = Lanes::select(Masks::from(j + 1, b * width), finished,
                                 Lanes::select(Masks::only(j, b * width), Lanes::broadcast(pivot), old));
      }
      Lanes::store(column(j) + b * width, finished);
    }
    return step;
  }

  // The interchange of step j and its rank-1 update in column k > j.
  template <int top>
  [[gnu::always_inline]] void update(int k, int j, const Step& step) {
    const Vector upper = Lanes::broadcast(column(k)[step.pivot_row]);
    const Vector displaced = Lanes::broadcast(column(k)[j]);
    for (int b = top; b < blocks; ++b) {
      Vector x = Lanes::load(column(k) + b * width);
      x = Lanes::select(Masks::only(step.pivot_row, b * width), displaced, x);
      Vector updated = Lanes::subtract_product(x, step.multipliers[b], upper);
      if (b == top) {
        x = Lanes::select(Masks::only(j, b * width), upper, x);
        updated = Lanes::select(Masks::from(j + 1, b * width), updated, x);
      }
      Lanes::store(column(k) + b * width, updated);
    }
  }

  alignas(64) double cells_[largest_order * rows];
  int m_, n_;
  double* a_;
  vex_int lda_;
  vex_int* ipiv_;
  vex_int info_ = 0;
};

template <typename Lanes>
vex_int factor_order_1(const double* a, vex_int* ipiv) {
  ipiv[0] = 1;
  return a[0] == 0.0 ? 1 : 0;
}

// Order 2 divides where the others multiply by a reciprocal: with one multiplier there is nothing to save.
template <typename Lanes>
vex_int factor_order_2(double* a, vex_int lda, vex_int* ipiv) {
  double* const left = a;
  double* const right = a + lda;
  const int p = __builtin_fabs(left[1]) > __builtin_fabs(left[0]) ? 1 : 0;
  const double pivot = left[p];
  const double upper = right[p];
  const double multiplier = left[1 - p] / (pivot == 0.0 ? 1.0 : pivot);
  const double last = Lanes::subtract_product(right[1 - p], multiplier, upper);
  left[0] = pivot;
  left[1] = multiplier;
  right[0] = upper;
  right[1] = last;
  ipiv[0] = p + 1;
  ipiv[1] = 2;
  if (pivot == 0.0) return 1;
  return last == 0.0 ? 2 : 0;
}

template <typename Lanes, int order>
[[gnu::noinline]] vex_int factor_order(double* a, vex_int lda, vex_int* ipiv) {
  if constexpr (order == 1) return factor_order_1<Lanes>(a, ipiv);
  if constexpr (order == 2) return factor_order_2<Lanes>(a, lda, ipiv);
  constexpr int blocks = (order + Lanes::width - 1) / Lanes::width;
  Elimination<Lanes, blocks> elimination(order, order, a, lda, ipiv);
  return elimination.template run_unrolled<order>();
}

template <typename Lanes, int blocks = 1>
vex_int factor_any(int m, int n, double* a, vex_int lda, vex_int* ipiv) {
  if constexpr (blocks * Lanes::width < largest_order) {
    if (m > blocks * Lanes::width) return factor_any<Lanes, 2 * blocks>(m, n, a, lda, ipiv);
  }
  return Elimination<Lanes, blocks>(m, n, a, lda, ipiv).run();
}

// Returns info. m and n are at most 16. `Narrow` are the path's 128-bit lanes: the unrolled orders are one
// chain of short steps, in which moving numbers between the halves of a wide vector and masking its unused
// lanes costs more than a second instruction. Cycles on a processor with every path, by width of the lanes:
//   order         3     4     5     6     7     8
//   128 bits     63    91   176   206   377   540
//   256 bits    183   145   319   375   440   500
//   512 bits    209   276   349   427   498   499
template <typename Lanes, typename Narrow>
vex_int factor(vex_int m, vex_int n, double* a, vex_int lda, vex_int* ipiv) {
  if (m == n) {
    switch (m) {
      case 1:
        return factor_order<Narrow, 1>(a, lda, ipiv);
      case 2:
        return factor_order<Narrow, 2>(a, lda, ipiv);
      case 3:
        return factor_order<Narrow, 3>(a, lda, ipiv);
      case 4:
        return factor_order<Narrow, 4>(a, lda, ipiv);
      case 5:
        return factor_order<Narrow, 5>(a, lda, ipiv);
      case 6:
        return factor_order<Narrow, 6>(a, lda, ipiv);
      case 7:
        return factor_order<Narrow, 7>(a, lda, ipiv);
      default:
        break;
    }
  }
  const int rows = static_cast<int>(m), columns = static_cast<int>(n);
  if constexpr (requires { Lanes::bit_masks; })
    return factor_masked<Lanes, Rule::small>(rows, columns, a, lda, ipiv);
  else
    return factor_any<Lanes>(rows, columns, a, lda, ipiv);
}

}  // namespace vex::lapack::small
