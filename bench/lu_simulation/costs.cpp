// The figures, and how they make up a cost.
#include "bench/lu_simulation/costs.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace vex::bench {
namespace {

// `lu_simulation --measure` printed these on a Zen 4 server at 3.7 GHz (two 256-bit multiply-add pipes, 58
// GFlops a core), with VEX_ENABLE_INSTRUCTIONS=AVX2 and SSE4_2 for the second and the third; the errors are
// those of the fits.
constexpr KernelCosts avx512 = {
    "avx512",
    {0.0396, 0.125, 0.127, 0.0978, 4030},  // multiply: error 7 % mean, 28 % most
    {0.0184, 1.27, 0.146, 2050},           // solve: error 25 % mean, 76 % most
    {0.0226, 0.395, 0, 0, 231},            // panel: error 8 % mean, 22 % most
    {0.68, 19},                            // swap in cache: error 8 % mean, 20 % most
    {1.79, 180},                           // swap in memory: error 29 % mean, 56 % most
};
constexpr KernelCosts avx2 = {
    "avx2",
    {0.0387, 0.1, 0.162, 1.14, 8050},  // multiply: error 12 % mean, 29 % most
    {0.0187, 0.563, 0.126, 1920},      // solve: error 21 % mean, 60 % most
    {0.0238, 0.843, 0, 0, 161},        // panel: error 9 % mean, 21 % most
    {0.666, 19},                       // swap in cache: error 7 % mean, 18 % most
    {1.69, 291},                       // swap in memory: error 27 % mean, 48 % most
};
// The trees of this name serve the 128-bit paths.
constexpr KernelCosts avx = {
    "avx",
    {0.0761, 0.569, 0.227, 0, 0},   // multiply: error 12 % mean, 48 % most
    {0.0445, 0.291, 0.0703, 1820},  // solve: error 11 % mean, 41 % most
    {0.0437, 1.78, 0, 0, 118},      // panel: error 10 % mean, 34 % most
    {0.677, 18.4},                  // swap in cache: error 8 % mean, 20 % most
    {4.22, 337},                    // swap in memory: error 14 % mean, 26 % most
};

// Not measured: the 512-bit kernels on small cores of 1.4 GHz. Everything takes 2.6 times as long, but the
// arithmetic of the multiply and the solve, for which such a core has two 512-bit pipes, only half of that.
constexpr KernelCosts many_small_cores(KernelCosts costs) {
  costs.path = "avx512_hcx";
  for (double& c : costs.multiply) c *= 2.6;
  for (double& c : costs.solve) c *= 2.6;
  for (double& c : costs.panel) c *= 2.6;
  for (double& c : costs.swap_in_cache) c *= 2.6;
  for (double& c : costs.swap_in_memory) c *= 2.6;
  costs.multiply[0] /= 2;
  costs.solve[0] /= 2;
  return costs;
}

constexpr KernelCosts tables[] = {avx512, avx2, avx, many_small_cores(avx512)};

// What the caches hold between two passes over the trailing matrix: a last-level cache, and the threads' own.
constexpr double last_level_bytes = 32e6, own_bytes = 1e6;

constexpr vex_int row_granule = 8;

double number(vex_int value) {
  return static_cast<double>(value);
}

// The largest share when `count` indices are cut into `team` parts at multiples of `granule`.
double largest_share(vex_int count, vex_int team, vex_int granule = 1) {
  const vex_int granules = (count + granule - 1) / granule;
  return number(std::min(count, (granules + team - 1) / team * granule));
}

}  // namespace

const KernelCosts* measured_costs(const char* path) {
  for (const KernelCosts& costs : tables) {
    if (!std::strcmp(costs.path, path)) return &costs;
  }
  return nullptr;
}

double Costs::missing(vex_int rows) const {
  const double cached = last_level_bytes + own_bytes * number(threads_);
  return std::max(0.0, 1 - cached / (8.0 * number(rows) * number(rows)));
}

