// Forming teams. A search waits for nothing; the blocking call around it adds the lock that serialises
// searches. An idle group's leader that cannot get the lock looks at its own state again, since whoever holds
// it may be giving it a task.
#include "lapack/thread_team.h"

#include <omp.h>

#include <cstddef>
#include <new>

#include "service/buffer_cache.h"
#include "service/spin_lock.h"

namespace vex::lapack {
namespace {

// How often a leader without a task offers its processor to others before it sleeps. With more threads than
// processors every leader that stays awake takes its turn before those that work: 56 threads on two
// processors needed 5 times as long as two, and 2.4 times with 8 yields; a thousand made no difference. With
// a processor for each, waking up costs more than a task is late.
constexpr int yields_when_crowded = 8;
constexpr int yields_when_alone = 10000;

ThreadGroup& group_of(const ThreadTeamContext& ctx, vex_int t) {
  return ctx.group[t / ctx.group_size];
}

// The groups that one search has set aside, in the order in which they were found: they lie cyclically from
// `first`, and what is not reserved between them belongs to others.
class Search {
 public:
  Search(ThreadTeamContext& ctx, void* tasks) : ctx_(ctx), tasks_(tasks) {}

  // Gathers idle groups from `start` on until a task takes the threads; gives back what is left over. The
  // first group of the team, or -1.
  vex_int run(vex_int start) {
    for (vex_int step = 0; step < ctx_.groups; ++step) {
      const vex_int g = (start + step) % ctx_.groups;
      // Pairs with the release of the leader that declared the group idle.
      if (ctx_.group[g].state.load(std::memory_order_acquire) != GroupState::idle) continue;
      ctx_.group[g].state.store(GroupState::reserved, std::memory_order_relaxed);
      if (first_ < 0) first_ = g;
      ++reserved_;
      vex_int threads = reserved_ * ctx_.group_size;
      record_ = ctx_.get_task(tasks_, first_ * ctx_.group_size, first_, &threads, record_);
      if (record_) {
        hand_out(start, threads / ctx_.group_size);
        return first_;
      }
    }
    hand_out(start, 0);
    return -1;
  }

 private:
  // The first `wanted` reserved groups become the team; the others are idle again.
  void hand_out(vex_int start, vex_int wanted) {
    vex_int rank = 0;
    for (vex_int step = 0; step < ctx_.groups; ++step) {
      ThreadGroup& group = ctx_.group[(start + step) % ctx_.groups];
      if (group.state.load(std::memory_order_relaxed) != GroupState::reserved) continue;
      if (rank == wanted) {
        group.state.store(GroupState::idle, std::memory_order_relaxed);
        continue;
      }
      group.record = record_;
      group.rank = rank++;
      group.groups_in_team = wanted;
      group.master = first_ * ctx_.group_size;
      // Pairs with the acquire in wait_for_task: the group sees its team when it sees the state.
      group.state.store(GroupState::assigned, std::memory_order_release);
      group.state.notify_one();
    }
  }

  ThreadTeamContext& ctx_;
  void* tasks_;
  void* record_ = nullptr;
  vex_int first_ = -1;
  vex_int reserved_ = 0;
};

// Ordered with the sleepers' count below: either the leader that is about to sleep sees the event, or whoever
// noted it sees the sleeper. A leader that sees the count also sees what it stands for.
void note_event(ThreadTeamContext& ctx) {
  std::atomic_ref(ctx.events).fetch_add(1);
}

bool anybody_sleeps(ThreadTeamContext& ctx) {
  return std::atomic_ref(ctx.sleepers).load() > 0;
}

// Until another leader's search changes the group's state, unless there is a new event. Nobody has to be told
// of an event that comes later: whoever notes one searches himself, for all idle groups.
void sleep_while_idle(ThreadTeamContext& ctx, ThreadGroup& own, std::int64_t searched_at) {
  const std::atomic_ref sleepers(ctx.sleepers);
  sleepers.fetch_add(1);
  if (std::atomic_ref(ctx.events).load() == searched_at)
    own.state.wait(GroupState::idle, std::memory_order_relaxed);
  sleepers.fetch_sub(1);
}

void wait_for_task(ThreadTeamContext& ctx, ThreadGroup& own, void* tasks) {
  declare_idle(ctx, own);
  std::int64_t searched_at = -1;
  service::SpinWait wait;
  for (; own.state.load(std::memory_order_acquire) != GroupState::assigned; wait.once()) {
    // Read before the search: what happens during it counts as new.
    const std::int64_t events = std::atomic_ref(ctx.events).load(std::memory_order_acquire);
    if (events == searched_at) {
      if (wait.yields() >= ctx.yields_before_sleep) sleep_while_idle(ctx, own, searched_at);
      continue;
    }
    if (!vex_serv_trylock(&ctx.lock)) continue;
    if (own.state.load(std::memory_order_relaxed) == GroupState::idle) {
      searched_at = events;
      // Leaders that are awake follow up a success themselves.
      while (try_form_team(ctx, tasks) >= 0 && anybody_sleeps(ctx)) {
      }
    }
    vex_serv_unlock(&ctx.lock);
  }
}

}  // namespace

void declare_idle(ThreadTeamContext& ctx, ThreadGroup& group) {
  // Pairs with the acquire in the search: who finds the group idle sees its last task finished.
  group.state.store(GroupState::idle, std::memory_order_release);
  note_event(ctx);
}

vex_int try_form_team(ThreadTeamContext& ctx, void* tasks) {
  const vex_int start = ctx.hint ? ctx.hint(tasks) / ctx.group_size % ctx.groups : 0;
  const vex_int first = Search(ctx, tasks).run(start);
  // The team is not always the searcher's, and behind the task that it took there may be another.
  if (first >= 0) note_event(ctx);
  return first;
}

}  // namespace vex::lapack

