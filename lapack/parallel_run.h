// One parallel factorization: what its threads share and what each of them does. A template only over the
// clock that is told where a thread's time goes; the library runs it with one that does nothing.
#pragma once

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <limits>

#include "lapack/getrf.h"
#include "lapack/laswp.h"
#include "lapack/packed_group.h"
#include "lapack/panel.h"
#include "lapack/panel_distribution.h"
#include "lapack/parallel_region.h"
#include "lapack/team_panel.h"
#include "lapack/team_record.h"
#include "lapack/team_update.h"
#include "lapack/thread_team.h"
#include "service/buffer_cache.h"
#include "service/spin_lock.h"

namespace vex::lapack {

// What a thread of a run may be at.
enum class Phase { prepare, panel, interchange, solve, multiply, wait_in_team, wait_for_task, left };

struct NoClock {
  // Thread t has been at `phase` since it was last heard of.
  static void lap(vex_int, Phase) {}
};

// How many threads factor panel 0 while nothing else can be done yet: one for small matrices, where meeting
// costs more than it brings, and a multiple of 4 otherwise.
inline vex_int first_panel_threads(vex_int delivered, vex_int diagonal) {
  const vex_int most = diagonal <= 500 ? 1 : 32;
  const vex_int others = delivered - 1;
  return std::max<vex_int>(1, std::min(most, delivered > 4 ? others / 4 * 4 : others));
}

// Everything that the threads of one factorization share.
template <typename Clock>
class ParallelRun {
 public:
  ParallelRun(MatrixView a, vex_int* ipiv, const ParallelPlan& plan, Clock& clock)
      : a_(a), ipiv_(ipiv), plan_(plan), clock_(clock) {}
  ~ParallelRun() {
    finish_sharing();
    vex_serv_deallocate(interchanged_);
    if (records_) free_records(records_, teams_.groups);
    if (dag_.updates) vex_lapack_cdag1d_destroy(&dag_);
    if (teams_.group) vex_lapack_thread_team_ctxt_destroy(&teams_);
    if (panels_.widths) vex_lapack_nb_dist_destroy(&panels_);
  }
  ParallelRun(const ParallelRun&) = delete;
  ParallelRun& operator=(const ParallelRun&) = delete;

  // Plans for the threads that the runtime has really delivered; false when memory is out. By one thread.
  bool prepare(vex_int delivered) {
    threads_ = std::min(delivered, plan_.threads);
    const vex_int late_panel = std::min(plan_.late_panel, threads_);
    const vex_int early_panel = std::min(plan_.early_panel, late_panel);
    const vex_int late_update = std::min(plan_.late_update, threads_);
    const vex_int early_update = std::min(plan_.early_update, late_update);
    if (vex_lapack_nb_dist_init(&panels_, a_.cols, plan_.nominal_width, plan_.width, plan_.width_switch) <
        0) {
      return false;
    }
    const vex_int group = find_nthr_sub_team(threads_, early_panel, early_update, late_panel, late_update);
    const auto hint = plan_.thread_hint ? thread_team_ctxt_thread_for_task_hint : nullptr;
    if (vex_lapack_thread_team_ctxt_init(&teams_, threads_, group, thread_team_ctxt_get_task_callback,
                                         thread_team_ctxt_commit_callback, hint) != 0) {
      return false;
    }
    last_diagonal_ = a_.rows < a_.cols ? vex_lapack_nb_dist_get_panel(&panels_, a_.rows) : panels_.count - 1;
    if (vex_lapack_cdag1d_team_init(&dag_, panels_.count, last_diagonal_, teams_.groups, plan_.depth_limit,
                                    early_panel, early_update, late_panel, late_update,
                                    plan_.thread_hint ? hint_bind_columns : 0, plan_.team_switch) != 0) {
      return false;
    }
    interchanged_ = static_cast<vex_int*>(
        vex_serv_allocate(static_cast<std::size_t>(panels_.count) * sizeof(vex_int), 64));
    if (!interchanged_) return false;
    std::fill_n(interchanged_, panels_.count, 0);
    depth_ = std::clamp<vex_int>(last_diagonal_, 1, depth_);
    records_ = allocate_records(&dag_, teams_.groups, threads_);
    if (!records_) return false;
    for (vex_int team = 0; team < teams_.groups; ++team) records_[team].split = plan_.split;
    return true;
  }

