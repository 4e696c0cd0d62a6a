// Every kernel is timed over a grid of shapes, and its time fitted as a sum of terms with coefficients that
// are not negative, so that the mean square of the relative error is least.
#include "bench/lu_simulation/measure.h"

#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench/lu_simulation/costs.h"
#include "bench/support/samples.h"
#include "bench/support/stopwatch.h"
#include "blas/blas.h"
#include "lapack/lapack.h"
#include "lapack/laswp.h"
#include "lapack/parallel_region.h"
#include "lapack/team_panel.h"
#include "service/barrier.h"

namespace vex::bench {
namespace {

constexpr vex_int most_rows = 10000, most_columns = 2600;

void fill_random(double* values, vex_int count) {
  std::uint64_t state = 12345;
  for (vex_int i = 0; i < count; ++i) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    values[i] = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
  }
}

// The matrix that everything is measured in: far larger than the caches, with columns as far apart as those
// of a matrix of order 10000.
class Field {
 public:
  Field() : values_(std::make_unique<double[]>(std::size_t{most_rows} * most_columns)) {
    refill(0, most_columns);
  }

  MatrixView block(vex_int column, vex_int rows, vex_int columns) const {
    return {values_.get() + column * most_rows, rows, columns, most_rows};
  }
  // The first columns again and again, then others: what an update finds has been away from the caches.
  vex_int next_columns(vex_int columns) {
    if (next_ + columns > most_columns) next_ = most_columns / 4;
    next_ += columns;
    return next_ - columns;
  }
  void refill(vex_int column, vex_int columns) {
    fill_random(values_.get() + column * most_rows, columns * most_rows);
  }

 private:
  std::unique_ptr<double[]> values_;
  vex_int next_ = most_columns / 4;
};

// The second fastest of `repeats` calls in nanoseconds, each after an untimed preparation: on a shared
// machine whatever is slower tells of the neighbours, and the fastest may have had luck.
template <typename Prepare, typename Work>
double undisturbed_time(int threads, int repeats, Prepare prepare, Work work) {
  std::vector<double> times;
  for (int r = 0; r < repeats; ++r) {
    prepare();
    const double start = sample_clock(threads);
    work();
    times.push_back((sample_clock(threads) - start) * 1e9);
  }
  std::sort(times.begin(), times.end());
  return times[times.size() > 1 ? 1 : 0];
}

template <std::size_t terms>
struct Sample {
  std::array<double, terms> term;
  double time;
};

// Solves the normal equations for the terms in `chosen` (a bit each) by elimination; false when a coefficient
// comes out negative or the terms do not determine it.
template <std::size_t terms>
bool solve_for(const std::vector<Sample<terms>>& samples, unsigned chosen, std::array<double, terms>& c) {
  double a[terms][terms + 1] = {};
  for (const auto& s : samples)
    for (std::size_t i = 0; i < terms; ++i) {
      for (std::size_t j = 0; j < terms; ++j) a[i][j] += s.term[i] * s.term[j] / (s.time * s.time);
      a[i][terms] += s.term[i] / s.time;
    }
  for (std::size_t i = 0; i < terms; ++i) {
    if (chosen >> i & 1) continue;
    std::fill(a[i], a[i] + terms + 1, 0.0);
    for (std::size_t j = 0; j < terms; ++j) a[j][i] = 0;
    a[i][i] = 1;
  }
  for (std::size_t i = 0; i < terms; ++i) {
    if (a[i][i] <= 0) return false;
    for (std::size_t r = 0; r < terms; ++r) {
      if (r == i) continue;
      const double factor = a[r][i] / a[i][i];
      for (std::size_t j = i; j <= terms; ++j) a[r][j] -= factor * a[i][j];
    }
  }
  for (std::size_t i = 0; i < terms; ++i) {
    c[i] = a[i][terms] / a[i][i];
    if (c[i] < 0) return false;
  }
  return true;
}

// Tries every subset of the terms: there are few.
template <std::size_t terms>
void fit_and_print(const char* name, const std::vector<Sample<terms>>& samples) {
  std::array<double, terms> best{};
  double least = HUGE_VAL, largest = 0;
  for (unsigned chosen = 1; chosen < 1u << terms; ++chosen) {
    std::array<double, terms> c;
    if (!solve_for(samples, chosen, c)) continue;
    double squares = 0, worst = 0;
    for (const auto& s : samples) {
      double sum = 0;
      for (std::size_t i = 0; i < terms; ++i) sum += c[i] * s.term[i];
      const double error = sum / s.time - 1;
      squares += error * error;
      worst = std::max(worst, std::fabs(error));
    }
    if (squares < least) {
      least = squares;
      largest = worst;
      best = c;
    }
  }
  std::printf("     {");
  for (std::size_t i = 0; i < terms; ++i) std::printf("%.3g%s", best[i], i + 1 < terms ? ", " : "},");
  std::printf("  // %s: error %.0f %% mean, %.0f %% most\n", name,
              100 * std::sqrt(least / static_cast<double>(samples.size())), 100 * largest);
}

using blas::Diag;
using blas::Side;
using blas::Trans;
using blas::Uplo;

constexpr vex_int widths[] = {24, 48, 96, 160, 256, 448};
constexpr auto nothing = [] {};

// Widths that two panels of one run do not have.
bool unlike(vex_int a, vex_int b) {
  return a > 3 * b || b > 3 * a;
}

double as_number(vex_int value) {
  return static_cast<double>(value);
}

void measure_multiply(Field& field) {
  std::vector<Sample<multiply_terms>> samples;
  for (const vex_int m : {160, 640, 2500, 9500})
    for (const vex_int n : widths)
      for (const vex_int k : widths) {
        if (unlike(n, k)) continue;
        const MatrixView a = field.block(0, m, k), b = field.block(0, k, n);
        const double time = undisturbed_time(1, 5, nothing, [&] {
          blas::xgemm(Trans::no, Trans::no, 1e-9, a, b, 1.0, field.block(field.next_columns(n), m, n));
        });
        const double x = as_number(m), y = as_number(n), z = as_number(k);
        samples.push_back({{x * y * z, x * y, x * z, z * y, 1}, time});
      }
  fit_and_print("multiply", samples);
}

void measure_solve(Field& field) {
  std::vector<Sample<solve_terms>> samples;
  MatrixView triangle = field.block(0, 448, 448);
  for (vex_int j = 0; j < 448; ++j)
    for (vex_int i = 0; i < 448; ++i) triangle(i, j) *= 1e-3;  // the solutions stay small
  for (const vex_int k : widths)
    for (const vex_int n : widths) {
      const double time = undisturbed_time(1, 5, nothing, [&] {
        blas::xtrsm(Side::left, Uplo::lower, Trans::no, Diag::unit, 1.0, triangle.block(0, 0, k, k),
                    field.block(field.next_columns(n), k, n));
      });
      const double x = as_number(k), y = as_number(n);
      samples.push_back({{x * x * y, x * y, x * x, 1}, time});
    }
  fit_and_print("solve", samples);
}

// `rows` and the columns that are walked through decide whether the columns are in the cache.
void measure_swap(Field& field, const char* name, vex_int rows, bool cached) {
  std::vector<Sample<swap_terms>> samples;
  std::vector<vex_int> pivots;
  std::uint64_t state = 777;
  for (vex_int i = 0; i < 448; ++i) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    pivots.push_back(i + 1 + static_cast<vex_int>(state >> 33) % (rows - i));
  }
  for (const vex_int k : widths)
    for (const vex_int n : widths) {
      if (unlike(n, k)) continue;
      const double time = undisturbed_time(1, 7, nothing, [&] {
        const vex_int column = cached ? 0 : field.next_columns(n);
        lapack::xlaswp(field.block(column, rows, n), lapack::row_walk(1, k, pivots.data(), 1));
      });
      samples.push_back({{as_number(k) * as_number(n), as_number(n)}, time});
    }
  fit_and_print(name, samples);
}

