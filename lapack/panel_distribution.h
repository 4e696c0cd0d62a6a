// The list of panels of a factorization: column offset and width of each.
#pragma once

#include "service/types.h"

extern "C" {

// Both arrays are one allocation that starts at `widths`.
struct vex_lapack_nb_dist {
  vex_int count;
  vex_int* widths;
  vex_int* offsets;  // one-based first columns
};

// Cuts n columns into panels of the nominal width while a panel starts in the first n * fraction columns, and
// of the working width from there on; the last panel takes what is left. Returns the number of panels, or -1
// when a width is not positive or the arrays cannot be allocated (nothing is held then).
vex_int vex_lapack_nb_dist_init(vex_lapack_nb_dist* dist, vex_int n, vex_int nominal, vex_int working,
                                double fraction);
vex_int vex_lapack_nb_dist_get_nb(const vex_lapack_nb_dist* dist, vex_int panel);
vex_int vex_lapack_nb_dist_get_offset(const vex_lapack_nb_dist* dist, vex_int panel);
// Columns of the panels panel ... panel + count - 1 together; 0 when count < 1.
vex_int vex_lapack_nb_dist_get_nb_merged(const vex_lapack_nb_dist* dist, vex_int panel, vex_int count);
// The panel that holds a one-based column: the last one beyond the matrix, -1 before it.
vex_int vex_lapack_nb_dist_get_panel(const vex_lapack_nb_dist* dist, vex_int column);
void vex_lapack_nb_dist_destroy(vex_lapack_nb_dist* dist);
}