  // What every delivered thread does.
  void work(vex_int t) {
    if (t >= threads_) return;
    const SingleThreadedKernels bracket;
    const vex_int first_team = first_panel_threads(threads_, std::min(a_.rows, a_.cols));
    if (t < first_team) {
      factor_panel({&records_[0], t, first_team}, 0);
      clock_.lap(t, Phase::panel);
    } else if (plan_.share_panels) {
      start_sharing({t - first_team, threads_ - first_team});
      clock_.lap(t, Phase::prepare);
    }
    everybody_.wait(threads_, t == 0);
    clock_.lap(t, Phase::wait_in_team);

    TaskSource source{&dag_, records_, sizeof(TeamRecord)};
    for (;;) {
      vex_lapack_thread_team_ctxt_get_task(&teams_, t, &source);
      auto* record =
          static_cast<TeamRecord*>(static_cast<TeamTask*>(vex_lapack_thread_team_ctxt_get_data(&teams_, t)));
      clock_.lap(t, Phase::wait_for_task);
      const Task task = record->task;
      if (task.kind == task_end) return;
      if (task.kind == task_update || task.kind == task_panel) {
        const TeamMember member{record, vex_lapack_thread_team_ctxt_get_ithr_team(&teams_, t),
                                vex_lapack_thread_team_ctxt_get_nthr_team(&teams_, t)};
        update(t, member, task.source, task.target);
        if (task.kind == task_panel) {
          factor_panel(member, task.target);
          clock_.lap(t, Phase::panel);
        }
      }
      vex_lapack_thread_team_ctxt_commit_task(&teams_, t, 0);
      // The task is another thread's, which may be waiting for this processor.
      if (task.kind == task_not_for_this_team) vex_serv_thread_yield();
    }
  }

  // The interchanges of panels j + 1 ... on the columns of panel j.
  void interchange_left(vex_int t, vex_int j) {
    const vex_int next = offset(j) + width(j);
    xlaswp({a_.col(offset(j)), a_.rows, width(j), a_.ld},
           row_walk(next + 1, std::min(a_.rows, a_.cols), ipiv_, 1));
    clock_.lap(t, Phase::left);
  }

  bool failed() const { return has_failed(dag_); }
  vex_int last_diagonal() const { return last_diagonal_; }
  vex_int info() const {
    const vex_int first = first_zero_.load(std::memory_order_relaxed);
    return first == no_zero ? 0 : first;
  }

 private:
  static constexpr vex_int no_zero = std::numeric_limits<vex_int>::max();

  vex_int width(vex_int panel) const { return vex_lapack_nb_dist_get_nb(&panels_, panel); }
  vex_int offset(vex_int panel) const { return vex_lapack_nb_dist_get_offset(&panels_, panel) - 1; }
  // Rows of U, and pivots, that a panel brings.
  vex_int pivots(vex_int panel) const { return std::min(width(panel), a_.rows - offset(panel)); }

  // By the threads that have nothing else to do yet. Without memory every team packs for itself.
  void start_sharing(blas::TeamRank idle) {
    // The largest panel copied is the first: later ones are not wider, and have fewer rows.
    const vex_int inner = width(0), rows = a_.rows - inner;
    if (rows <= 0) return;
    const blas::TeamCall call{blas::TeamStage::start, idle, &idle_, &shared_, depth_, panels_.count, 0};
    team_multiply(call, rows, inner);
    if (!shared_ || idle.rank != 0) return;
    for (vex_int team = 0; team < teams_.groups; ++team) {
      records_[team].split = UpdateSplit::shared_copy;
      records_[team].shared = shared_;
    }
  }

  // What is left of the shared multiplies when no update is: their memory. By one thread.
  void finish_sharing() {
    if (!shared_) return;
    const vex_int inner = width(0), rows = a_.rows - inner;
    team_multiply({blas::TeamStage::finish, {0, 1}, nullptr, &shared_, depth_, panels_.count, 0}, rows,
                  inner);
  }

  void team_multiply(const blas::TeamCall& call, vex_int rows, vex_int inner) {
    const double minus_one = -1, one = 1;
    vex_blas_xdgemm_internal_team("N", "N", &rows, &inner, &inner, &minus_one, &a_(inner, 0), &a_.ld, a_.data,
                                  &a_.ld, &one, &a_(inner, 0), &a_.ld, &call);
  }

  void factor_panel(const TeamMember& member, vex_int panel) {
    const vex_int first = offset(panel);
    vex_int panel_info = 0;
    const int stop = factor_panel_by_team(member, a_.block(first, first, a_.rows - first, width(panel)),
                                          ipiv_ + first, panel_info);
    if (member.is_master()) {
      for (vex_int i = 0; i < pivots(panel); ++i) ipiv_[first + i] += first;
      if (stop) mark_failed(dag_);
      if (panel_info > 0) note_zero_pivot(first + panel_info);
      factored_.store(panel + 1, std::memory_order_release);
    }
    // The record may serve another team as soon as the master commits.
    member.meet();
  }

