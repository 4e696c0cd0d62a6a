// A walk along the coordinates, from several starts, since team sizes and widths only pay together.
#include "bench/lu_simulation/tune.h"

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
  Walk(const Setting& setting, const Costs& costs) : setting_(setting), costs_(costs) {
    // A team that does not divide the threads would leave some of them out.
    for (vex_int size = 1; size <= setting.threads && size <= 32; ++size)
      if (setting.threads % size == 0) sizes_.push_back(size);
  }

  TunedValues from(TunedValues start) {
    values_ = start;
    best_ = makespan(setting_, values_, costs_);
    for (bool better = true; better;) {
      better = false;
      for (const vex_int w : widths) better |= try_widths(w, values_.nb1 < w ? values_.nb1 : w);
      for (const vex_int w : widths) better |= try_widths(values_.nb0 > w ? values_.nb0 : w, w);
      for (const vex_int s : sizes_) better |= try_panel_teams(s, s);
      for (const vex_int s : sizes_)
        if (s <= values_.fts1) better |= try_panel_teams(s, values_.fts1);
      for (const vex_int s : sizes_) better |= try_update_teams(s, s);
      for (const vex_int s : sizes_)
        if (s <= values_.uts1) better |= try_update_teams(s, values_.uts1);
      if (values_.nb0 != values_.nb1)
        for (const vex_int p : percentages) better |= try_one(&TunedValues::nb_switch, p);
      if (values_.fts0 != values_.fts1 || values_.uts0 != values_.uts1)
        for (const vex_int p : percentages) better |= try_one(&TunedValues::ts_switch, p);
    }
    return values_;
  }
  double best() const { return best_; }

 private:
  bool try_values(const TunedValues& next) {
    if (setting_.n / next.nb1 > most_panels) return false;
    const double time = makespan(setting_, next, costs_);
    if (time > 0.995 * best_) return false;
    best_ = time;
    values_ = next;
    return true;
  }
  bool try_widths(vex_int nb0, vex_int nb1) {
    TunedValues next = values_;
    next.nb0 = nb0;
    next.nb1 = nb1;
    return try_values(next);
  }
  bool try_panel_teams(vex_int early, vex_int late) {
    TunedValues next = values_;
    next.fts0 = early;
    next.fts1 = late;
    return try_values(next);
  }
  bool try_update_teams(vex_int early, vex_int late) {
    TunedValues next = values_;
    next.uts0 = early;
    next.uts1 = late;
    return try_values(next);
  }
  bool try_one(vex_int TunedValues::*value, vex_int to) {
    TunedValues next = values_;
    next.*value = to;
    return try_values(next);
  }

  Setting setting_;
  const Costs& costs_;
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

TunedValues tune(const Setting& setting, const TunedValues& start, const Costs& costs) {
  Walk walk(setting, costs);
  TunedValues best = walk.from(start);
  double least = walk.best();
  const TunedValues starts[] = {{1, 1, 48, 48, 50, 50, 1, 1},
                                {1, 1, 128, 64, 50, 50, 1, 1},
                                {2, 2, 128, 64, 50, 50, 1, 2},
                                {4, 4, 192, 96, 50, 50, 2, 4}};
  for (const TunedValues& other : starts) {
    if (setting.threads % other.fts1 != 0) continue;
    const TunedValues found = walk.from(other);
    if (walk.best() >= 0.995 * least) continue;
    least = walk.best();
    best = found;
  }
  return best;
}

}  // namespace vex::bench
