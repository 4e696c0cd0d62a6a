// Walks the triangle of tasks from two cursors: the probe cursor, where the last claim was made, finds the
// next task quickly; the low-water mark, before which everything is committed, finds what was skipped.
#include "lapack/task_graph.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "service/buffer_cache.h"
#include "service/spin_lock.h"

namespace vex::lapack {
namespace {

constexpr vex_int column_claimed = 1;
constexpr vex_int column_complete = 2;

vex_int load(const vex_int& word) {
  return std::atomic_ref(const_cast<vex_int&>(word)).load(std::memory_order_acquire);
}

void store(vex_int& word, vex_int value) {
  std::atomic_ref(word).store(value, std::memory_order_release);
}

// Whether column `target` may be factored ahead of the updates that lag behind it: with a depth limit d, only
// when every update that reads panel target - d has been committed.
bool within_depth(const TaskGraph& dag, vex_int target) {
  const vex_int depth = dag.settings.depth_limit;
  if (depth <= 0 || target < depth) return true;
  const vex_int oldest = target - depth;
  return load(dag.source_updates[oldest]) >= dag.settings.panels - 1 - oldest;
}

vex_int kind_at(const TaskGraph& dag, vex_int source, vex_int target) {
  return target == source + 1 && target != dag.settings.last_diagonal_panel + 1 ? task_panel : task_update;
}

vex_int kind_at_end_of_scan(const TaskGraph& dag) {
  const vex_int panels = dag.settings.panels, last = dag.settings.last_diagonal_panel;
  if (last == panels - 1) {
    // A single panel has nothing to update; the cursor then never leaves its start.
    return last == 0 || dag.low_water == TaskPosition{last - 1, last} ? task_end : task_not_now;
  }
  return dag.low_water == TaskPosition{last, panels - 1} ? task_end : task_not_now;
}

// The first task after `position` that nobody has claimed. Advances the low-water mark when it passes there.
vex_int cdag1d_next_task(TaskGraph& dag, TaskPosition& position) {
  const vex_int panels = dag.settings.panels;
  for (;;) {
    const TaskPosition previous = position;
    if (++position.target >= panels) {
      ++position.source;
      position.target = position.source + 1;
    }
    const auto [source, target] = position;
    if (source > dag.settings.last_diagonal_panel || target >= panels) return kind_at_end_of_scan(dag);

    // The state is read before the counter: a commit raises the counter first and frees the column after, so
    // a column seen free here is never seen with the counter of before its commit.
    const vex_int state = load(dag.column_state[target]);
    const vex_int updates = load(dag.updates[target]);
    if (load(dag.updates[source]) < source || updates < source) return task_not_now;
    if (updates > source) {
      if (dag.low_water == previous) dag.low_water = position;
      continue;
    }
    if (state == column_claimed) continue;
    if (target == source + 1 && !within_depth(dag, target)) continue;
    return kind_at(dag, source, target);
  }
}

// Turns a found task into the one of the same source that the team's own block column offers.
void bind_to_team(const TaskGraph& dag, Task& task) {
  const vex_int teams = dag.settings.teams;
  vex_int own = task.target - task.target % teams + task.team;
  if (own < task.target) own += teams;
  const vex_int source = task.source;
  const bool available = own < dag.settings.panels && own > source &&
                         load(dag.column_state[own]) != column_claimed && load(dag.updates[own]) == source &&
                         load(dag.updates[source]) == source && (own != source + 1 || within_depth(dag, own));
  if (!available) {
    task.kind = task_not_for_this_team;
    return;
  }
  task.target = own;
  task.kind = kind_at(dag, source, own);
}

bool is_work(vex_int kind) {
  return kind == task_update || kind == task_panel;
}

}  // namespace

void mark_failed(TaskGraph& dag) {
  store(dag.failed, 1);
}

bool has_failed(const TaskGraph& dag) {
  return load(dag.failed) != 0;
}

}  // namespace vex::lapack

using namespace vex::lapack;

int vex_lapack_cdag1d_team_init(TaskGraph* dag, vex_int panels, vex_int last_diagonal_panel, vex_int teams,
                                vex_int depth_limit, vex_int p0, vex_int p11, vex_int p1, vex_int p12,
                                vex_int hints, double early_fraction) {
  *dag = {};
  dag->settings = {panels, last_diagonal_panel, teams, depth_limit, p0, p11, p1, p12, hints, early_fraction};
  dag->low_water = dag->probe = {-1, panels - 1};
  const vex_int words = (depth_limit > 0 ? 3 : 2) * panels;
  dag->updates =
      static_cast<vex_int*>(vex_serv_allocate(static_cast<std::size_t>(words) * sizeof(vex_int), 128));
  if (!dag->updates) return 1;
  std::fill_n(dag->updates, words, 0);
  dag->column_state = dag->updates + panels;
  dag->source_updates = depth_limit > 0 ? dag->updates + 2 * panels : nullptr;
  return 0;
}

vex_int vex_lapack_cdag1d_probe_task(TaskGraph* dag, Task* task, vex_int team) {
  task->team = team;
  task->kind = task_end;
  if (!has_failed(*dag)) {
    for (const TaskPosition start : {dag->probe, dag->low_water}) {
      TaskPosition position = start;
      task->kind = cdag1d_next_task(*dag, position);
      task->source = position.source;
      task->target = position.target;
      if (task->kind != task_not_now) break;
    }
    const vex_int hints = dag->settings.hints;
    if ((hints & hint_bind_columns) && team >= 0 && is_work(task->kind)) bind_to_team(*dag, *task);
    if ((hints & hint_reserve_panels) && team >= 1 && task->kind == task_panel)
      task->kind = task_not_for_this_team;
  }
  if (task->kind == task_end) store(dag->done, 1);
  return task->kind;
}

void vex_lapack_cdag1d_get_probed_task(TaskGraph* dag, const Task* task) {
  if (!is_work(task->kind)) return;
  store(dag->column_state[task->target], column_claimed);
  dag->probe = {task->source, task->target};
}

void vex_lapack_cdag1d_commit_task(TaskGraph* dag, const Task* task) {
  if (!is_work(task->kind)) return;
  if (dag->source_updates) {
    vex::service::SpinGuard guard(dag->source_lock);
    vex_int& count = dag->source_updates[task->source];
    store(count, load(count) + 1);
  }
  // Pairs with the acquire in cdag1d_next_task: whoever sees the count sees the column's new content.
  const vex_int updates = load(dag->updates[task->target]) + 1;
  store(dag->updates[task->target], updates);
  store(dag->column_state[task->target], updates == task->target ? column_complete : 0);
}

vex_int vex_lapack_cdag1d_team_size(const TaskGraph* dag, const Task* task, vex_int otherwise) {
  if (has_failed(*dag) || !is_work(task->kind)) return otherwise;
  const GraphSettings& s = dag->settings;
  const bool late = static_cast<double>(task->source) > s.early_fraction * static_cast<double>(s.panels);
  if (task->kind == task_panel) return late ? s.panel_team_late : s.panel_team_early;
  return late ? s.update_team_late : s.update_team_early;
}

void vex_lapack_cdag1d_destroy(TaskGraph* dag) {
  vex_serv_deallocate(dag->updates);
  dag->updates = nullptr;
}
