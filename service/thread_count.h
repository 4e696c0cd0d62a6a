// How many threads a routine may use: the settings, read once, and the rule over them.
#pragma once

#include <cstdint>

#include "vex.h"

extern "C" {

// At most one thread per physical core, and one inside a parallel region, unless dynamic adjustment is off.
int vex_serv_get_max_threads();
// 0 ALL, 1 BLAS, 2 FFT, 3 ELEM, 4 PARDISO, -1 no particular domain.
int vex_serv_domain_get_max_threads(int domain);
void vex_serv_set_num_threads(int count);  // ignored when count < 1
// 1 when stored (a count of 0 clears the setting), 0 for a negative count or an unknown domain.
int vex_serv_domain_set_num_threads(int count, int domain);
// Overrides everything for the calling thread; 0 or less lifts the override. Returns the previous one.
int vex_serv_set_num_threads_local(int count);
int vex_serv_get_dynamic();
int vex_serv_set_dynamic(int flag);  // returns the flag as stored, 0 or 1
int vex_serv_get_num_stripes();      // -1 when nobody has set it
void vex_serv_set_num_stripes(int count);
// Tells, with 1, that several processes of one machine may each use all its cores.
int vex_serv_mpi_safe(int flag);
int vex_serv_mpi_get_ppn();  // processes on this machine, -1 when unknown
int vex_serv_omp_in_parallel();
int vex_serv_get_thread_layer();  // 0: OpenMP

// Reads the thread-related environment and counts the machine; later calls return at once.
void VEX_Read_ThreadENV_Count_Cores();

// The machine's counts, valid after the call above. See service/topology.h.
extern std::int32_t __N_Logical_Cores;
extern std::int32_t __N_Physical_Cores;
extern std::int32_t __N_CPU_Packages;
extern std::int32_t __N_Cores_per_Packages;
extern std::int32_t __HT;
}

namespace vex::service {

// One consistent look at everything that the rule weighs; -1 where a setting is unset.
struct ThreadSettings {
  int all = -1;
  int domain = -1;  // of the domain asked about
  bool dynamic = true;
  int physical_cores = 1;
  int omp_num_threads = -1;
  int mpi_safe = -1;
  int processes_per_node = -1;
  int mpi_thread_level = -1;
};

// What only the OpenMP runtime knows; asked no earlier than needed.
struct ThreadRuntime {
  int (*in_parallel)();
  int (*max_threads)();
};

// The rule, for a thread without an override.
int threads_for_domain(int domain, const ThreadSettings& settings, const ThreadRuntime& runtime);

}  // namespace vex::service
