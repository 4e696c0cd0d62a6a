/* A program as a user of libvex writes it, in C: built by a test against vex.h and libvex.so alone. It has an
   error handler of its own under the standard name. The exit status names the first thing that went wrong. */
#include <string.h>

#include "vex.h"

static int reported_parameter = 0;

void xerbla_(const char* name, const int64_t* code, int64_t name_length) {
  if (strncmp(name, "DGETRF", (size_t)name_length) == 0) reported_parameter = (int)*code;
}

int main(void) {
  double a[4] = {2.0, 4.0, 1.0, 5.0}; /* by columns; the rows are interchanged once */
  double b[2] = {3.0, 9.0}, c[2] = {4.0, 14.0};
  const int n = 2, one = 1, minus = -1;
  const int64_t n_64 = 2, one_64 = 1;
  int ipiv[2] = {0, 0}, info = 99;
  int64_t ipiv_64[2] = {2, 2}, info_64 = 99;
  char text[128];
  vex_version version;

  dgetrf_(&n, &n, a, &n, ipiv, &info);
  if (info != 0 || ipiv[0] != 2 || ipiv[1] != 2) return 1;
  dgetrs("N", &n, &one, a, &n, ipiv, b, &n, &info, 1);
  if (info != 0 || b[0] != 1.0 || b[1] != 1.0) return 2;
  vex_lapack__dgetrs_64_("N", &n_64, &one_64, a, &n_64, ipiv_64, c, &n_64, &info_64, 1);
  if (info_64 != 0 || c[0] != 1.0 || c[1] != 2.0) return 3;

  dgetrf_(&minus, &n, a, &n, ipiv, &info);
  if (info != -1) return 4;
  if (reported_parameter != 1) return 5;

  if (DLAMCH_64("Base", 4) != 2.0) return 6;
  if (ilaenv_(&one, "DGETRF", " ", &n, &n, &minus, &minus, 6, 1) < 1) return 7;
  vex_serv_get_version(&version);
  vex_serv_get_version_string_c(text, (int)sizeof text);
  if (version.major_version != 2024 || strstr(text, version.build) == NULL) return 8;
  vex_serv_set_num_threads(1);
  if (vex_serv_get_max_threads() != 1) return 9;
  return 0;
}