// A walk that visits every line of a column several times has it in the cache from the first time on.
double Costs::interchange(vex_int rows, vex_int pivots, double columns) const {
  const double far = 8 * pivots > rows ? 0 : missing(rows);
  const double *cache = machine_.kernels.swap_in_cache, *memory = machine_.kernels.swap_in_memory;
  return (cache[0] + far * (memory[0] - cache[0])) * number(pivots) * columns +
         (cache[1] + far * (memory[1] - cache[1])) * columns;
}

// A row from far below comes with its cache line and takes it back; but no column comes more than once.
double Costs::interchange_bytes(vex_int rows, vex_int pivots, double columns) const {
  return std::min(2 * 64.0 * number(pivots), 16.0 * number(rows)) * columns;
}

double Costs::solve(vex_int pivots, double columns) const {
  const double k = number(pivots), n = columns;
  const double* c = machine_.kernels.solve;
  return c[0] / machine_.multiply_rate * k * k * n + c[1] * k * n + c[2] * k * k + c[3];
}

double Costs::multiply(double rows, double columns, vex_int inner) const {
  const double m = rows, n = columns, k = number(inner);
  if (m <= 0 || n <= 0) return 0;
  const double* c = machine_.kernels.multiply;
  return c[0] / machine_.multiply_rate * m * n * k + c[1] * m * n + c[2] * m * k + c[3] * k * n + c[4];
}

// The parts of an update need the memory at different times, but so do the threads: what counts is the whole
// update's demand over its whole time.
UpdateCosts Costs::update(vex_int rows, vex_int pivots, vex_int columns, vex_int team) const {
  const double own_rows = largest_share(rows - pivots, team, row_granule), n = number(columns);
  const double own_columns = largest_share(columns, team);
  UpdateCosts costs = {interchange(rows, pivots, own_columns), solve(pivots, own_columns),
                       multiply(own_rows, n, pivots), 0};
  const double bytes =
      interchange_bytes(rows, pivots, own_columns) + 16 * own_rows * n + 8 * own_rows * number(pivots);
  costs.memory =
      std::max(0.0, missing(rows) * bytes / bandwidth_ - costs.interchange - costs.solve - costs.multiply);
  return costs;
}

double Costs::interchange_left(vex_int pivots, vex_int columns) const {
  const double n = number(columns), time = interchange(pivots, pivots, n);
  return std::max(time, missing(order_) * interchange_bytes(pivots, pivots, n) / bandwidth_);
}

// Rows are shared, and the interchanges and solves inside the panel by columns; the rest every member does,
// or waits for. In a column the master reads the candidates, which come at the same time but cost a line
// each, and everybody reads the pivot. A sub-block brings three meetings, and since there are sub-blocks of
// 8, 16, 32 ... columns, there is one for every four columns.
double Costs::panel(vex_int rows, vex_int width, vex_int team) const {
  const double m = largest_share(rows, team, row_granule), w = number(width), t = number(team);
  const double* c = machine_.kernels.panel;
  const double work = c[0] / machine_.multiply_rate * m * w * w + c[1] * m * w + c[2] * w * w * w / t +
                      c[3] * w * w / t + c[4] * w;
  if (team == 1) return work;
  const double column = machine_.latency * (2 + (t - 1) / 2);
  return work + w * (column + 0.75 * meeting(team));
}

// The lock, the count of events and the counters of the graph arrive from another core; so does each group.
double Costs::search(vex_int groups, vex_int found) const {
  return machine_.latency * (4 + number(groups) / 8 + number(found));
}

double Costs::sequential(vex_int width) const {
  double sum = 0;
  for (vex_int j = 0; j < order_; j += width) {
    const vex_int rows = order_ - j, w = std::min(width, rows), right = rows - w;
    sum += panel(rows, w, 1) + interchange(rows, w, number(right)) + solve(w, number(right)) +
           multiply(number(right), number(right), w) + interchange(right, right, number(w));
  }
  return sum;
}

}  // namespace vex::bench
