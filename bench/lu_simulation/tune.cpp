// A walk along the coordinates, from several starts, since team sizes and widths only pay together.
#include "bench/lu_simulation/tune.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "bench/lu_simulation/run.h"
#include "lapack/ilaenv.h"

namespace vex::bench {
namespace {

using lapack::TunedValues;

constexpr vex_int widths[] = {24, 32, 48, 64, 80, 96, 112, 128, 160, 192, 224, 256, 336, 384, 448};
constexpr vex_int percentages[] = {0, 20, 30, 40, 50, 60, 70, 80, 90};

// With more panels than this the simulation takes long, and a factorization has never gained by it.
constexpr vex_int most_panels = 400;

class Walk {
 public:
  Walk(const std::vector<Case>& cases, Freedom freedom) : cases_(cases), freedom_(freedom) {
    // A team that does not divide the threads would leave some of them out.
    const vex_int threads = cases[0].setting.threads;
    for (vex_int size = 1; size <= threads && size <= 32; ++size)
      if (threads % size == 0) sizes_.push_back(size);
  }

  TunedValues from(const TunedValues& start) {
    values_ = start;
    best_ = mean(values_);
    for (bool better = true; better;) {
      better = false;
      if (freedom_.widths) {
        for (const vex_int w : widths)
          better |= try_pair(&TunedValues::nb0, w, &TunedValues::nb1, std::min(w, values_.nb1));
        for (const vex_int w : widths)
          better |= try_pair(&TunedValues::nb0, std::max(w, values_.nb0), &TunedValues::nb1, w);
      }
      for (const vex_int late : sizes_)
        for (const vex_int early : sizes_) {
          if (early > late) break;
          if (freedom_.panel_teams || early == values_.fts0)
            better |= try_pair(&TunedValues::fts0, early, &TunedValues::fts1, late);
          better |= try_pair(&TunedValues::uts0, early, &TunedValues::uts1, late);
        }
      for (const vex_int p : percentages) {
        if (values_.nb0 != values_.nb1)
          better |= try_pair(&TunedValues::nb_switch, p, &TunedValues::nb1, values_.nb1);
        if (values_.fts0 != values_.fts1 || values_.uts0 != values_.uts1)
          better |= try_pair(&TunedValues::ts_switch, p, &TunedValues::nb1, values_.nb1);
      }
    }
    return values_;
  }
  double best() const { return best_; }

 private:
  // The logarithm of the geometric mean of the cases' times.
  double mean(const TunedValues& values) const {
    double sum = 0;
    for (const Case& c : cases_) sum += std::log(makespan(c.setting, values, c.costs));
    return sum / static_cast<double>(cases_.size());
  }

  bool try_pair(vex_int TunedValues::*first, vex_int first_to, vex_int TunedValues::*second,
                vex_int second_to) {
    TunedValues next = values_;
    next.*first = first_to;
    next.*second = second_to;
    if (cases_.back().setting.n / next.nb1 > most_panels) return false;
    const double time = mean(next);
    if (time > best_ - 0.005) return false;
    best_ = time;
    values_ = next;
    return true;
  }

  const std::vector<Case>& cases_;
  Freedom freedom_;
  std::vector<vex_int> sizes_;
  TunedValues values_{};
  double best_ = 0;
};

}  // namespace

double one_thread(const Setting& setting, const Costs& costs) {
  return costs.sequential(lapack::sequential_width(setting.code_path, setting.n));
}

double makespan(const Setting& setting, const TunedValues& values, const Costs& costs) {
  const auto plan = lapack::plan_parallel(values, setting.n, setting.n, setting.code_path, setting.threads);
  if (plan.threads < 2) return one_thread(setting, costs);
  return simulate(setting.n, plan, setting.threads, setting.depth, costs).makespan;
}

TunedValues tune(const std::vector<Case>& cases, const TunedValues& start, Freedom freedom) {
  Walk walk(cases, freedom);
  TunedValues best = walk.from(start);
  double least = walk.best();
  for (const vex_int team : {1, 2, 4}) {
    if (cases[0].setting.threads % team != 0) continue;
    TunedValues other = {team, team, 64 * team, 32 * (team + 1), 50, 50, 1, team};
    if (!freedom.widths) std::tie(other.nb0, other.nb1) = std::tie(start.nb0, start.nb1);
    if (!freedom.panel_teams) other.fts0 = start.fts0;
    const TunedValues found = walk.from(other);
    if (walk.best() >= least - 0.005) continue;
    least = walk.best();
    best = found;
  }
  return best;
}

}  // namespace vex::bench
