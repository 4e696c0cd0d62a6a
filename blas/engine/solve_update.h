// What solved unknowns contribute to the others when right-hand sides are few: products that read the
// triangle once, where it lies, as fast as it comes from memory. The operations on an element and their order
// are those of the blocked solve, so the way may depend on the number of right-hand sides, which threads
// share.
#pragma once

#include "blas/engine/pack.h"

namespace vex::blas::engine {

// Right-hand sides of one tile, and the vectors above each other in a tile that many wide: what the registers
// hold beside a column of E and a value of X.
template <typename P>
inline constexpr int widest_update = P::registers == 32 ? 14 : 6;

template <typename P>
constexpr int update_height(int width) {
  constexpr int tallest = 4, room = P::registers - 1;
  const int height = room / (width + 1);
  return height > tallest ? tallest : height;
}

// Lines that a tile asks for while it works, one for each eight of its rows in a step: `at` + v * line, then
// from there on by `step`, and after each eighth step by `turn` as well.
struct Ahead {
  const double* at;  // null: nothing
  vex_int line, step, turn;
};

// What one group of `width` right-hand sides does with such rows. Element (i, k) of E is e[i + k * e_step],
// element (k, j) of X is x[k * width + j].
struct UpdateGroup {
  vex_int rows;
  const double* e;
  vex_int e_step;
  const double* x;
  double* c;
  Ahead ahead;
};

// One tile, `rows` <= MV * width; only when `partial` may they be less.
template <typename P, int MV, int N, bool partial>
[[gnu::always_inline]] inline void update_tile(const SolveUpdate& u, const UpdateGroup& g, vex_int i,
                                               vex_int rows) {
  using V = typename P::Vector;
  constexpr int w = P::width, line = 8;
  const auto lanes = P::first_lanes(partial ? static_cast<int>(rows - (MV - 1) * w) : w);
  const auto load = [&](const double* p, int v) __attribute__((always_inline)) {
    return partial && v == MV - 1 ? P::load(lanes, p + v * w) : P::load(p + v * w);
  };
  double* const c = g.c + i;
  V sum[N][MV];
#pragma GCC unroll 16
  for (int j = 0; j < N; ++j)
#pragma GCC unroll 4
    for (int v = 0; v < MV; ++v) sum[j][v] = u.chained ? load(c + j * u.ldx, v) : P::zero();
  const vex_int first = u.backward ? u.depth - 1 : 0;
  const vex_int e_step = u.backward ? -g.e_step : g.e_step, x_step = u.backward ? -N : N;
  const double *e = g.e + i + first * g.e_step, *x = g.x + first * N;
  const double* ahead = g.ahead.at ? g.ahead.at + i / line * g.ahead.line : nullptr;
#pragma GCC unroll 4
  for (vex_int k = u.depth; k > 0; --k) {
    V column[MV];
#pragma GCC unroll 4
    for (int v = 0; v < MV; ++v) column[v] = load(e, v);
    if (ahead) {
#pragma GCC unroll 4
      for (int v = 0; v * line < MV * w; ++v) __builtin_prefetch(ahead + v * g.ahead.line, 0, 2);
      ahead += g.ahead.step;
      if (k % line == 0) ahead += g.ahead.turn;
    }
#pragma GCC unroll 16
    for (int j = 0; j < N; ++j) {
      const V value = P::broadcast(x + j);
#pragma GCC unroll 4
      for (int v = 0; v < MV; ++v) sum[j][v] = P::subtract_product(column[v], value, sum[j][v]);
    }
    e += e_step, x += x_step;
  }
#pragma GCC unroll 16
  for (int j = 0; j < N; ++j)
#pragma GCC unroll 4
    for (int v = 0; v < MV; ++v) {
      double* const target = c + j * u.ldx + v * w;
      const V value = u.chained ? sum[j][v] : P::add(load(c + j * u.ldx, v), sum[j][v]);
      if (partial && v == MV - 1)
        P::store(lanes, target, value);
      else
        P::store(target, value);
    }
}

template <typename P, int MV, int N>
[[gnu::always_inline]] inline void update_cut_tile(const SolveUpdate& u, const UpdateGroup& g, vex_int i,
                                                   vex_int rows) {
  if constexpr (MV > 1)
    if (rows <= (MV - 1) * P::width) return update_cut_tile<P, MV - 1, N>(u, g, i, rows);
  update_tile<P, MV, N, true>(u, g, i, rows);
}

template <typename P, int N>
void update_group(const SolveUpdate& u, const UpdateGroup& g) {
  constexpr int height = update_height<P>(N);
  constexpr vex_int step = height * P::width;
  vex_int i = 0;
  for (; i + step <= g.rows; i += step) update_tile<P, height, N, false>(u, g, i, step);
  if (i < g.rows) update_cut_tile<P, height, N>(u, g, i, g.rows - i);
}

template <typename P>
struct UpdateGroups {
  void (*of[widest_update<P>])(const SolveUpdate& u, const UpdateGroup& g);
  template <int N>
  static constexpr void fill(UpdateGroups& table) {
    table.of[N - 1] = update_group<P, N>;
    if constexpr (N < widest_update<P>) fill<N + 1>(table);
  }
  static constexpr UpdateGroups make() {
    UpdateGroups table{};
    fill<1>(table);
    return table;
  }
};

// Unknowns of `width` right-hand sides from `first` on, side by side.
[[gnu::always_inline]] inline void gather_unknowns(const SolveUpdate& u, vex_int first, vex_int width,
                                                   double* x) {
  for (vex_int j = 0; j < width; ++j)
    for (vex_int k = 0; k < u.depth; ++k) x[k * width + j] = u.x[k + (first + j) * u.ldx];
}

// Right-hand sides in equal groups, as few as tiles are wide enough for. Only the first one asks for what
// lies ahead.
template <typename P>
[[gnu::always_inline]] inline void update_by_groups(const SolveUpdate& u, UpdateGroup g, bool gathered) {
  static constexpr auto groups = UpdateGroups<P>::make();
  const vex_int count = (u.count + widest_update<P> - 1) / widest_update<P>;
  double* const c = g.c;
  double* x = u.room;
  for (vex_int t = 0, j = 0, width; t < count; ++t, j += width, x += width * u.depth, g.ahead.at = nullptr) {
    width = (u.count - j) / (count - t);
    if (!gathered) gather_unknowns(u, j, width, x);
    g.x = x, g.c = c + j * u.ldx;
    groups.of[width - 1](u, g);
  }
}

// The update routine. Rows are done with for all groups before the next ones come; of a transposed E they are
// turned first. What the first group asks for goes to the second cache. In a matrix that comes from memory,
// with ten right-hand sides, an order of 2000 took 3.9 ms when only rows inside of an update were asked for,
// 2.8 when the rows and columns that the next update begins with were too.
template <typename P, bool turned>
[[gnu::always_inline]] inline void update_unknowns(const SolveUpdate& u) {
  constexpr int strip = largest_mr;
  constexpr vex_int step = turned ? strip : update_rows, line = 8;
  static_assert(strip % P::width == 0);
  const vex_int whole = (u.rows - 1) / step * step;
  for (vex_int s = 0; s <= whole; s += step) {
    const vex_int i = u.upwards ? whole - s : s, rows = smaller(step, u.rows - i);
    const vex_int next = s == whole ? 0 : u.upwards ? -step : step;
    if constexpr (turned) {
      const double* const e = u.e + i * u.lde;
      copy_panel_right<P, strip>(rows, u.depth, e, u.lde, P::splat(1.0), u.strip);
      const Ahead ahead{next ? e + next * u.lde : nullptr, line * u.lde, u.lde, line - line * u.lde};
      update_by_groups<P>(u, {rows, u.strip, strip, nullptr, u.c + i, ahead}, s > 0);
    } else {
      const double* const e = u.e + i;
      const vex_int first = u.backward ? (u.depth - 1) * u.lde : 0,
                    distance = u.ahead ? u.ahead * u.lde : next;
      const Ahead ahead{distance ? e + first + distance : nullptr, line, u.backward ? -u.lde : u.lde, 0};
      update_by_groups<P>(u, {rows, e, u.lde, nullptr, u.c + i, ahead}, s > 0);
    }
  }
}

}  // namespace vex::blas::engine
