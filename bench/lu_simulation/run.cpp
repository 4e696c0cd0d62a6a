// Events are the ends of tasks. At each of them the team commits, its groups ask for work, and teams are
// formed until a search fails, as the leaders of real groups do when they see the count of events change.
// Ties are broken by the order in which tasks began, so a run is the same every time.
#include "bench/lu_simulation/run.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <queue>

#include "lapack/panel_distribution.h"
#include "lapack/task_callbacks.h"
#include "lapack/thread_team.h"

namespace vex::bench {
namespace {

using lapack::Task;
using lapack::TeamTask;

struct End {
  double time;
  vex_int number;  // of the task, in the order of their beginnings
  vex_int first_group;
  bool operator<(const End& other) const {  // the earliest is on top of the queue
    return time != other.time ? time > other.time : number > other.number;
  }
};

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "lu_simulation: %s\n", what);
  std::exit(1);
}

class Run {
 public:
  Run(vex_int n, const lapack::ParallelPlan& plan, vex_int max_threads, vex_int depth, const Costs& costs,
      bool keep_stretches)
      : n_(n), max_threads_(max_threads), costs_(costs), keep_(keep_stretches) {
    out_.threads = plan.threads;
    const vex_int threads = plan.threads,
                  sizes[] = {plan.early_panel, plan.early_update, plan.late_panel, plan.late_update};
    const vex_int group = find_nthr_sub_team(threads, sizes[0], sizes[1], sizes[2], sizes[3]);
    const auto hint = plan.thread_hint ? lapack::thread_team_ctxt_thread_for_task_hint : nullptr;
    if (vex_lapack_nb_dist_init(&dist_, n, plan.nominal_width, plan.width, plan.width_switch) < 0 ||
        vex_lapack_thread_team_ctxt_init(&teams_, threads, group, lapack::thread_team_ctxt_get_task_callback,
                                         lapack::thread_team_ctxt_commit_callback, hint) != 0 ||
        vex_lapack_cdag1d_team_init(&dag_, dist_.count, dist_.count - 1, teams_.groups, depth, sizes[0],
                                    sizes[1], sizes[2], sizes[3],
                                    plan.thread_hint ? lapack::hint_bind_columns : 0, plan.team_switch) != 0)
      give_up("out of memory");
    records_.resize(static_cast<std::size_t>(teams_.groups), TeamTask{&dag_, {}});
    source_ = {&dag_, records_.data(), sizeof(TeamTask)};
  }
  ~Run() {
    vex_lapack_cdag1d_destroy(&dag_);
    vex_lapack_thread_team_ctxt_destroy(&teams_);
    vex_lapack_nb_dist_destroy(&dist_);
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  Outcome execute(vex_int first_team) {
    const double start = costs_.region(out_.threads);
    const double first = costs_.panel(n_, width(0), first_team);
    out_.share[panels] += first * static_cast<double>(first_team);
    for (vex_int t = 0; keep_ && t < first_team; ++t)
      out_.stretches.push_back({t, start, start + first, {-1, 0, lapack::task_panel, 0}});
    now_ = start + first + costs_.meeting(out_.threads);
    for (vex_int g = 0; g < teams_.groups; ++g) lapack::declare_idle(teams_, teams_.group[g]);
    form_teams();
    while (!running_.empty()) {
      const End end = running_.top();
      running_.pop();
      now_ = end.time;
      commit(end.first_group);
      for (const vex_int refused : refused_) commit(refused);
      refused_.clear();
      form_teams();
    }
    if (ended_ != teams_.groups) give_up("no team can go on: is every team size at most the thread count?");
    interchange_left();
    double busy = 0;
    for (int a = 0; a < waiting; ++a) busy += out_.share[a];
    const double all = out_.makespan * static_cast<double>(max_threads_);
    out_.share[waiting] = all - busy;
    for (double& share : out_.share) share /= all;
    return std::move(out_);
  }

 private:
  vex_int width(vex_int panel) const { return vex_lapack_nb_dist_get_nb(&dist_, panel); }
  vex_int offset(vex_int panel) const { return vex_lapack_nb_dist_get_offset(&dist_, panel) - 1; }

  // Forms teams until the idle ones suit no task. A search holds the context's lock, so the next waits for
  // it.
  void form_teams() {
    for (;;) {
      const vex_int first = lapack::try_form_team(teams_, &source_);
      if (first < 0) return;
      const lapack::ThreadGroup& group = teams_.group[first];
      const Task task = static_cast<const TeamTask*>(group.record)->task;
      if (task.kind == lapack::task_end) {
        ended_ += group.groups_in_team;
      } else if (task.kind == lapack::task_not_for_this_team) {
        // A real leader asks again at once and is refused until something has changed.
        refused_.push_back(first);
      } else {
        lock_free_ = std::max(now_, lock_free_) + costs_.search(teams_.groups, group.groups_in_team);
        begin(first, task, group.groups_in_team * teams_.group_size);
      }
    }
  }

  void begin(vex_int first, const Task& task, vex_int team) {
    const vex_int top = offset(task.source), k = width(task.source), below = n_ - top - k;
    double part[activities] = {};
    const UpdateCosts update = costs_.update(n_ - top, k, width(task.target), team);
    part[interchanges] = update.interchange;
    part[solves] = update.solve;
    part[multiplies] = update.multiply;
    part[memory] = update.memory;
    part[overhead] = 2 * costs_.meeting(team) + costs_.meeting(teams_.group_size);
    if (task.kind == lapack::task_panel) {
      part[panels] = costs_.panel(below, width(task.target), team);
      part[overhead] += costs_.meeting(team);
    }
    double end = lock_free_;
    for (int a = 0; a < activities; ++a) {
      end += part[a];
      out_.share[a] += part[a] * static_cast<double>(team);
    }
    running_.push({end, ++begun_, first});
    if (!keep_) return;
    for_each_group(first, [&](vex_int g) {
      for (vex_int r = 0; r < teams_.group_size; ++r)
        out_.stretches.push_back({g * teams_.group_size + r, lock_free_, end, task});
    });
  }

  void commit(vex_int first) {
    // The first group's leader commits the task and comes first here, since its rank is 0.
    for_each_group(first, [&](vex_int g) {
      vex_lapack_thread_team_ctxt_commit_task(&teams_, g * teams_.group_size, 0);
      lapack::declare_idle(teams_, teams_.group[g]);
    });
  }

  // The groups of the team that group `first` leads, in the cyclic order in which they were gathered.
  template <typename Function>
  void for_each_group(vex_int first, Function function) const {
    const vex_int master = first * teams_.group_size;
    vex_int left = teams_.group[first].groups_in_team;
    for (vex_int g = first; left > 0; g = (g + 1) % teams_.groups) {
      if (teams_.group[g].state != lapack::GroupState::assigned || teams_.group[g].master != master) continue;
      --left;
      function(g);
    }
  }

  // The second region: panels handed out one at a time, in order, to whichever thread is free.
  void interchange_left() {
    std::vector<double> free(static_cast<std::size_t>(max_threads_),
                             now_ + costs_.region(out_.threads) + costs_.region(max_threads_));
    for (vex_int j = 0; j + 1 < dist_.count; ++j) {
      const auto next = std::min_element(free.begin(), free.end());
      const double cost = costs_.interchange_left(n_ - offset(j) - width(j), width(j)) + costs_.search(1, 0);
      if (keep_)
        out_.stretches.push_back({next - free.begin(), *next, *next + cost, {-1, j, lapack::task_end, 0}});
      out_.share[interchanges] += cost;
      *next += cost;
    }
    out_.makespan = *std::max_element(free.begin(), free.end());
  }

  vex_int n_, max_threads_;
  const Costs& costs_;
  bool keep_;
  Outcome out_;
  vex_lapack_nb_dist dist_{};
  lapack::ThreadTeamContext teams_{};
  lapack::TaskGraph dag_{};
  std::vector<TeamTask> records_;
  lapack::TaskSource source_{};
  std::priority_queue<End> running_;
  std::vector<vex_int> refused_;
  double now_ = 0, lock_free_ = 0;
  vex_int begun_ = 0, ended_ = 0;
};

// As the factorization chooses the team of panel 0.
vex_int first_panel_threads(vex_int threads, vex_int n) {
  const vex_int others = threads - 1;
  return std::max<vex_int>(1, std::min<vex_int>(n <= 500 ? 1 : 32, threads > 4 ? others / 4 * 4 : others));
}

}  // namespace

Outcome simulate(vex_int n, const lapack::ParallelPlan& plan, vex_int max_threads, vex_int depth,
                 const Costs& costs, bool keep_stretches) {
  Run run(n, plan, max_threads, depth, costs, keep_stretches);
  return run.execute(first_panel_threads(plan.threads, n));
}

}  // namespace vex::bench
