// The thread rule and the splits of the multiply.
#include "blas/gemm_threads.h"

#include <algorithm>

#include "service/reproducibility.h"
#include "service/thread_count.h"

namespace vex::blas {

namespace {

// The next smaller thread count to try.
int next_count(int t) {
  return t - (t < 10 ? 2 : t < 30 ? 4 : 8);
}

// The largest tried count for which the work saved outweighs the cost of a team that grows with it.
int search(int maximum, double work, double per_thread, double fixed) {
  for (int t = maximum; t > 1; t = next_count(t))
    if ((t - 1) * work > (t * per_thread + fixed) * t) return t;
  return 1;
}

int count_for(double m, double n, double k, int maximum, double weight) {
  const double work = m * weight * (k * n);
  if (maximum > 4) return work < 5000 ? 1 : search(maximum, work, 500, 4000);
  if (work < 3000) return 1;
  for (int t = maximum; t >= 2; --t)
    if ((t - 1) * work > t * 3000.0) return t;
  return 1;
}

int count_for_path_6(vex_int m, vex_int n, vex_int k, int maximum) {
  if (m <= 32 && n <= 60 && k < 33) return 1;
  if (m < 129 && k < 17 && n < 113) return 1;
  const double work = static_cast<double>(m) * 0.625 * (static_cast<double>(k) * static_cast<double>(n));
  if (work >= 8000) {
    const int found = search(maximum, work, 2500, 3000);
    if (found > 1) return found;
  }
  return k / std::max(m, n) >= 4 ? maximum : 1;
}

// The largest divisor of `whole` that is at most `start`; at least 1.
vex_int divisor_at_most(vex_int start, vex_int whole) {
  vex_int parts = std::clamp<vex_int>(start, 1, whole);
  while (whole % parts != 0) --parts;
  return parts;
}

// Parts along d3 are bounded by the memory that their partial results need.
vex_int depth_parts(vex_int d1, vex_int d2, vex_int d3, vex_int limit, vex_int threads) {
  constexpr std::uint64_t memory = 209715200;
  const std::uint64_t rows = memory / static_cast<std::uint64_t>(d1);
  const vex_int bound = d2 * static_cast<vex_int>(rows) * 8;
  return divisor_at_most(std::min({bound, limit, (d3 + 383) / 384}), threads);
}

void store(ThreadState* state, vex_int along_d1, vex_int along_d2, vex_int along_d3) {
  state->parts[0] = static_cast<int>(along_d1);
  state->parts[1] = static_cast<int>(along_d2);
  state->parts[2] = static_cast<int>(along_d3);
}

}  // namespace

bool must_stay_on_this_thread() {
  return vex_serv_omp_in_parallel() || (vex_serv_cbwr_get(-1) & service::cbwr_strict) != 0;
}

void thread_checker(vex_int m, vex_int n, vex_int k, ThreadState* state) {
  const int maximum = state->maximum;
  if (maximum < 2)
    state->chosen = maximum;
  else if (state->path == 6)
    state->chosen = count_for_path_6(m, n, k, maximum);
  else
    state->chosen = count_for(static_cast<double>(m), static_cast<double>(n), static_cast<double>(k), maximum,
                              state->path == 7 ? 0.0625 : 0.125);
}

void calc_nthr_3d_avx2(vex_int d1, vex_int d2, vex_int d3, ThreadState* state) {
  const vex_int threads = state->chosen, p = d2 / 480;
  vex_int working = threads;
  if (threads % 2 == 0 && threads >= 8 && d1 >= 2048) working /= 2;
  const vex_int q = p >= 2 && working % 2 == 0 && working > 7 ? 2 : 1;
  const vex_int k3 = depth_parts(d1, d2, d3, working / q, threads);
  const vex_int k2 = divisor_at_most(std::max<vex_int>(p, 1), threads / k3);
  store(state, threads / k3 / k2, k2, k3);
}

void calc_nthr_3d_avx512(vex_int d1, vex_int d2, vex_int d3, ThreadState* state) {
  const vex_int threads = state->chosen, p = d2 / 480;
  vex_int working = threads;
  if (threads % 2 == 0 && threads >= 8 && d1 / 1024 >= 2) working /= 2;
  if (working % 2 == 0 && working >= 8 && p >= 2) working /= 2;
  const vex_int k3 = depth_parts(d1, d2, d3, working, threads);
  const vex_int rest = threads / k3;
  if (d1 <= d2) {
    const vex_int k1 = divisor_at_most(std::max<vex_int>(d1 / 1024, 1), rest);
    store(state, k1, rest / k1, k3);
  } else {
    const vex_int k2 = divisor_at_most(std::max<vex_int>(p, 1), rest);
    store(state, rest / k2, k2, k3);
  }
}

namespace {

// Settled with gemm_drivers_bench on two cores for 2, 8 and 16 threads (beyond two by processor time, which
// shows what is packed twice). Percent of the ideal in brackets.
//
// Up to five panels of rows, op(B) is used too seldom to be packed: read in place 113 % (60 x 4000 x 384) and
// 108 % (100 rows) of the packing engine, 99 % at 150 rows and 94 % at 200.
constexpr vex_int few_rows = 128;
// Up to here a thread's block of C is small, and barriers cost more than packing twice (eight threads, order
// 320: 99 against 92; order 500: 92 against 95; order 378 and 1500 deep: 79 against 86).
constexpr vex_int small_extent = 378, single_slice = 384;
// Rows (or columns) of a thread's own from which packing all of the other operand itself is lost in the
// noise: 98 at 1000 and 2000, 92 at 500, 88 at 250. Two threads then run 2000 and 4000 square at 96 to 101
// either way, but a barrier for each slice waits for a thread whose core is taken (89 against 100 on a busy
// machine). With many threads the copies of a large operand would push each other out of the third cache.
constexpr vex_int long_share = 1000;
constexpr int few_threads = 4;
// Rows or columns of a thread's own that carry the traffic of a shared operand: one block of columns. 1000
// and 4000 square on two threads, columns cut 98 against 96 for a grid; 37 columns each 84 against 94 for
// rows.
constexpr vex_int short_share = 192;

Driver driver_for(vex_int m, vex_int n, vex_int k, int threads) {
  const vex_int rows_each = m / threads, columns_each = n / threads;
  if (m <= few_rows && columns_each >= short_share) return Driver::grid_b_at_source;
  if (m <= small_extent && n <= small_extent && k <= single_slice) return Driver::grid_private;
  if (rows_each >= long_share && (n <= small_extent || threads <= few_threads)) return Driver::row_1d;
  if (columns_each >= long_share && (m <= small_extent || threads <= few_threads)) return Driver::column_1d;
  if (columns_each >= short_share) return Driver::columns_a_shared;
  if (rows_each >= short_share) return Driver::rows_b_shared;
  return Driver::grid_both_shared;
}

}  // namespace

void set_thread_opts(vex_int m, vex_int n, vex_int k, ThreadState* state) {
  if (state->path == 7)
    calc_nthr_3d_avx512(m, n, 1, state);
  else
    calc_nthr_3d_avx2(m, n, 1, state);
  state->driver = driver_for(m, n, k, state->chosen);
}

Share share_1d(vex_int extent, const RangeRecord& range) {
  const vex_int i = range.part, parts = range.parts;
  const vex_int q = extent / parts, r = extent % parts;
  switch (range.mode) {
    case ShareMode::even:
      return {i * q + std::min(i, r), q + (i < r ? 1 : 0)};
    case ShareMode::ceiling: {
      const vex_int c = extent - q * (parts - 1) > q + 1 ? q + 1 : q;
      const vex_int start = i * c;
      if (start >= extent) return {extent, 0};
      if (i == parts - 1) return {start, extent - start};
      return {start, std::min(c, extent - start)};
    }
    default:
      break;
  }
  const vex_int g = range.granule, whole = q / g * g, rest = extent - parts * whole;
  if (rest <= g) return i == 0 ? Share{0, whole + rest} : Share{i * whole + rest, whole};
  const vex_int extra = rest / g;  // parts that take one granule more, the last of them the odd elements too
  if (i < extra - 1) return {i * (whole + g), whole + g};
  if (i == extra - 1) return {i * (whole + g), whole + (rest - g * (extra - 1))};
  return {i * whole + rest, whole};
}

void partition_1d(const WorkerRecord& worker, const RangeRecord& range, void* arguments) {
  const bool columns = range.direction == 1;
  const Share share = share_1d(columns ? worker.columns : worker.rows, range);
  if (share.length <= 0) return;
  if (columns)
    worker.run(arguments, 0, share.start, worker.rows, share.length);
  else
    worker.run(arguments, share.start, 0, share.length, worker.columns);
}

}  // namespace vex::blas