// Two threads stay in one region for all repeats: waking one would take longer than many a panel.
double panel_time(Field& field, vex_int m, vex_int w, int team) {
  lapack::TeamRecord* records = lapack::allocate_records(nullptr, 1, team);
  std::vector<vex_int> pivots(static_cast<std::size_t>(w));
  double time = 0;
#pragma omp parallel num_threads(team)
  {
    const lapack::SingleThreadedKernels bracket;
    const lapack::TeamMember member{records, omp_get_thread_num(), team};
    const auto prepare = [&] {
      if (member.is_master()) field.refill(0, w);
      member.meet();
    };
    const auto work = [&] {
      vex_int info = 0;
      lapack::factor_panel_by_team(member, field.block(0, m, w), pivots.data(), info);
      member.meet();
    };
    const double own = undisturbed_time(team, team == 1 ? 5 : 25, prepare, work);
    if (member.is_master()) time = own;
  }
  lapack::free_records(records, 1);
  return time;
}

void measure_panel(Field& field) {
  std::vector<Sample<panel_terms>> samples;
  for (const vex_int m : {100, 300, 1000, 3000, 10000})
    for (const vex_int w : widths) {
      if (m < w) continue;
      const double time = panel_time(field, m, w, 1), x = as_number(m), y = as_number(w);
      samples.push_back({{x * y * y, x * y, y * y * y, y * y, y}, time});
    }
  fit_and_print("panel", samples);
}

// Two threads that do nothing but meet: an arrival and a release go from core to core each time.
double measured_latency() {
  service::CounterBarrier barrier;
  constexpr int meetings = 50;
  double time = 0;
#pragma omp parallel num_threads(2)
  {
    const bool master = omp_get_thread_num() == 0;
    const double own = undisturbed_time(2, 1000, nothing, [&] {
      for (int i = 0; i < meetings; ++i) barrier.wait(2, master);
    });
    if (master) time = own;
  }
  return time / (2 * meetings);
}

}  // namespace

void measure_and_print() {
  Field field;
  std::printf("    {\"...\",\n");
  measure_multiply(field);
  measure_solve(field);
  measure_panel(field);
  measure_swap(field, "swap in cache", 1000, true);
  measure_swap(field, "swap in memory", most_rows, false);
  std::printf("    },\n\nlatency between two cores: %.0f ns\n", measured_latency());
  std::printf("panels by one thread and by two, microseconds:\n");
  for (const vex_int m : {1000, 3000, 10000})
    for (const vex_int w : {48, 160, 448})
      std::printf("%6ld x %3ld  %8.0f  %8.0f\n", m, w, panel_time(field, m, w, 1) * 1e-3,
                  panel_time(field, m, w, 2) * 1e-3);
}

double measured_factorization(vex_int n, int threads, int repeats) {
  const auto size = static_cast<std::size_t>(n * n);
  const auto matrix = std::make_unique<double[]>(size);
  std::vector<vex_int> pivots(static_cast<std::size_t>(n));
  omp_set_num_threads(threads);
  vex_int info = 0;
  return 1e-9 * undisturbed_time(
                    threads, repeats, [&] { fill_random(matrix.get(), n * n); },
                    [&] { vex_lapack_dgetrf(&n, &n, matrix.get(), &n, pivots.data(), &info); });
}

}  // namespace vex::bench
