// Drives the task graph with a model that computes nothing: simulated teams take and finish tasks in random
// order, and a ledger knows what an LU factorization needs to have happened before each of them.
#include "lapack/task_graph.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using vex::lapack::Task;
using vex::lapack::TaskGraph;

struct Shape {
  vex_int panels, last_diagonal, teams, depth, hints;
};

// What has been done to each block column, and what a task may rely on.
class Ledger {
 public:
  explicit Ledger(const Shape& shape)
      : shape_(shape),
        applied_(size(), 0),
        factored_(size(), false),
        busy_(size(), false),
        readers_(size(), 0) {
    factored_[0] = true;
  }

  void claim(const Task& task) {
    const auto source = index(task.source), target = index(task.target);
    EXPECT_FALSE(busy_[target]) << "column " << task.target << " touched by two teams at once";
    EXPECT_TRUE(factored_[source]) << "column " << task.target << " updated with an unfinished panel "
                                   << task.source;
    EXPECT_EQ(applied_[target], task.source) << "column " << task.target << " updated out of order";
    const bool panel = task.kind == vex::lapack::task_panel;
    EXPECT_EQ(panel, task.target == task.source + 1 && task.target <= shape_.last_diagonal);
    if (panel && shape_.depth > 0 && task.target >= shape_.depth) {
      const vex_int oldest = task.target - shape_.depth;
      EXPECT_EQ(readers_[index(oldest)], shape_.panels - 1 - oldest)
          << "panel " << task.target << " too far ahead";
    }
    busy_[target] = true;
  }

  void finish(const Task& task) {
    const auto target = index(task.target);
    busy_[target] = false;
    ++applied_[target];
    ++readers_[index(task.source)];
    if (task.kind == vex::lapack::task_panel) factored_[target] = true;
  }

  void expect_complete() const {
    for (vex_int j = 0; j < shape_.panels; ++j) {
      EXPECT_EQ(applied_[index(j)], std::min(j, shape_.last_diagonal + 1)) << "column " << j;
      EXPECT_TRUE(factored_[index(j)] || j > shape_.last_diagonal) << "panel " << j;
    }
  }

 private:
  std::size_t size() const { return index(shape_.panels); }
  static std::size_t index(vex_int i) { return static_cast<std::size_t>(i); }

  Shape shape_;
  std::vector<vex_int> applied_;
  std::vector<bool> factored_, busy_;
  std::vector<vex_int> readers_;
};

// Runs the graph to its end; gives up, and says so, when no team can go on.
void run_to_the_end(const Shape& shape, unsigned seed) {
  SCOPED_TRACE(testing::Message() << "N " << shape.panels << " L " << shape.last_diagonal << " K "
                                  << shape.teams << " depth " << shape.depth << " hints " << shape.hints
                                  << " seed " << seed);
  TaskGraph dag;
  ASSERT_EQ(0, vex_lapack_cdag1d_team_init(&dag, shape.panels, shape.last_diagonal, shape.teams, shape.depth,
                                           1, 1, 1, 1, shape.hints, 0.5));
  Ledger ledger(shape);
  std::mt19937 random(seed);
  std::vector<Task> working(static_cast<std::size_t>(shape.teams));
  for (Task& task : working) task.kind = vex::lapack::task_not_now;
  std::size_t ended = 0;
  int refusals = 0;
  while (ended < working.size() && !testing::Test::HasFailure()) {
    const std::size_t team = random() % working.size();
    Task& task = working[team];
    if (task.kind == vex::lapack::task_end) continue;
    if (task.kind == vex::lapack::task_update || task.kind == vex::lapack::task_panel) {
      ledger.finish(task);
      vex_lapack_cdag1d_commit_task(&dag, &task);
      task.kind = vex::lapack::task_not_now;
      continue;
    }
    const vex_int kind = vex_lapack_cdag1d_probe_task(&dag, &task, static_cast<vex_int>(team));
    if (kind == vex::lapack::task_end) ++ended;
    if (kind != vex::lapack::task_update && kind != vex::lapack::task_panel) {
      ASSERT_LT(++refusals, 1000000) << "no team can go on";
      continue;
    }
    refusals = 0;
    vex_lapack_cdag1d_get_probed_task(&dag, &task);
    ledger.claim(task);
  }
  ledger.expect_complete();
  vex_lapack_cdag1d_destroy(&dag);
}

TEST(TaskGraph, EveryUpdateOnceInOrderAndTheRunEnds) {
  unsigned seed = 1;
  for (const vex_int panels : {1, 2, 3, 4, 7, 20, 61})
    for (const vex_int last : {panels - 1, panels - 2, panels / 2, vex_int{0}})
      for (const vex_int teams : {1, 2, 3, 8, 70})
        for (const vex_int depth : {0, 2, 3})
          for (const vex_int hints : {0, 2})
            if (last >= 0 && last < panels) run_to_the_end({panels, last, teams, depth, hints}, seed++);
}

TEST(TaskGraph, LargeRunsEnd) {
  run_to_the_end({500, 499, 256, 2, 0}, 1);
  run_to_the_end({500, 499, 16, 2, 2}, 2);
  run_to_the_end({500, 250, 256, 0, 0}, 3);
}

TEST(TaskGraph, ReservedPanelTasksGoToTeamZero) {
  TaskGraph dag;
  ASSERT_EQ(0, vex_lapack_cdag1d_team_init(&dag, 4, 3, 2, 0, 1, 1, 1, 1, 1, 0.5));
  Task task;
  EXPECT_EQ(vex_lapack_cdag1d_probe_task(&dag, &task, 1), vex::lapack::task_not_for_this_team);
  EXPECT_EQ(vex_lapack_cdag1d_probe_task(&dag, &task, 0), vex::lapack::task_panel);
  vex_lapack_cdag1d_destroy(&dag);
}

TEST(TaskGraph, FailureEndsEveryProbe) {
  TaskGraph dag;
  ASSERT_EQ(0, vex_lapack_cdag1d_team_init(&dag, 10, 9, 2, 2, 1, 1, 1, 1, 0, 0.5));
  Task task;
  ASSERT_EQ(vex_lapack_cdag1d_probe_task(&dag, &task, 0), vex::lapack::task_panel);
  vex::lapack::mark_failed(dag);
  EXPECT_EQ(vex_lapack_cdag1d_probe_task(&dag, &task, 0), vex::lapack::task_end);
  EXPECT_EQ(vex_lapack_cdag1d_team_size(&dag, &task, 5), 5);
  vex_lapack_cdag1d_destroy(&dag);
}

TEST(TaskGraph, TeamSizesChangeAfterTheEarlyPanels) {
  TaskGraph dag;
  ASSERT_EQ(0, vex_lapack_cdag1d_team_init(&dag, 10, 9, 4, 0, 2, 4, 8, 16, 0, 0.3));
  const auto size = [&](vex_int source, vex_int kind) {
    const Task task{source, source + 1, kind, 0};
    return vex_lapack_cdag1d_team_size(&dag, &task, 99);
  };
  EXPECT_EQ(size(3, vex::lapack::task_panel), 2);
  EXPECT_EQ(size(4, vex::lapack::task_panel), 8);
  EXPECT_EQ(size(3, vex::lapack::task_update), 4);
  EXPECT_EQ(size(4, vex::lapack::task_update), 16);
  EXPECT_EQ(size(0, vex::lapack::task_not_now), 99);
  vex_lapack_cdag1d_destroy(&dag);
}

}  // namespace
