// A panel is cut into sub-blocks, each of these again, until a handful of columns is left for the unblocked
// form. Before a sub-block is factored it catches up with everything on its left in one multiply, so every
// element is updated once per level with as long an inner extent as there is.
//
//        left   block  right      1. block(rows below) -= left * U(left, block)       rows divided
//      +------+------+------+     2. factor block                                     the whole team,
//      recursively | U    | U    | U    |     3. interchange rows in left and right               columns
//      divided
//      |------+------+------|     4. U(block, right): multiply by left, then solve    columns divided
//      | L    | L\U  | A    |
//      |      | L    | A    |
//      +------+------+------+
#include "lapack/team_panel.h"

#include <algorithm>
#include <cmath>

#include "blas/blas.h"
#include "lapack/laswp.h"
#include "lapack/machine_constants.h"
#include "lapack/panel.h"
#include "service/cpu_dispatch.h"
#include "service/progress.h"
#include "service/spin_lock.h"

namespace vex::lapack {
namespace {

using blas::Diag;
using blas::Side;
using blas::Trans;
using blas::Uplo;

// Rows are handed out in multiples of a cache line of doubles.
constexpr vex_int row_granule = 8;

// The widest panel that a team factors without cutting it.
constexpr vex_int unblocked_width = 8;

// The steps between 128 and 1024 are left out: panels that wide are cut into blocks of 128 at once.
constexpr vex_int block_widths[] = {8192, 4096, 2048, 1024, 128, 64, 32, 16, 8};

vex_int block_width(vex_int panel_width) {
  return *std::find_if(std::begin(block_widths), std::end(block_widths),
                       [=](vex_int width) { return width < panel_width; });
}

// Rows that a column step takes at a time: the two columns that it changes take the first cache, which loses
// nothing yet, while 1024 rows and 512 pay for more calls (5 and 10 % at 100000 x 50).
constexpr vex_int strip_rows = 2048;

constexpr double safe_minimum = machine_constant('S');

struct Candidate {
  double value;
  vex_int row;
};

// A NaN stays, as the first NaN met does in a search by one thread.
bool beats(double challenger, double best) {
  return challenger > best || (std::isnan(challenger) && !std::isnan(best));
}

// The rows of a panel that one member owns throughout, and what it does with them column by column.
class ColumnSteps {
 public:
  ColumnSteps(const TeamMember& member, MatrixView a)
      : member_(member), a_(a), rows_(member.share(a.rows, row_granule)) {}

  // Divides the member's part of column j - 1 by its pivot, brings that of column j up to date and finds its
  // largest element, a few rows at a time: the two columns that change are fetched once for all three.
  Candidate search(vex_int j) const {
    Candidate best{0.0, j};
    for_strips(j, [&](vex_int first, vex_int rows) {
      double* column = &a_(first, j);
      if (j > 0) {
        divide_by_pivot(j - 1, first, rows);
        blas::xgemv(Trans::no, -1.0, a_.block(first, 0, rows, j), a_.col(j), 1, 1.0, column, 1);
      }
      const vex_int largest = blas::xidamax(rows, column, 1) - 1;
      const double value = std::fabs(column[largest]);
      if (first == std::max(j, rows_.start) || beats(value, best.value)) best = {value, first + largest};
    });
    return best;
  }

  // The same division for the last column, which no search follows.
  void divide_last(vex_int j) const {
    for_strips(j + 1, [&](vex_int first, vex_int rows) { divide_by_pivot(j, first, rows); });
  }

  // Waits for every other member's candidate and returns the first row of largest magnitude: members own rows
  // in the order of their ranks.
  vex_int collect(Candidate best) const {
    for (vex_int t = 1; t < member_.size; ++t) {
      PivotSlot& slot = member_.record->slots[t];
      service::SpinWait wait;
      double value;
      // Pairs with the release in post: the row is there when the value is.
      while ((value = slot.value.load(std::memory_order_acquire)) == no_candidate) wait.once();
      if (beats(value, best.value)) best = {value, slot.row};
      slot.value.store(no_candidate, std::memory_order_relaxed);
    }
    return best.row;
  }

