// Cutting the columns of a matrix into panels.
#include "lapack/panel_distribution.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "service/buffer_cache.h"

vex_int vex_lapack_nb_dist_init(vex_lapack_nb_dist* dist, vex_int n, vex_int nominal, vex_int working,
                                double fraction) {
  *dist = {0, nullptr, nullptr};
  const vex_int narrowest = std::min(nominal, working);
  if (n < 0 || narrowest < 1) return -1;
  const vex_int capacity = (n - 1) / narrowest + 1;  // with every panel as narrow as can be
  void* block = vex_serv_allocate(2 * sizeof(vex_int) * static_cast<std::size_t>(capacity), 128);
  if (block == nullptr) return -1;
  dist->widths = static_cast<vex_int*>(block);
  dist->offsets = dist->widths + capacity;

  const double switch_column = static_cast<double>(n) * fraction;
  vex_int panel = 0;
  for (vex_int offset = 1;; ++panel) {
    const vex_int full = static_cast<double>(offset - 1) > switch_column ? working : nominal;
    const vex_int left = n - offset + 1;
    dist->offsets[panel] = offset;
    dist->widths[panel] = std::min(full, left);
    if (left <= full) break;
    offset += full;
  }
  dist->count = panel + 1;
  return dist->count;
}

vex_int vex_lapack_nb_dist_get_nb(const vex_lapack_nb_dist* dist, vex_int panel) {
  return dist->widths[panel];
}

vex_int vex_lapack_nb_dist_get_offset(const vex_lapack_nb_dist* dist, vex_int panel) {
  return dist->offsets[panel];
}

vex_int vex_lapack_nb_dist_get_nb_merged(const vex_lapack_nb_dist* dist, vex_int panel, vex_int count) {
  if (count < 1) return 0;
  return std::accumulate(dist->widths + panel, dist->widths + panel + count, vex_int{0});
}

vex_int vex_lapack_nb_dist_get_panel(const vex_lapack_nb_dist* dist, vex_int column) {
  return std::upper_bound(dist->offsets, dist->offsets + dist->count, column) - dist->offsets - 1;
}

void vex_lapack_nb_dist_destroy(vex_lapack_nb_dist* dist) {
  vex_serv_deallocate(dist->widths);
  *dist = {0, nullptr, nullptr};
}
