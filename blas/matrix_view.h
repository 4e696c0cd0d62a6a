// A column-major matrix that somebody else owns.
#pragma once

#include "service/types.h"

namespace vex {

// rows x cols elements of T, element (i, j) at data[i + j * ld], ld >= max(1, rows), indices from 0.
template <typename T>
struct BasicMatrixView {
  T* data;
  vex_int rows, cols, ld;

  T& operator()(vex_int i, vex_int j) const { return data[i + j * ld]; }
  T* col(vex_int j) const { return data + j * ld; }
  BasicMatrixView block(vex_int i, vex_int j, vex_int m, vex_int n) const {
    return {data + i + j * ld, m, n, ld};
  }
  operator BasicMatrixView<const T>() const { return {data, rows, cols, ld}; }
};

using MatrixView = BasicMatrixView<double>;
using ConstMatrixView = BasicMatrixView<const double>;

}  // namespace vex
