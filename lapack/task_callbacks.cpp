// The callbacks run under the team context's lock, except commit, which any team leader calls at any time.
#include "lapack/task_callbacks.h"

namespace vex::lapack {

void* thread_team_ctxt_get_task_callback(void* tasks, vex_int, vex_int team, vex_int* offered, void*) {
  const auto& source = *static_cast<TaskSource*>(tasks);
  Task task;
  const vex_int kind = vex_lapack_cdag1d_probe_task(source.graph, &task, team);
  const vex_int wanted = vex_lapack_cdag1d_team_size(source.graph, &task, *offered);
  if (kind == task_not_now || *offered < wanted) return nullptr;
  *offered = wanted;
  vex_lapack_cdag1d_get_probed_task(source.graph, &task);
  auto* record = reinterpret_cast<TeamTask*>(reinterpret_cast<char*>(source.records) +
                                             static_cast<std::size_t>(team) * source.stride);
  record->task = task;
  return record;
}

void thread_team_ctxt_commit_callback(void* record) {
  const auto& done = *static_cast<TeamTask*>(record);
  vex_lapack_cdag1d_commit_task(done.graph, &done.task);
}

vex_int thread_team_ctxt_thread_for_task_hint(void* tasks) {
  const auto& source = *static_cast<TaskSource*>(tasks);
  Task task;
  const vex_int kind = vex_lapack_cdag1d_probe_task(source.graph, &task, -1);
  return kind == task_update || kind == task_panel ? task.target % source.graph->settings.teams : 0;
}

}  // namespace vex::lapack
