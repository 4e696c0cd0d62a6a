// The process-wide thread settings, their one-time reading, the per-thread override and the rule.
//
// Settings are independent words: a query that races with a setter sees the old or the new value of each, so
// they are read and written without further ordering.
#include "service/thread_count.h"

#include <omp.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>

#include "service/cleanup.h"
#include "service/environment.h"
#include "service/spin_lock.h"
#include "service/thread_environment.h"
#include "service/topology_count.h"

using namespace vex::service;

namespace {

constexpr auto relaxed = std::memory_order_relaxed;
using Setting = std::atomic<std::int32_t>;

constinit Setting __vex_num_threads{-1};
constinit Setting __vex_blas_num_threads{-1};
constinit Setting __vex_fft_num_threads{-1};
constinit Setting __vex_elem_num_threads{-1};
constinit Setting __vex_pardiso_num_threads{-1};
constinit Setting __vex_num_stripes{-1};
constinit Setting __vex_dynamic{-1};
constinit Setting __omp_num_threads{-1};
constinit Setting __vex_mpi_ppn{-1};
constinit Setting __vex_mpi_thread_level{-1};
constinit Setting __mpi_SAFETY_BLACS{-1};

constinit Setting* const domain_settings[domain_count] = {&__vex_num_threads, &__vex_blas_num_threads,
                                                          &__vex_fft_num_threads, &__vex_elem_num_threads,
                                                          &__vex_pardiso_num_threads};

// 0 before the reading and 1 after it, whatever the name says.
constinit Setting __threads_env_NOT_readed{0};
constinit std::int32_t environment_lock = 0;

// What the program has set before the first query wins over the environment.
void set_if_unset(Setting& setting, int value) {
  std::int32_t unset = -1;
  if (value >= 0) setting.compare_exchange_strong(unset, value, relaxed);
}

void store_counts(const MachineCounts& machine) {
  __N_Logical_Cores = machine.logical_processors;
  __N_Physical_Cores = machine.physical_cores;
  __N_CPU_Packages = machine.packages;
  __N_Cores_per_Packages = machine.physical_cores / machine.packages;
  __HT = machine.physical_cores != machine.logical_processors;
}

// The per-thread override: one thread-specific key, whose value is the count itself. Most programs never set
// one, and then no thread looks further than at the flag.
constinit std::int32_t override_lock = 0;
constinit std::atomic<bool> override_key_exists{false};
pthread_key_t override_key;

void delete_override_key(void*) {
  const SpinGuard guard(override_lock);
  if (!override_key_exists.exchange(false, relaxed)) return;
  pthread_key_delete(override_key);
}

bool create_override_key() {
  const SpinGuard guard(override_lock);
  if (override_key_exists.load(relaxed)) return true;
  if (pthread_key_create(&override_key, nullptr) != 0) return false;
  // Release: whoever sees the flag may use the key.
  override_key_exists.store(true, std::memory_order_release);
  vex_serv_thr_register_cleanup(delete_override_key, nullptr);
  return true;
}

int thread_override() {
  if (!override_key_exists.load(std::memory_order_acquire)) return 0;
  return static_cast<int>(std::bit_cast<std::intptr_t>(pthread_getspecific(override_key)));
}

ThreadSettings settings_for(int domain) {
  ThreadSettings now;
  now.all = __vex_num_threads.load(relaxed);
  if (domain > domain_all && domain < domain_count) now.domain = domain_settings[domain]->load(relaxed);
  now.dynamic = __vex_dynamic.load(relaxed) != 0;
  now.physical_cores = __N_Physical_Cores;
  now.omp_num_threads = __omp_num_threads.load(relaxed);
  now.mpi_safe = __mpi_SAFETY_BLACS.load(relaxed);
  now.processes_per_node = __vex_mpi_ppn.load(relaxed);
  now.mpi_thread_level = __vex_mpi_thread_level.load(relaxed);
  return now;
}

// With several processes on one machine a count that nobody asked for would oversubscribe it.
int threads_beside_other_processes(int count, bool from_runtime, const ThreadSettings& settings) {
  if (settings.mpi_safe >= 0) return settings.mpi_safe == 1 ? count : 1;
  if (settings.processes_per_node < 1) return count;
  if (!from_runtime || settings.omp_num_threads >= 1) return count;
  if (settings.mpi_thread_level < 1) return 1;
  return std::max(1, std::min(count, settings.physical_cores / settings.processes_per_node));
}

}  // namespace

