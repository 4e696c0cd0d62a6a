// A column-major matrix in memory of its own whose every byte outside the m x n elements (before, between
// columns, behind) holds a pattern, so that a store outside the matrix is seen even where the sanitizers
// cannot look.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "blas/matrix_view.h"

namespace vex::test {

class GuardedMatrix {
 public:
  GuardedMatrix(vex_int rows, vex_int cols, vex_int ld)
      : rows_(rows), cols_(cols), ld_(ld), memory_(static_cast<std::size_t>(ld * cols + 2 * zone), guard()) {
    for (vex_int j = 0; j < cols; ++j) std::fill_n(view().col(j), rows, 0.0);
  }

  MatrixView view() { return {memory_.data() + zone, rows_, cols_, ld_}; }
  double& operator()(vex_int i, vex_int j) { return view()(i, j); }

  bool guards_intact() const {
    for (std::size_t at = 0; at < memory_.size(); ++at) {
      const vex_int inner = static_cast<vex_int>(at) - zone;
      const bool element = inner >= 0 && inner < ld_ * cols_ && inner % ld_ < rows_;
      if (!element && std::bit_cast<std::uint64_t>(memory_[at]) != guard_bits) return false;
    }
    return true;
  }

 private:
  static constexpr vex_int zone = 16;
  static constexpr std::uint64_t guard_bits =
      0x7ff8'5afe'5afe'5afe;  // a quiet NaN that poisons what reads it
  static double guard() { return std::bit_cast<double>(guard_bits); }

  vex_int rows_, cols_, ld_;
  std::vector<double> memory_;
};

}  // namespace vex::test
