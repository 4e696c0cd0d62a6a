// Solve with the factors for a single right-hand side: a few dozen equations are one long chain of dependent
// operations, and the entries of the vector routines would cost as much as the chain.
#pragma once

#include <cstdint>

#include "lapack/small/lanes.h"
#include "service/types.h"

namespace vex::lapack::small {

// Both triangles go block by block, as many rows as a vector holds. The numbers of a block are spread over
// vectors of their own, each in every lane, so that nothing on the way from one to the next moves between
// lanes, and what solves the block also multiplies the columns beside it.
template <typename Lanes>
class SingleSolve {
 public:
  static constexpr int most_equations = 128;

  SingleSolve(vex_int n, const double* a, vex_int lda, double* b)
      : n_(static_cast<int>(n)), a_(a), lda_(lda), b_(b) {}

  // False, with b as it was, when a pivot index is no row of the matrix or the reciprocal of a number on the
  // diagonal is not a normal number.
  bool run(const vex_int* ipiv) {
    std::int64_t outside = 0;
    for (int i = 0; i < n_; ++i) {
      outside |= (ipiv[i] - 1) | (n_ - ipiv[i]);
      std::int64_t exponent;
      const double diagonal = a_[i + i * lda_];
      __builtin_memcpy(&exponent, &diagonal, sizeof exponent);
      exponent &= std::int64_t{0x7ff} << 52;
      outside |= (exponent - (std::int64_t{1} << 52)) | ((std::int64_t{2044} << 52) - exponent);
      reciprocals_[i] = diagonal;
    }
    if (outside < 0) return false;
    for (int i = 0; i < n_; i += width) {
      const Vector one = Lanes::broadcast(1);
      Lanes::store(reciprocals_ + i, Lanes::divide(one, Lanes::load(reciprocals_ + i)));
    }
    for (int i = 0; i < n_; ++i) {
      const vex_int p = ipiv[i] - 1;
      const double displaced = b_[i];
      b_[i] = b_[p];
      b_[p] = displaced;
    }
    solve_lower();
    solve_upper();
    return true;
  }

 private:
  using Vector = typename Lanes::Vector;
  static constexpr int width = Lanes::width;

  // The solved numbers of a block, each in every lane.
  struct Solved {
    Vector of[width];
  };

  const double* column(int j) const { return a_ + j * lda_; }
  Vector read(int i) const { return Lanes::read(b_ + i, n_ - i); }
  void write(int i, Vector x) { Lanes::write(b_ + i, x, n_ - i); }

  [[gnu::always_inline]] static Vector assembled(const Solved& t) {
    Vector x = t.of[0];
    unrolled<1, width>([&](auto i) { x = Lanes::template with_lane<decltype(i){}>(x, t.of[i]); });
    return x;
  }

  // The rows of x, which start at i, minus the products of the block's first `count` columns.
  [[gnu::always_inline]] Vector updated(Vector x, int i, int first, const Solved& t, int count) const {
    const int rest = n_ - i;
    unrolled<0, width>([&](auto k) {
      if (k < count) x = Lanes::subtract_product(x, Lanes::read(column(first + k) + i, rest), t.of[k]);
    });
    return x;
  }

  void solve_lower() {
    Vector x = read(0);
    for (int first = 0;; first += width) {
      const int count = n_ - first;
      Solved t;
      unrolled<0, width>([&](auto i) {
        t.of[i] = Lanes::template lane<decltype(i){}>(x);
        if (i >= count) return;
        unrolled<0, decltype(i){}>([&](auto k) {
          t.of[i] = Lanes::subtract_product(t.of[i], Lanes::broadcast(column(first + k)[first + i]), t.of[k]);
        });
      });
      write(first, assembled(t));
      const int next = first + width;
      if (next >= n_) return;
      x = updated(read(next), next, first, t, width);
      for (int i = next + width; i < n_; i += width) write(i, updated(read(i), i, first, t, width));
    }
  }

  void solve_upper() {
    int first = (n_ - 1) / width * width;
    for (Vector x = read(first);; first -= width) {
      const int count = n_ - first;
      Solved t;
      unrolled_down<width>([&](auto i) {
        t.of[i] = Lanes::template lane<decltype(i){}>(x);
        if (i >= count) return;
        unrolled_down<width - 1 - decltype(i){}>([&](auto step) {
          constexpr int k = decltype(i){} + 1 + decltype(step){};
          if (k < count)
            t.of[i] =
                Lanes::subtract_product(t.of[i], Lanes::broadcast(column(first + k)[first + i]), t.of[k]);
        });
        t.of[i] = Lanes::multiply(t.of[i], Lanes::broadcast(reciprocals_[first + i]));
      });
      write(first, assembled(t));
      const int next = first - width;
      if (next < 0) return;
      x = updated(read(next), next, first, t, count);
      for (int i = 0; i < next; i += width) write(i, updated(read(i), i, first, t, count));
    }
  }

  int n_;
  const double* a_;
  vex_int lda_;
  double* b_;
  alignas(64) double reciprocals_[most_equations];  // of the diagonal
};

}  // namespace vex::lapack::small
