// One multiply, by value, as the rooms of the front end hand it to each other.
#pragma once

#include "blas/engine/descriptors.h"

namespace vex::blas {

// C := alpha op(A) op(B) + beta C, C m x n, the inner extent k. The letters are N, T or C in either case.
struct Product {
  char trans_a, trans_b;
  vex_int m, n, k;
  double alpha;
  const double* a;
  vex_int lda;
  const double* b;
  vex_int ldb;
  double beta;
  double* c;
  vex_int ldc;

  bool a_plain() const { return engine::is(&trans_a, 'N'); }
  bool b_plain() const { return engine::is(&trans_b, 'N'); }

  // The block of C at (row, column) with the rows of op(A) and columns of op(B) that it needs.
  Product block(vex_int row, vex_int column, vex_int rows, vex_int columns) const {
    Product part = *this;
    part.m = rows;
    part.n = columns;
    part.a += a_plain() ? row : row * lda;
    part.b += b_plain() ? column * ldb : column;
    part.c += row + column * ldc;
    return part;
  }
};

// On the calling thread, by the engine of the processor's path.
void run_sequential(const Product& product);

}  // namespace vex::blas
