// How an index range is cut among threads. Each returns the first index of thread ithr's share and stores its
// length.
#pragma once

#include "service/types.h"

extern "C" {

vex_int vex_serv_divbythreads(const vex_int* ithr, const vex_int* nthr, const vex_int* n, vex_int* length);
vex_int vex_serv_divbythreadsnb(const vex_int* ithr, const vex_int* nthr, const vex_int* n, const vex_int* nb,
                                vex_int* length);
vex_int vex_serv_divbythreadstr(const vex_int* ithr, const vex_int* nthr, const vex_int* n, const char* uplo,
                                vex_int* length);
}
