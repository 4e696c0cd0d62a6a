// Teams that form while a parallel region runs. The P threads of a region stand in groups of S; whichever
// idle group comes first gathers as many idle groups as a task wants, and together they are the task's team
// until its groups commit. What a task is, three callbacks know; this room knows threads only.
//
//   thread    0 1 2 3 4 5 6 7        S = 2, G = 4
//   group     0   1   2   3
//   task A    [0   1]     .          groups 0 and 1 work as a team of 4 threads, master thread 0
//   task B            [2]            group 2 alone: a team of 2, master thread 4
#pragma once

#include <atomic>
#include <cstdint>

#include "service/barrier.h"
#include "service/types.h"

namespace vex::lapack {

struct ThreadTeamContext;

// Offers `offered` threads, from thread `master` up, of the team numbered `team` (its first group). Returns
// the team's record when a task fits, after lowering `offered` to what the task wants and claiming it; else
// null. `previous` is what the last call of the same search returned. Called under the context's lock.
using GetTaskCallback = void* (*)(void* tasks, vex_int master, vex_int team, vex_int* offered,
                                  void* previous);
// The team that worked on `record` has finished.
using CommitCallback = void (*)(void* record);
// The thread that would best lead the next task.
using HintCallback = vex_int (*)(void* tasks);

enum class GroupState : int { working, idle, assigned, reserved };

// One per group, on cache lines of its own. What is not atomic is written under the context's lock before the
// state becomes `assigned`, and read by the group afterwards.
struct alignas(128) ThreadGroup {
  std::atomic<GroupState> state;
  void* record;
  vex_int rank;  // of the group inside its team
  vex_int groups_in_team;
  vex_int master;  // first thread of the team's first group
  service::CounterBarrier barrier;
};

struct ThreadTeamContext {
  vex_int threads, group_size, groups;
  ThreadGroup* group;
  GetTaskCallback get_task;
  CommitCallback commit;
  HintCallback hint;        // may be null
  int yields_before_sleep;  // of a leader that has found no task
  std::int32_t lock;
  // Counts what may let a search succeed that has failed before: groups that fall idle, tasks committed. A
  // leader that has searched in vain only watches it, so that many waiting leaders do not keep the lock busy.
  std::int64_t events;
  std::int64_t sleepers;  // leaders that wait for a team without watching
};

// The two steps that vex_lapack_thread_team_ctxt_get_task is made of. They block nobody, so that a simulation
// forms the same teams without threads.

// A group's leader has come for a task.
void declare_idle(ThreadTeamContext& ctx, ThreadGroup& group);
// One search among the idle groups. Forms at most one team and returns its first group; -1 when the idle
// threads suit no task. Callers hold the context's lock where others may call too.
vex_int try_form_team(ThreadTeamContext& ctx, void* tasks);

}  // namespace vex::lapack

extern "C" {

// The largest of the sizes that groups may have which divides all five counts: then no group ever has to be
// torn apart, whichever task a team is formed for.
vex_int find_nthr_sub_team(vex_int threads, vex_int p0, vex_int p11, vex_int p1, vex_int p12);

// Stands `threads` threads in groups of `group_size`; `hint` may be null. 0, or 1 when memory is out.
int vex_lapack_thread_team_ctxt_init(vex::lapack::ThreadTeamContext* ctx, vex_int threads, vex_int group_size,
                                     vex::lapack::GetTaskCallback get_task,
                                     vex::lapack::CommitCallback commit, vex::lapack::HintCallback hint);
// Blocks until thread t's group is part of a team that has a task, or the end mark.
void vex_lapack_thread_team_ctxt_get_task(vex::lapack::ThreadTeamContext* ctx, vex_int t, void* tasks);

void* vex_lapack_thread_team_ctxt_get_data(const vex::lapack::ThreadTeamContext* ctx, vex_int t);
vex_int vex_lapack_thread_team_ctxt_get_ithr_team(const vex::lapack::ThreadTeamContext* ctx, vex_int t);
vex_int vex_lapack_thread_team_ctxt_get_nthr_team(const vex::lapack::ThreadTeamContext* ctx, vex_int t);
vex_int vex_lapack_thread_team_ctxt_get_master(const vex::lapack::ThreadTeamContext* ctx, vex_int t);
vex_int vex_lapack_thread_team_ctxt_get_ithr_top(const vex::lapack::ThreadTeamContext* ctx, vex_int t);

// Every thread of a team calls it once the whole team is past its last use of the task. With `keep` the group
// stays out of the search until it asks again.
void vex_lapack_thread_team_ctxt_commit_task(vex::lapack::ThreadTeamContext* ctx, vex_int t, int keep);
void vex_lapack_thread_team_ctxt_destroy(vex::lapack::ThreadTeamContext* ctx);
}