using namespace vex::lapack;

vex_int find_nthr_sub_team(vex_int threads, vex_int p0, vex_int p11, vex_int p1, vex_int p12) {
  // 24 and 18 stand before 16: a size that fits the cores of such machines is worth more than a power of two.
  for (const vex_int size : {32, 24, 18, 16, 12, 8, 6, 4, 2}) {
    if (threads % size == 0 && p0 % size == 0 && p11 % size == 0 && p1 % size == 0 && p12 % size == 0)
      return size;
  }
  return 1;
}

int vex_lapack_thread_team_ctxt_init(ThreadTeamContext* ctx, vex_int threads, vex_int group_size,
                                     GetTaskCallback get_task, CommitCallback commit, HintCallback hint) {
  const int yields = threads > omp_get_num_procs() ? yields_when_crowded : yields_when_alone;
  *ctx = {threads, group_size, threads / group_size, nullptr, get_task, commit, hint, yields, 0, 0, 0};
  void* memory =
      vex_serv_allocate(static_cast<std::size_t>(ctx->groups) * sizeof(ThreadGroup), alignof(ThreadGroup));
  if (!memory) return 1;
  ctx->group = static_cast<ThreadGroup*>(memory);
  for (vex_int g = 0; g < ctx->groups; ++g) new (&ctx->group[g]) ThreadGroup{};
  return 0;
}

void vex_lapack_thread_team_ctxt_get_task(ThreadTeamContext* ctx, vex_int t, void* tasks) {
  ThreadGroup& own = group_of(*ctx, t);
  const bool leader = t % ctx->group_size == 0;
  if (leader) wait_for_task(*ctx, own, tasks);
  if (ctx->group_size > 1) own.barrier.wait(ctx->group_size, leader);
}

void* vex_lapack_thread_team_ctxt_get_data(const ThreadTeamContext* ctx, vex_int t) {
  return group_of(*ctx, t).record;
}

vex_int vex_lapack_thread_team_ctxt_get_ithr_team(const ThreadTeamContext* ctx, vex_int t) {
  return ctx->group_size * group_of(*ctx, t).rank + t % ctx->group_size;
}

vex_int vex_lapack_thread_team_ctxt_get_nthr_team(const ThreadTeamContext* ctx, vex_int t) {
  return ctx->group_size * group_of(*ctx, t).groups_in_team;
}

vex_int vex_lapack_thread_team_ctxt_get_master(const ThreadTeamContext* ctx, vex_int t) {
  return group_of(*ctx, t).master;
}

vex_int vex_lapack_thread_team_ctxt_get_ithr_top(const ThreadTeamContext* ctx, vex_int t) {
  return group_of(*ctx, t).master / ctx->group_size;
}

void vex_lapack_thread_team_ctxt_commit_task(ThreadTeamContext* ctx, vex_int t, int keep) {
  if (t % ctx->group_size != 0) return;
  ThreadGroup& own = group_of(*ctx, t);
  if (own.rank == 0) {
    ctx->commit(own.record);
    note_event(*ctx);
  }
  own.record = nullptr;
  if (!keep) own.state.store(GroupState::working, std::memory_order_release);
}

void vex_lapack_thread_team_ctxt_destroy(ThreadTeamContext* ctx) {
  vex_serv_deallocate(ctx->group);
  ctx->group = nullptr;
}
