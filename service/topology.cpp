// The machine's counts as the other floors ask for them; the first question does the counting.
#include "service/topology.h"

#include "service/thread_count.h"

namespace {

int after_counting(const std::int32_t& count) {
  VEX_Read_ThreadENV_Count_Cores();
  return count;
}

}  // namespace

extern "C" {

int vex_serv_get_ncpus() {
  return after_counting(__N_CPU_Packages);
}
int vex_serv_get_ncorespercpu() {
  return after_counting(__N_Cores_per_Packages);
}
int vex_serv_get_ht() {
  return after_counting(__HT);
}
int vex_serv_get_nlogicalcores() {
  return after_counting(__N_Logical_Cores);
}
}
