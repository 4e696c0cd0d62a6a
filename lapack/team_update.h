// The steps of an update task for one member of its team: a block column is brought up to date with a
// factored panel. Members meet between solving and multiplying, and after the last.
//
//            panel        target
//          +--------+   +--------+
//    top   | L \ U  |   |   U    |   interchanges and solve: columns divided
//          +--------+   +--------+
//   below  |   L    |   |   A    |   A -= L U: divided as the record says
//          +--------+   +--------+
#pragma once

#include "blas/matrix_view.h"
#include "lapack/team_record.h"

namespace vex::lapack {

struct Update {
  vex_int source;       // number of the panel
  vex_int top;          // the row in which its diagonal block begins
  MatrixView panel;     // from that row down; as many columns as it has pivots
  MatrixView column;    // the block column, all rows
  const vex_int* ipiv;  // of the matrix: one-based rows

  vex_int pivots() const { return panel.cols; }
  vex_int rows_below() const { return panel.rows - panel.cols; }
};

void interchange(const TeamMember& member, const Update& update);
void solve(const TeamMember& member, const Update& update);
void multiply(const TeamMember& member, const Update& update);

}  // namespace vex::lapack
