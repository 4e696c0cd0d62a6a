// Where the task graph and the thread teams meet: three callbacks that a team context calls to have the
// graph's tasks found, given out and committed.
#pragma once

#include <cstddef>

#include "lapack/task_graph.h"
#include "service/types.h"

namespace vex::lapack {

// What the record of every team begins with.
struct TeamTask {
  TaskGraph* graph;
  Task task;
};

// Where a run's tasks come from and go: its graph, and one record per team, `stride` bytes apart.
struct TaskSource {
  TaskGraph* graph;
  TeamTask* records;
  std::size_t stride;
};

// `tasks` is a TaskSource. See GetTaskCallback, CommitCallback and HintCallback.
void* thread_team_ctxt_get_task_callback(void* tasks, vex_int master, vex_int team, vex_int* offered,
                                         void* previous);
void thread_team_ctxt_commit_callback(void* record);
vex_int thread_team_ctxt_thread_for_task_hint(void* tasks);

}  // namespace vex::lapack
