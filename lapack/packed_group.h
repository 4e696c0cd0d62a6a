// What one thread needs of a factored group of columns to bring others up to date with it, strip by strip.
#pragma once

#include "blas/internal_team.h"
#include "service/buffer_cache.h"

namespace vex::lapack {

// Columns to take at a time: few, so that a strip stays in the caches from one step to the next, unless the
// factor's packed rows come from memory anew for every strip. At order 8000 strips of 48 lost 6 percent.
inline vex_int strip_width(vex_int rows_below, vex_int pivots, vex_int few) {
  constexpr vex_int most_cached = 3 << 18;  // elements, 6 MiB
  constexpr vex_int many = 384;
  return rows_below * pivots <= most_cached ? few : many;
}

// The group's triangle and the rows below it, packed once. False when memory is out.
class PackedGroup {
 public:
  PackedGroup(vex_int rows, vex_int width)
      : below_at_((blas::packed_triangle_size(width) + line - 1) / line * line),
        room_(static_cast<double*>(vex_serv_allocate(
            static_cast<std::size_t>(below_at_ + blas::packed_size(rows, width)) * sizeof(double),
            line * sizeof(double)))) {}
  ~PackedGroup() { vex_serv_deallocate(room_); }
  PackedGroup(const PackedGroup&) = delete;
  PackedGroup& operator=(const PackedGroup&) = delete;

  explicit operator bool() const { return room_ != nullptr; }

  void pack(ConstMatrixView group) {
    triangle_ = group.block(0, 0, group.cols, group.cols);
    below_ = group.block(group.cols, 0, group.rows - group.cols, group.cols);
    blas::pack_unit_lower(triangle_, room_);
    if (below_.rows > 0) blas::pack_left_factor(below_, room_ + below_at_);
  }

  // Columns with the group's interchanges, from the group's first row on.
  void update(MatrixView columns) const {
    const MatrixView upper = columns.block(0, 0, triangle_.rows, columns.cols);
    blas::solve_packed(room_, upper);
    if (below_.rows == 0) return;
    blas::multiply_packed(room_ + below_at_, -1.0, below_, upper,
                          columns.block(triangle_.rows, 0, below_.rows, columns.cols));
  }

 private:
  static constexpr vex_int line = 16;  // elements
  vex_int below_at_;
  double* room_;
  ConstMatrixView triangle_{}, below_{};
};

}  // namespace vex::lapack
