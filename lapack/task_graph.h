// Which task of a parallel factorization may run next. The graph knows panels and columns of panels by their
// numbers only; matrices and threads are somebody else's.
//
//            target 0   1   2   3   4          A task (i, j) applies factored panel i to block column j.
//   source 0        .   P   u   u   u          P: it is also panel i + 1's factorization, the look-ahead
//   task.
//          1            .   P   u   u          Rows are walked left to right, top to bottom.
//          2                .   P   u
#pragma once

#include <cstdint>

#include "service/types.h"

namespace vex::lapack {

// What a task asks of its team.
enum TaskKind : vex_int {
  task_end = -1,              // no work is left
  task_not_now = 0,           // nothing is available for anybody at present
  task_update = 1,            // update block column `target` with factored panel `source`
  task_panel = 2,             // the same for target = source + 1, then factor that panel
  task_not_for_this_team = 3  // something is available, but this team must leave it to another
};

struct Task {
  vex_int source, target, kind;
  vex_int team;  // the team it was asked for, or -1
};

struct TaskPosition {
  vex_int source, target;
  bool operator==(const TaskPosition&) const = default;
};

// How a run is scheduled; see the tuning trees for where the numbers come from.
struct GraphSettings {
  vex_int panels;               // N
  vex_int last_diagonal_panel;  // L: the last panel that holds a diagonal block
  vex_int teams;                // K
  vex_int depth_limit;          // look-ahead depth, 0 for none; 1 would make a panel wait for itself
  vex_int panel_team_early, update_team_early, panel_team_late, update_team_late;
  // Bit 1 binds block columns to teams, bit 0 reserves panel tasks for team 0. Binding is for teams of a
  // single group: a column whose owner needs others to join it might wait for ever.
  vex_int hints;
  double early_fraction;  // of the panels, for the early team sizes
};

inline constexpr vex_int hint_reserve_panels = 1;
inline constexpr vex_int hint_bind_columns = 2;

struct TaskGraph {
  GraphSettings settings;
  // N words each, one allocation. `updates[j]` counts the panels applied to column j: complete at j.
  // `column_state[j]` is 1 while a team owns the column and 2 once it is complete. `source_updates[i]` counts
  // the committed updates that read panel i; null without a depth limit.
  vex_int* updates;
  vex_int* column_state;
  vex_int* source_updates;
  TaskPosition low_water, probe;  // touched under the thread-team context's lock only
  vex_int failed, done;           // 0 or 1, atomically
  std::int32_t source_lock;
};

}  // namespace vex::lapack

extern "C" {

// 0, or 1 when the counters could not be allocated.
int vex_lapack_cdag1d_team_init(vex::lapack::TaskGraph* dag, vex_int panels, vex_int last_diagonal_panel,
                                vex_int teams, vex_int depth_limit, vex_int p0, vex_int p11, vex_int p1,
                                vex_int p12, vex_int hints, double early_fraction);
// Looks for a task for `team` (-1: for anybody) without taking it; returns its kind. Callers are serialised.
vex_int vex_lapack_cdag1d_probe_task(vex::lapack::TaskGraph* dag, vex::lapack::Task* task, vex_int team);
// Claims the task just probed.
void vex_lapack_cdag1d_get_probed_task(vex::lapack::TaskGraph* dag, const vex::lapack::Task* task);
// Records that a claimed task is finished; any thread, at any time.
void vex_lapack_cdag1d_commit_task(vex::lapack::TaskGraph* dag, const vex::lapack::Task* task);
// How many threads the task wants; `otherwise` when it is none that wants any.
vex_int vex_lapack_cdag1d_team_size(const vex::lapack::TaskGraph* dag, const vex::lapack::Task* task,
                                    vex_int otherwise);
void vex_lapack_cdag1d_destroy(vex::lapack::TaskGraph* dag);
}

namespace vex::lapack {

// Makes every later probe answer the end mark: a panel could not get its scratch memory, or was asked to
// stop.
void mark_failed(TaskGraph& dag);
bool has_failed(const TaskGraph& dag);

}  // namespace vex::lapack
