// A column-major matrix in memory in which a step outside is caught: its last element is the last before an
// unreadable page, and everything before it and between its columns holds a pattern that is checked
// afterwards, so that a store outside is seen even where the sanitizers cannot look.
#pragma once

#include <sys/mman.h>

#include <bit>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "blas/matrix_view.h"

namespace vex::test {

class GuardedMatrix {
 public:
  const vex_int rows, cols, ld;

  // All elements are zero.
  GuardedMatrix(vex_int m, vex_int n, vex_int leading_dimension)
      : rows(m), cols(n), ld(leading_dimension), count_(m > 0 && n > 0 ? (n - 1) * ld + m : 0) {
    bytes_ = (static_cast<std::size_t>(count_) * sizeof(double) + page - 1) / page * page + page;
    void* const block =
        mmap(nullptr, bytes_ + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    block_ = {static_cast<char*>(block), Unmap{bytes_ + page}};
    mprotect(block_.get() + bytes_, page, PROT_NONE);
    std::fill(first(), data() + count_, pattern);
    fill(0.0);
  }
  explicit GuardedMatrix(ConstMatrixView source, vex_int gap = 0)
      : GuardedMatrix(source.rows, source.cols, std::max<vex_int>(1, source.rows) + gap) {
    // An empty source may be no memory at all, in which there are no columns to point at.
    for (vex_int j = 0; rows > 0 && j < cols; ++j) std::copy_n(source.col(j), rows, view().col(j));
  }

  double* data() { return reinterpret_cast<double*>(block_.get() + bytes_) - count_; }
  const double* data() const { return reinterpret_cast<const double*>(block_.get() + bytes_) - count_; }
  MatrixView view() { return {data(), rows, cols, ld}; }
  ConstMatrixView view() const { return {data(), rows, cols, ld}; }
  double& operator()(vex_int i, vex_int j) { return view()(i, j); }
  double operator()(vex_int i, vex_int j) const { return view()(i, j); }

  template <typename Value>
  void fill_by(Value value) {
    for (vex_int j = 0; j < cols; ++j)
      for (vex_int i = 0; i < rows; ++i) (*this)(i, j) = value(i, j);
  }
  void fill(double value) {
    fill_by([=](vex_int, vex_int) { return value; });
  }
  void fill(std::mt19937_64& random) {
    std::uniform_real_distribution<double> value(-1, 1);
    fill_by([&](vex_int, vex_int) { return value(random); });
  }

  // Column by column, without what lies between.
  std::vector<double> values() const {
    std::vector<double> all;
    for (vex_int j = 0; j < cols; ++j) all.insert(all.end(), view().col(j), view().col(j) + rows);
    return all;
  }

  bool guards_intact() const {
    const double* const elements = data();
    for (const double* at = first(); at < elements + count_; ++at)
      if ((at < elements || (at - elements) % ld >= rows) &&
          std::bit_cast<std::uint64_t>(*at) != std::bit_cast<std::uint64_t>(pattern))
        return false;
    return true;
  }

 private:
  struct Unmap {
    std::size_t bytes;
    void operator()(char* block) const { munmap(block, bytes); }
  };
  double* first() const { return reinterpret_cast<double*>(block_.get()); }

  static constexpr std::size_t page = 4096;
  // A quiet NaN that arithmetic does not produce, and that poisons what reads it.
  static constexpr double pattern = std::bit_cast<double>(std::uint64_t{0x7ff8'dead'0bad'beef});
  vex_int count_;
  std::size_t bytes_;
  std::unique_ptr<char, Unmap> block_{nullptr, Unmap{0}};
};

}  // namespace vex::test
