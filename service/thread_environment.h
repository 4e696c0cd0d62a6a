// The thread-related environment, read through a function that a test can replace.
#pragma once

namespace vex::service {

// As vex_serv_getenv.
using EnvironmentReader = int (*)(const char* name, char* buffer, int capacity);

enum Domain { domain_all, domain_blas, domain_fft, domain_elem, domain_pardiso, domain_count };

// What the environment asks for; -1 where it asks for nothing that counts.
struct ThreadEnvironment {
  int num_threads = -1;
  int num_stripes = -1;
  int domain_threads[domain_count] = {-1, -1, -1, -1, -1};
  int dynamic = 1;
  int omp_num_threads = -1;
  int processes_per_node = -1;
  int mpi_thread_level = -1;
};

ThreadEnvironment read_thread_environment(EnvironmentReader read);

}  // namespace vex::service