  // Panels finish in order, but a relaxed minimum needs no such argument; the region's end publishes it.
  void note_zero_pivot(vex_int column) {
    vex_int seen = first_zero_.load(std::memory_order_relaxed);
    while (column < seen && !first_zero_.compare_exchange_weak(seen, column, std::memory_order_relaxed)) {
    }
  }

  // Applies panel `source` to block column `target`: interchanges, solve, multiply.
  void update(vex_int t, const TeamMember& member, vex_int source, vex_int target) {
    const vex_int top = offset(source);
    const Update step{source, top, a_.block(top, top, a_.rows - top, pivots(source)),
                      a_.block(0, offset(target), a_.rows, width(target)), ipiv_};
    if (member.size == 1)
      update_in_strips(t, member, step, target);
    else
      update_together(t, member, step, target);
    if (shared_ && member.is_master()) blas::note_product_done(*shared_, source);
  }

  void update_together(vex_int t, const TeamMember& member, const Update& step, vex_int target) {
    if (interchanged_[target] <= step.source) interchange(member, step);
    clock_.lap(t, Phase::interchange);
    solve(member, step);
    clock_.lap(t, Phase::solve);
    member.meet();
    clock_.lap(t, Phase::wait_in_team);
    multiply(member, step);
    clock_.lap(t, Phase::multiply);
    // Nobody goes on, or commits, while a member still updates.
    member.meet();
    clock_.lap(t, Phase::wait_in_team);
  }

  // The same by one thread, in strips of the column that the caches hold from the solve to the end. The next
  // panel's interchanges, if they are known already, follow at once: on their own they would fetch every
  // third line of the column anew. At orders 2000 and 4000 that took 7 and 5 percent of two threads' time,
  // and 3 and 2 this way.
  void update_in_strips(vex_int t, const TeamMember& member, const Update& step, vex_int target) {
    constexpr vex_int few = 48;  // 32 and 40 are as good, 24 and 64 not always
    const vex_int strip = strip_width(step.rows_below(), step.pivots(), few);
    const vex_int source = step.source, next = source + 1;
    const bool interchanged = interchanged_[target] > source;
    // Acquire pairs with the store in factor_panel.
    const bool follow =
        next < target && next <= last_diagonal_ && factored_.load(std::memory_order_acquire) > next;
    const RowWalk next_walk =
        follow ? row_walk(offset(next) + 1, offset(next) + pivots(next), ipiv_, 1) : RowWalk{};
    for (vex_int j = 0; j < step.column.cols; j += strip) {
      Update part = step;
      part.column = step.column.block(0, j, a_.rows, std::min(strip, step.column.cols - j));
      if (!interchanged) interchange(member, part);
      clock_.lap(t, Phase::interchange);
      solve(member, part);
      clock_.lap(t, Phase::solve);
      multiply(member, part);
      clock_.lap(t, Phase::multiply);
      if (follow) xlaswp(part.column, next_walk);
      clock_.lap(t, Phase::interchange);
    }
    if (follow) interchanged_[target] = next + 1;
  }

  MatrixView a_;
  vex_int* ipiv_;
  ParallelPlan plan_;
  Clock& clock_;
  vex_int threads_ = 0, last_diagonal_ = 0;
  vex_lapack_nb_dist panels_{};
  ThreadTeamContext teams_{};
  TaskGraph dag_{};
  TeamRecord* records_ = nullptr;
  vex_int depth_ = 2;  // of the ring of packed panels
  blas::FactorCopies* shared_ = nullptr;
  service::CounterBarrier everybody_, idle_;
  std::atomic<vex_int> first_zero_{no_zero};
  std::atomic<vex_int> factored_{0};  // panels whose pivots stand in ipiv
  // Of each block column that is ahead of its updates: how many panels' interchanges it has had. Only tasks
  // on the column ask and tell.
  vex_int* interchanged_ = nullptr;
};

// The whole of it; false, with the matrix untouched, when memory for the schedule is out.
template <typename Clock>
bool run_in_parallel(MatrixView a, vex_int* ipiv, vex_int& info, const ParallelPlan& plan,
                     vex_int max_threads, Clock& clock) {
  ParallelRun<Clock> run(a, ipiv, plan, clock);
  bool ready = false;
#pragma omp parallel num_threads(static_cast <int>(plan.threads))
  {
#pragma omp single
    ready = run.prepare(omp_get_num_threads());
    clock.lap(omp_get_thread_num(), Phase::prepare);
    if (ready) run.work(omp_get_thread_num());
  }
  if (!ready) return false;
  if (run.failed()) {
    info = info_not_finished;
    return true;
  }
  info = run.info();
#pragma omp parallel for num_threads(static_cast <int>(max_threads)) schedule(dynamic, 1)
  for (vex_int j = 0; j < run.last_diagonal(); ++j) run.interchange_left(omp_get_thread_num(), j);
  return true;
}

}  // namespace vex::lapack
