// The thread count that a thread had before the region, kept by the thread itself.
#include "lapack/parallel_region.h"

#include "service/thread_count.h"

namespace {

thread_local int saved_count = 0;

}

void vex_lapack_omp_parallel_enter() {
  saved_count = vex_serv_set_num_threads_local(1);
}

void vex_lapack_omp_parallel_exit() {
  vex_serv_set_num_threads_local(saved_count);
}
