// How many threads a routine may use: the settings, read once, and the rule over them. vex.h declares what a
// program may ask and set.
#pragma once

#include <cstdint>

#include "vex.h"

extern "C" {

// Processes of this job on this machine, -1 when unknown.
int vex_serv_mpi_get_ppn();
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