  void post(Candidate own) const {
    PivotSlot& slot = member_.record->slots[member_.rank];
    slot.row = own.row;
    slot.value.store(own.value, std::memory_order_release);
  }

  // Swaps row j and the pivot's and finishes row j of U on the right, once every candidate is in: nobody
  // looks at the columns on the left until the pivot is published, nor at those on the right before their own
  // turn. A handful of columns is less work for the master alone than another meeting for all.
  void finish_row(vex_int j, vex_int pivot_row) const {
    if (pivot_row != j) blas::xswap(a_.cols, &a_(j, 0), a_.ld, &a_(pivot_row, 0), a_.ld);
    for (vex_int c = j + 1; j > 0 && c < a_.cols; ++c)
      a_(j, c) -= blas::xdot(j, &a_(j, 0), a_.ld, a_.col(c), 1);
  }

 private:
  // Calls visit(first, rows) for the member's rows from row `from` on.
  template <typename Visit>
  void for_strips(vex_int from, Visit visit) const {
    const vex_int behind = rows_.start + rows_.length;
    for (vex_int first = std::max(from, rows_.start); first < behind; first += strip_rows)
      visit(first, std::min(strip_rows, behind - first));
  }

  void divide_by_pivot(vex_int j, vex_int first, vex_int rows) const {
    const double pivot = a_(j, j);
    double* column = &a_(first, j);
    if (pivot == 0.0) return;
    if (std::fabs(pivot) >= safe_minimum) return blas::scal(rows, 1.0 / pivot, column, 1);
    for (vex_int i = 0; i < rows; ++i) column[i] /= pivot;
  }

