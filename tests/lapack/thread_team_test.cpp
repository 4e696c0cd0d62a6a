// Real threads form teams over a real task graph and compute nothing; a ledger of atomics knows what may
// never happen to a block column.
#include "lapack/thread_team.h"

#include <omp.h>

#include <atomic>
#include <memory>
#include <vector>

#include "service/barrier.h"
#include "tests/lapack/team_run.h"

namespace {

using namespace vex::lapack;

struct ModelRecord : TeamTask {
  vex::service::CounterBarrier barrier;
  std::atomic<std::int64_t> ranks{0};  // sum of the ranks of those who have come
};

class Model {
 public:
  explicit Model(const Scenario& run)
      : run_(run), columns_(static_cast<std::size_t>(run.panels)), applied_(columns_), owners_(columns_) {}

  // Returns whether every thread came to the end mark with every update done (or the run failed as told).
  void execute() {
    TeamRun teams(run_);
    auto& [size, ctx, dag] = teams;
    const auto records = std::make_unique<ModelRecord[]>(static_cast<std::size_t>(ctx.groups));
    for (vex_int g = 0; g < ctx.groups; ++g) records[static_cast<std::size_t>(g)].graph = &dag;
    TaskSource source{&dag, records.get(), sizeof(ModelRecord)};
    int delivered = 0;
#pragma omp parallel num_threads(static_cast <int>(run_.threads))
    {
#pragma omp single
      delivered = omp_get_num_threads();
      if (delivered == run_.threads) work(teams.ctx, teams.dag, source, omp_get_thread_num());
    }
    ASSERT_EQ(delivered, run_.threads);
    EXPECT_EQ(faults_.load(), 0);
    if (run_.fail_at < 0) expect_complete();
  }

 private:
  void work(ThreadTeamContext& ctx, TaskGraph& dag, TaskSource& source, vex_int t) {
    for (;;) {
      vex_lapack_thread_team_ctxt_get_task(&ctx, t, &source);
      auto& record =
          *static_cast<ModelRecord*>(static_cast<TeamTask*>(vex_lapack_thread_team_ctxt_get_data(&ctx, t)));
      const Task task = record.task;
      if (task.kind == task_end) return;
      const vex_int rank = vex_lapack_thread_team_ctxt_get_ithr_team(&ctx, t);
      const vex_int size = vex_lapack_thread_team_ctxt_get_nthr_team(&ctx, t);
      const bool master = vex_lapack_thread_team_ctxt_get_master(&ctx, t) == t;
      if (master != (rank == 0) || rank >= size) ++faults_;
      if (task.kind != task_not_for_this_team) take_part(record, task, rank, size, dag);
      vex_lapack_thread_team_ctxt_commit_task(&ctx, t, 0);
    }
  }

  void take_part(ModelRecord& record, const Task& task, vex_int rank, vex_int size, TaskGraph& dag) {
    const auto column = static_cast<std::size_t>(task.target);
    record.ranks.fetch_add(rank, std::memory_order_relaxed);
    if (rank == 0 && owners_[column].exchange(1) != 0) ++faults_;  // two teams at once
    record.barrier.wait(size, rank == 0);
    // Plain data, written by one member and read by all: a missing happens-before shows in the thread
    // sanitizer.
    if (applied_[column] != task.source) ++faults_;
    if (record.ranks.load(std::memory_order_relaxed) != size * (size - 1) / 2)
      ++faults_;  // a rank twice or missing
    record.barrier.wait(size, rank == 0);
    if (rank == 0) {
      ++applied_[column];
      record.ranks.store(0, std::memory_order_relaxed);
      owners_[column].store(0);
      if (task.kind == task_panel && task.target == run_.fail_at) mark_failed(dag);
    }
    record.barrier.wait(size, rank == 0);
  }

  void expect_complete() const {
    for (std::size_t j = 0; j < columns_; ++j) EXPECT_EQ(applied_[j], run_.updates(j)) << "column " << j;
  }

  Scenario run_;
  std::size_t columns_;
  std::vector<vex_int> applied_;
  std::vector<std::atomic<int>> owners_;
  std::atomic<int> faults_{0};
};

TEST(ThreadTeam, MembersSeeEachOthersWorkAndTheLastTeams) {
  // Columns bound to teams; groups of two, and no panels after the 13th; far more threads than cores; and a
  // failure, which must release every thread.
  for (const Scenario& run : {Scenario{2, 30, 29, 2, 0, 2, 1, 2, 1},
                              {4, 30, 29, 2, hint_bind_columns, 1, 1, 1, 1},
                              {8, 25, 12, 2, 0, 4, 2, 8, 2},
                              {56, 12, 11, 2, 0, 8, 4, 8, 4},
                              {8, 20, 19, 2, 0, 2, 2, 2, 2, 7}}) {
    SCOPED_TRACE(testing::PrintToString(run));
    Model(run).execute();
  }
}

TEST(ThreadTeam, GroupSizeDividesEveryCountAndPrefers24And18) {
  EXPECT_EQ(find_nthr_sub_team(36, 36, 36, 36, 36), 18);
  EXPECT_EQ(find_nthr_sub_team(48, 48, 48, 48, 48), 24);
  EXPECT_EQ(find_nthr_sub_team(64, 32, 32, 32, 32), 32);
  EXPECT_EQ(find_nthr_sub_team(56, 8, 4, 8, 4), 4);
  EXPECT_EQ(find_nthr_sub_team(7, 1, 1, 1, 1), 1);
}

}  // namespace
