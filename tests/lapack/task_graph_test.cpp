// Drives the task graph and the search for teams with a model that computes nothing: teams form, and finish
// in random order, and a ledger knows what an LU factorization needs to have happened before each task.
#include "lapack/task_graph.h"

#include <algorithm>
#include <random>
#include <vector>

#include "tests/lapack/team_run.h"

namespace {

using namespace vex::lapack;

// What has been done to each block column, and what a task may rely on.
class Ledger {
 public:
  explicit Ledger(const Scenario& run)
      : run_(run),
        size_(static_cast<std::size_t>(run.panels)),
        applied_(size_),
        readers_(size_),
        busy_(size_) {}

  void claim(const Task& task, vex_int team_size) {
    const auto source = static_cast<std::size_t>(task.source), target = static_cast<std::size_t>(task.target);
    ASSERT_LT(target, size_);
    EXPECT_FALSE(busy_[target]) << "column " << target << " touched by two teams at once";
    EXPECT_TRUE(applied_[source] == task.source && !busy_[source])
        << "panel " << source << " is not factored";
    EXPECT_EQ(applied_[target], task.source) << "column " << target << " updated out of order";
    const bool panel = task.kind == task_panel, late = 2 * task.source > run_.panels;
    EXPECT_EQ(panel, task.target == task.source + 1 && task.target <= run_.last_diagonal);
    EXPECT_EQ(team_size, panel ? (late ? run_.p1 : run_.p0) : late ? run_.p12 : run_.p11);
    if (panel && run_.depth > 0 && task.target >= run_.depth) {
      const vex_int oldest = task.target - run_.depth;
      EXPECT_EQ(readers_[static_cast<std::size_t>(oldest)], run_.panels - 1 - oldest)
          << "panel " << target << " too far ahead";
    }
    busy_[target] = true;
  }

  void finish(const Task& task) {
    busy_[static_cast<std::size_t>(task.target)] = false;
    ++applied_[static_cast<std::size_t>(task.target)];
    ++readers_[static_cast<std::size_t>(task.source)];
  }

  void expect_complete() const {
    for (std::size_t j = 0; j < size_; ++j) EXPECT_EQ(applied_[j], run_.updates(j)) << "column " << j;
  }

 private:
  Scenario run_;
  std::size_t size_;
  std::vector<vex_int> applied_, readers_;
  std::vector<char> busy_;
};

// Runs to the end, or to the failure; says so when no team can go on.
void run_to_the_end(const Scenario& run, unsigned seed) {
  SCOPED_TRACE(testing::PrintToString(run));
  TeamRun teams(run);
  auto& [size, ctx, dag] = teams;
  std::vector<TeamTask> records(static_cast<std::size_t>(ctx.groups), TeamTask{&dag, {}});
  TaskSource source{&dag, records.data(), sizeof(TeamTask)};
  Ledger ledger(run);
  std::mt19937 random(seed);
  std::vector<std::vector<vex_int>> working;  // the groups of each team, the leading one first
  std::vector<char> taken(static_cast<std::size_t>(ctx.groups));
  vex_int ended = 0, refusals = 0;
  for (vex_int g = 0; g < ctx.groups; ++g) declare_idle(ctx, ctx.group[g]);
  while (ended < ctx.groups && !testing::Test::HasFailure()) {
    const vex_int first = random() % 4 == 0 && !working.empty() ? -1 : try_form_team(ctx, &source);
    if (first >= 0) {
      const Task task = static_cast<TeamTask*>(ctx.group[first].record)->task;
      std::vector<vex_int> team(static_cast<std::size_t>(ctx.group[first].groups_in_team), -1);
      for (vex_int g = 0; g < ctx.groups; ++g) {
        const ThreadGroup& group = ctx.group[g];
        const bool assigned = group.state == GroupState::assigned && group.record != nullptr;
        if (!assigned || group.master != first * size) continue;
        EXPECT_FALSE(taken[static_cast<std::size_t>(g)]++) << "group " << g << " in two teams";
        ASSERT_LT(group.rank, static_cast<vex_int>(team.size()));
        team[static_cast<std::size_t>(group.rank)] = g;
      }
      EXPECT_TRUE(team[0] == first && std::count(team.begin(), team.end(), -1) == 0)
          << "ranks twice or missing";
      if (task.kind == task_end) {
        ended += ctx.group[first].groups_in_team;
        continue;
      }
      if (task.kind == task_not_for_this_team) {
        EXPECT_NE(run.hints, 0);
        ASSERT_LT(++refusals, 100000) << "the team that may go on is never asked";
      } else {
        refusals = 0;
        EXPECT_FALSE(has_failed(dag)) << "work given out after a failure";
        EXPECT_TRUE(!(run.hints & hint_reserve_panels) || task.kind != task_panel || first == 0);
        ledger.claim(task, static_cast<vex_int>(team.size()) * size);
      }
      working.push_back(team);
      continue;
    }
    ASSERT_FALSE(working.empty()) << "no team can go on";
    std::swap(working[random() % working.size()], working.back());
    const Task task = static_cast<TeamTask*>(ctx.group[working.back()[0]].record)->task;
    if (task.kind != task_not_for_this_team) ledger.finish(task);
    if (task.kind == task_panel && task.target == run.fail_at) mark_failed(dag);
    for (const vex_int g : working.back()) {
      taken[static_cast<std::size_t>(g)] = 0;
      vex_lapack_thread_team_ctxt_commit_task(&ctx, g * size, 0);
      declare_idle(ctx, ctx.group[g]);
    }
    working.pop_back();
  }
  if (run.fail_at < 0) ledger.expect_complete();
}

TEST(TaskGraph, EveryUpdateOnceInOrderByOneTeamAndTheRunEnds) {
  std::mt19937 random(1);
  const auto pick = [&](const std::vector<vex_int>& from) { return from[random() % from.size()]; };
  for (unsigned seed = 1; seed <= 300 && !HasFailure(); ++seed) {
    Scenario run{};
    run.threads = pick({1, 2, 3, 4, 7, 8, 12, 28, 36, 56, 64, 256});
    run.panels = pick({1, 2, 3, 4, 7, 20, 61});
    run.depth = pick({0, 2, 3});
    run.hints = pick({0, hint_reserve_panels, hint_bind_columns});
    run.last_diagonal = std::max<vex_int>(0, pick({run.panels - 1, run.panels - 2, run.panels / 2, 0}));
    for (vex_int* size : {&run.p0, &run.p11, &run.p1, &run.p12})
      *size = std::min(run.threads, pick({1, 1, 2, 3, 4, 8, 16, 24, 32, 256}));
    if (seed % 5 == 0 || run.hints == hint_bind_columns) run.p0 = run.p11 = run.p1 = run.p12 = 1;
    if (seed % 7 == 0) run.fail_at = run.panels / 2;
    run_to_the_end(run, seed);
  }
  if (HasFailure()) return;
  run_to_the_end({256, 500, 499, 2, 0, 32, 16, 64, 16}, 1);
  run_to_the_end({8, 500, 499, 2, hint_bind_columns, 1, 1, 1, 1}, 2);
  run_to_the_end({256, 500, 250, 0, 0, 8, 8, 8, 8}, 3);
}

}  // namespace