  const TeamMember& member_;
  MatrixView a_;
  Share rows_;
};

// The same for one thread alone, whose unblocked form keeps strips of columns in registers. Microseconds of
// two threads in the panels of a matrix, with limits of 8, 16, 32 and 64 columns. At order 1000, whose panels
// are 72 wide, a limit of 72 took 991.
//   order            200                  500                      1000                      2000
//   AVX-512    55  49  43  43   324  307  275  247   1362  1279  1173  1067   7995  7729  7226  6790
//   AVX2       83  76  70  69   419  387  354  328   1656  1524  1425  1337
//   SSE4.2    103 105 112 110   624  622  679  680
vex_int widest_alone() {
  constexpr int first_fused_path = 5;
  return vex_serv_cpu_detect() >= first_fused_path ? 72 : unblocked_width;
}

vex_int factor_unblocked_alone(MatrixView a, vex_int* ipiv) {
  vex_int info;
  vex_lapack_dgetf2(&a.rows, &a.cols, a.data, &a.ld, ipiv, &info);
  return info;
}

// On return other members may still divide the rows that they own of the last column, which does not concern
// the triangle on top. Whoever touches rows of others in the panel must meet them first.
vex_int factor_unblocked_by_team(const TeamMember& member, MatrixView a, vex_int* ipiv) {
  const ColumnSteps steps(member, a);
  TeamRecord& record = *member.record;
  // The word counts published columns over the record's life. It stands still here: the first column of this
  // panel waits for this member's candidate.
  const vex_int published = record.published.load(std::memory_order_relaxed);
  vex_int info = 0;
  for (vex_int j = 0; j < std::min(a.rows, a.cols); ++j) {
    const Candidate own = steps.search(j);
    if (member.is_master()) {
      const vex_int candidate = steps.collect(own);
      ipiv[j] = std::max(candidate, j) + 1;
      steps.finish_row(j, a(candidate, j) == 0.0 ? j : candidate);
      // Pairs with the acquire below: pivot row and swapped entries are there when the word is.
      record.published.store(published + j + 1, std::memory_order_release);
    } else {
      steps.post(own);
      service::SpinWait wait;
      while (record.published.load(std::memory_order_acquire) != published + j + 1) wait.once();
    }
    if (a(j, j) == 0.0 && info == 0) info = j + 1;
  }
  steps.divide_last(std::min(a.rows, a.cols) - 1);
  return info;
}

// Steps 3 and 4 of the picture for the block of columns c ... c + width - 1, whose pivots are relative to row
// c.
void finish_block(const TeamMember& member, MatrixView a, vex_int c, vex_int width, vex_int* ipiv) {
  const vex_int rows = std::min(width, a.rows - c);
  const vex_int right = a.cols - c - width;
  const RowWalk walk = row_walk(1, rows, ipiv + c, 1);
  const Share left_part = member.share(c);
  const Share right_part = member.share(right);
  const vex_int first = c + width + right_part.start;
  xlaswp(a.block(c, left_part.start, a.rows - c, left_part.length), walk);
  xlaswp(a.block(c, first, a.rows - c, right_part.length), walk);
  if (c > 0) {
    // The others have read their pivots, and the columns on the left are in order.
    member.meet();
    if (member.is_master()) {
      for (vex_int i = c; i < c + rows; ++i) ipiv[i] += c;
    }
  }
  if (right_part.length == 0) return;
  const MatrixView upper = a.block(c, first, rows, right_part.length);
  if (c > 0) {
    blas::xgemm(Trans::no, Trans::no, -1.0, a.block(c, 0, rows, c), a.block(0, first, c, right_part.length),
                1.0, upper);
  }
  blas::xtrsm(Side::left, Uplo::lower, Trans::no, Diag::unit, 1.0, a.block(c, c, rows, rows), upper);
}

vex_int factor_recursively(const TeamMember& member, MatrixView a, vex_int* ipiv) {
  if (member.size == 1 && a.cols <= widest_alone()) return factor_unblocked_alone(a, ipiv);
  if (a.cols <= unblocked_width) return factor_unblocked_by_team(member, a, ipiv);
  const vex_int width = block_width(a.cols);
  vex_int info = 0;
  for (vex_int c = 0; c < std::min(a.rows, a.cols); c += width) {
    const vex_int columns = std::min(width, a.cols - c);
    if (c > 0) {
      const Share part = member.share(a.rows - c, row_granule);
      if (part.length > 0) {
        blas::xgemm(Trans::no, Trans::no, -1.0, a.block(c + part.start, 0, part.length, c),
                    a.block(0, c, c, columns), 1.0, a.block(c + part.start, c, part.length, columns));
      }
      // No meeting: the block's first search takes the same rows.
    }
    const vex_int block_info = factor_recursively(member, a.block(c, c, a.rows - c, columns), ipiv + c);
    if (block_info > 0 && info == 0) info = block_info + c;
    finish_block(member, a, c, columns, ipiv);
    member.meet();
  }
  return info;
}

}  // namespace

int factor_panel_by_team(const TeamMember& member, MatrixView a, vex_int* ipiv, vex_int& info) {
  info = factor_recursively(member, a, ipiv);
  if (member.is_master()) {
    const int thread = static_cast<int>(member.rank);
    const int step = static_cast<int>(std::min(a.rows, a.cols));
    member.record->stop = vex_serv_progress(&thread, &step, "DGETRF", 6);
  }
  member.meet();
  return member.record->stop;
}

}  // namespace vex::lapack

int vex_lapack_dgetrf_local_team(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                 vex_int* ipiv, vex_int* info, vex::lapack::TeamRecord* record,
                                 const vex_int* thread, const vex_int* threads) {
  vex_int own_info = 0;
  const int stop =
      vex::lapack::factor_panel_by_team({record, *thread, *threads}, {a, *m, *n, *lda}, ipiv, own_info);
  if (*thread == 0) *info = own_info;
  return stop;
}

int vex_lapack_dgetf2_team(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                           vex_int* info, vex::lapack::TeamRecord* record, const vex_int* thread,
                           const vex_int* threads) {
  const vex_int own_info =
      vex::lapack::factor_unblocked_by_team({record, *thread, *threads}, {a, *m, *n, *lda}, ipiv);
  if (*thread == 0) *info = own_info;
  return 0;
}
