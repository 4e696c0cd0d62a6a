// Interchanges and solves by columns need nothing of each other; the multiply has several ways of being
// shared.
#include "lapack/team_update.h"

#include "blas/blas.h"
#include "lapack/laswp.h"

namespace vex::lapack {
namespace {

// Rows are handed out in multiples of a cache line of doubles.
constexpr vex_int row_granule = 8;

// Up to this many rows a multiply by one thread reads the panel where it is, as fast as from a packed copy.
// Microseconds of two threads without and with copies: 43 and 51 for order 100, 156 and 161 for 200, 374 and
// 366 for 300.
constexpr vex_int most_rows_in_place = 200;

// The factors of one multiply.
struct Product {
  ConstMatrixView left, right;
  MatrixView result;

  Product columns(Share part) const {
    return {left, right.block(0, part.start, right.rows, part.length),
            result.block(0, part.start, result.rows, part.length)};
  }
  Product rows(Share part) const {
    return {left.block(part.start, 0, part.length, left.cols), right,
            result.block(part.start, 0, part.length, result.cols)};
  }
  bool empty() const { return result.rows == 0 || result.cols == 0; }
};

Product product_of(const Update& u) {
  const vex_int columns = u.column.cols;
  return {u.panel.block(u.pivots(), 0, u.rows_below(), u.pivots()),
          u.column.block(u.top, 0, u.pivots(), columns),
          u.column.block(u.top + u.pivots(), 0, u.rows_below(), columns)};
}

void subtract(const Product& p) {
  if (!p.empty()) blas::xgemm(blas::Trans::no, blas::Trans::no, -1.0, p.left, p.right, 1.0, p.result);
}

// The way a team of this size really goes.
UpdateSplit split_of(const TeamMember& member, const Update& update) {
  const UpdateSplit split = member.record->split;
  if (split == UpdateSplit::shared_copy) return split;
  // By itself a thread has nothing to share out, but will meet the panel again. Also near the end, where it
  // may not: from the second-last updates on packing for each of them was no faster.
  if (member.size == 1)
    return update.column.rows > most_rows_in_place ? UpdateSplit::own_copies : UpdateSplit::columns;
  if (split != UpdateSplit::by_shape) return split;
  return update.rows_below() >= update.column.cols ? UpdateSplit::rows : UpdateSplit::columns;
}

// The room of each member in the team's work buffer: for the panel's triangle, which only a thread by itself
// keeps, and for what lies below.
vex_int triangle_size(const Update& update) {
  return blas::packed_triangle_size(update.pivots());
}
vex_int room_size(const Update& update) {
  return triangle_size(update) + blas::packed_size(update.rows_below(), update.pivots());
}

void multiply_with_own_copy(const TeamMember& member, const Update& update) {
  const Product whole = product_of(update);
  const Product own = whole.columns(member.share(whole.result.cols));
  TeamRecord& record = *member.record;
  if (!record.buffer.data) return subtract(own);
  double* const copy = record.buffer.data + member.rank * room_size(update) + triangle_size(update);
  vex_int& kept = record.slots[member.rank].kept_panel;
  if (own.empty()) {
    kept = no_panel;  // where an older copy lay, another member's may be now
    return;
  }
  if (kept != update.source) {
    blas::pack_left_factor(whole.left, copy);
    kept = update.source;
  }
  blas::multiply_packed(copy, -1.0, own.left, own.right, own.result);
}

// Packing a triangle takes a tenth of the time of a solve for as many columns.
bool keeps_triangle(UpdateSplit split, const Update& update) {
  return (split == UpdateSplit::own_copies || split == UpdateSplit::shared_copy) &&
         update.pivots() <= blas::largest_packed_triangle;
}

void solve_with_own_copy(TeamRecord& record, const Update& update, ConstMatrixView triangle,
                         MatrixView upper) {
  double* const copy = record.buffer.data;
  vex_int& kept = record.slots[0].kept_triangle;
  if (kept != update.source) blas::pack_unit_lower(triangle, copy);
  kept = update.source;
  blas::solve_packed(copy, upper);
}

}  // namespace

void interchange(const TeamMember& member, const Update& update) {
  const Share own = member.share(update.column.cols);
  xlaswp(update.column.block(0, own.start, update.column.rows, own.length),
         row_walk(update.top + 1, update.top + update.pivots(), update.ipiv, 1));
}

void solve(const TeamMember& member, const Update& update) {
  const Share own = member.share(update.column.cols);
  const vex_int pivots = update.pivots();
  const ConstMatrixView triangle = update.panel.block(0, 0, pivots, pivots);
  const MatrixView upper = update.column.block(update.top, own.start, pivots, own.length);
  const UpdateSplit split = split_of(member, update);
  if (member.size == 1 && keeps_triangle(split, update) &&
      reserve(*member.record, 1,
              split == UpdateSplit::shared_copy ? triangle_size(update) : room_size(update)))
    return solve_with_own_copy(*member.record, update, triangle, upper);
  if (own.length > 0)
    blas::xtrsm(blas::Side::left, blas::Uplo::lower, blas::Trans::no, blas::Diag::unit, 1.0, triangle, upper);
  // Before the members meet, so that all see the buffer.
  if (member.is_master() && split == UpdateSplit::own_copies)
    reserve(*member.record, member.size, room_size(update));
}

void multiply(const TeamMember& member, const Update& update) {
  const Product whole = product_of(update);
  switch (split_of(member, update)) {
    case UpdateSplit::columns:
      return subtract(whole.columns(member.share(whole.result.cols)));
    case UpdateSplit::own_copies:
      return multiply_with_own_copy(member, update);
    case UpdateSplit::shared_copy:
      return blas::multiply_from_copies(*member.record->shared, update.source, {member.rank, member.size},
                                        -1.0, whole.left, whole.right, whole.result);
    default:
      return subtract(whole.rows(member.share(whole.result.rows, row_granule)));
  }
}

}  // namespace vex::lapack
