// The task graph and the teams of one run, for tests whose tasks compute nothing.
#pragma once

#include <gtest/gtest.h>

#include "lapack/task_callbacks.h"
#include "lapack/task_graph.h"
#include "lapack/thread_team.h"

namespace vex::lapack {

struct Scenario {
  vex_int threads, panels, last_diagonal, depth, hints;
  vex_int p0, p11, p1, p12;
  vex_int fail_at = -1;  // the panel whose factorization reports failure

  // Updates that block column j has had at the end.
  vex_int updates(std::size_t j) const { return std::min(static_cast<vex_int>(j), last_diagonal + 1); }
};

inline void PrintTo(const Scenario& run, std::ostream* out) {
  *out << "P " << run.threads << " N " << run.panels << " L " << run.last_diagonal << " depth " << run.depth
       << " hints " << run.hints << " teams " << run.p0 << ' ' << run.p11 << ' ' << run.p1 << ' ' << run.p12
       << " fails " << run.fail_at;
}

struct TeamRun {
  explicit TeamRun(const Scenario& run)
      : size(find_nthr_sub_team(run.threads, run.p0, run.p11, run.p1, run.p12)) {
    const auto hint = run.hints & hint_bind_columns ? thread_team_ctxt_thread_for_task_hint : nullptr;
    EXPECT_EQ(0, vex_lapack_thread_team_ctxt_init(&ctx, run.threads, size, thread_team_ctxt_get_task_callback,
                                                  thread_team_ctxt_commit_callback, hint));
    EXPECT_EQ(0, vex_lapack_cdag1d_team_init(&dag, run.panels, run.last_diagonal, ctx.groups, run.depth,
                                             run.p0, run.p11, run.p1, run.p12, run.hints, 0.5));
  }
  ~TeamRun() {
    vex_lapack_cdag1d_destroy(&dag);
    vex_lapack_thread_team_ctxt_destroy(&ctx);
  }

  vex_int size;  // threads of a group
  ThreadTeamContext ctx;
  TaskGraph dag;
};

}  // namespace vex::lapack