namespace vex::service {

int threads_for_domain(int domain, const ThreadSettings& settings, const ThreadRuntime& runtime) {
  if (settings.dynamic && runtime.in_parallel()) return 1;
  int count = domain == domain_all ? -1 : settings.domain;
  if (count < 1) count = settings.all;
  const bool from_runtime = count < 1;
  if (from_runtime) count = runtime.max_threads();
  if (!settings.dynamic) return count;
  return threads_beside_other_processes(std::min(count, settings.physical_cores), from_runtime, settings);
}

}  // namespace vex::service

extern "C" {

// Written once, before the flag that says so.
constinit std::int32_t __N_Logical_Cores = -1;
constinit std::int32_t __N_Physical_Cores = -1;
constinit std::int32_t __N_CPU_Packages = -1;
constinit std::int32_t __N_Cores_per_Packages = -1;
constinit std::int32_t __HT = -1;

void VEX_Read_ThreadENV_Count_Cores() {
  // The acquire pairs with the release below, and covers the machine counts.
  if (__threads_env_NOT_readed.load(std::memory_order_acquire)) return;
  const SpinGuard guard(environment_lock);
  if (__threads_env_NOT_readed.load(relaxed)) return;
  const ThreadEnvironment env = read_thread_environment(vex_serv_getenv);
  set_if_unset(__vex_num_threads, env.num_threads);
  set_if_unset(__vex_num_stripes, env.num_stripes);
  for (int i = 0; i < domain_count; ++i) set_if_unset(*domain_settings[i], env.domain_threads[i]);
  set_if_unset(__vex_dynamic, env.dynamic);
  set_if_unset(__omp_num_threads, env.omp_num_threads);
  set_if_unset(__vex_mpi_ppn, env.processes_per_node);
  set_if_unset(__vex_mpi_thread_level, env.mpi_thread_level);
  store_counts(count_machine(platform()));
  __threads_env_NOT_readed.store(1, std::memory_order_release);
}

int vex_serv_get_max_threads() {
  return vex_serv_domain_get_max_threads(-1);
}

int vex_serv_domain_get_max_threads(int domain) {
  const int local = thread_override();
  if (local > 0) return local;
  VEX_Read_ThreadENV_Count_Cores();
  return threads_for_domain(domain, settings_for(domain), {omp_in_parallel, omp_get_max_threads});
}

void vex_serv_set_num_threads(int count) {
  if (count > 0) __vex_num_threads.store(count, relaxed);
}

int vex_serv_domain_set_num_threads(int count, int domain) {
  if (count < 0 || domain < 0 || domain >= domain_count) return 0;
  domain_settings[domain]->store(count, relaxed);
  return 1;
}

int vex_serv_set_num_threads_local(int count) {
  const int previous = thread_override();
  if (count == previous) return previous;
  if (create_override_key()) {
    pthread_setspecific(override_key, std::bit_cast<void*>(std::intptr_t{count}));
  }
  return previous;
}

int vex_serv_get_dynamic() {
  VEX_Read_ThreadENV_Count_Cores();
  return __vex_dynamic.load(relaxed);
}

int vex_serv_set_dynamic(int flag) {
  __vex_dynamic.store(flag != 0, relaxed);
  return flag != 0;
}

int vex_serv_get_num_stripes() {
  VEX_Read_ThreadENV_Count_Cores();
  return __vex_num_stripes.load(relaxed);
}

void vex_serv_set_num_stripes(int count) {
  if (count >= 0) __vex_num_stripes.store(count, relaxed);
}

int vex_serv_mpi_safe(int flag) {
  __mpi_SAFETY_BLACS.store(flag == 1, relaxed);
  return flag == 1;
}

int vex_serv_mpi_get_ppn() {
  VEX_Read_ThreadENV_Count_Cores();
  return __vex_mpi_ppn.load(relaxed);
}

int vex_serv_omp_in_parallel() {
  return omp_in_parallel();
}

int vex_serv_get_thread_layer() {
  return 0;
}
}
