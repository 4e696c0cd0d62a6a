// The clean-up registries, the device destructors and the exit handler.
#include "service/cleanup.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "service/messages.h"
#include "service/spin_lock.h"

namespace {

using vex::service::SpinGuard;

constexpr int exit_no_working_directory = 2;
constexpr int exit_registry_full = 3;

struct Cleanup {
  vex_cleanup_function function;
  void* argument;
};

// A stack of actions. Its lock guards the entries only, and is free while an action runs, so that an action
// may register another one.
class Registry {
 public:
  bool add(Cleanup entry) {
    SpinGuard guard(lock_);
    if (count_ == capacity) return false;
    entries_[count_++] = entry;
    return true;
  }

  void run() {
    for (Cleanup entry; take_last(entry);) entry.function(entry.argument);
  }

 private:
  static constexpr int capacity = 32;

  bool take_last(Cleanup& entry) {
    SpinGuard guard(lock_);
    if (count_ == 0) return false;
    entry = entries_[--count_];
    return true;
  }

  std::int32_t lock_ = 0;
  int count_ = 0;
  Cleanup entries_[capacity] = {};
};

constinit Registry core_registry;
constinit Registry thread_registry;

// One thread at a time cleans up, whichever registry; another one waits, so that the order holds. The thread
// that does so already, from inside an action, goes on.
constinit std::int32_t cleaning_lock = 0;
constinit thread_local bool cleaning = false;

void clean_up(Registry& registry) {
  if (cleaning) return registry.run();
  SpinGuard guard(cleaning_lock);
  cleaning = true;
  registry.run();
  cleaning = false;
}

void register_cleanup(Registry& registry, vex_cleanup_function function, void* argument) {
  if (!function) return;
  if (!registry.add({function, argument})) vex_serv_exit(exit_registry_full);
}

// The end of the process, or of the library where it is unloaded from a running one: a thread key whose
// destructor is about to disappear must not outlive it.
[[gnu::destructor]] void shut_down() {
  vex_serv_thr_cleanup();
  vex_serv_core_cleanup();
}

constexpr int max_device_destructors = 2;
constinit std::int32_t device_lock = 0;
constinit int device_count = 0;
using DeviceDestructor = void (*)();
constinit DeviceDestructor device_destructors[max_device_destructors] = {};

// A plain hook: relaxed, because a handler's own data is its installer's affair.
constinit std::atomic<vex_exit_handler> exit_handler{nullptr};

}  // namespace

extern "C" {

void vex_serv_core_register_cleanup(vex_cleanup_function function, void* argument) {
  register_cleanup(core_registry, function, argument);
}

void vex_serv_core_cleanup() {
  clean_up(core_registry);
}

void vex_serv_thr_register_cleanup(vex_cleanup_function function, void* argument) {
  register_cleanup(thread_registry, function, argument);
}

void vex_serv_thr_cleanup() {
  clean_up(thread_registry);
}

void vex_serv_set_exit_handler(vex_exit_handler handler) {
  exit_handler.store(handler, std::memory_order_relaxed);
}

void vex_serv_exit(int code) {
  if (const vex_exit_handler handler = exit_handler.load(std::memory_order_relaxed)) return handler(code);
  std::exit(code);
}

int vex_serv_core_register_sycl_destructor(void (*function)()) {
  SpinGuard guard(device_lock);
  if (!function || device_count == max_device_destructors) return 1;
  device_destructors[device_count++] = function;
  return 0;
}

void vex_serv_call_sycl_destructors() {
  DeviceDestructor registered[max_device_destructors] = {};
  {
    SpinGuard guard(device_lock);
    for (int i = 0; i < device_count; ++i) registered[i] = device_destructors[i];
  }
  for (const DeviceDestructor function : registered) {
    if (function) function();
  }
}

void vex_serv_core_reset_sycl_destructors() {
  SpinGuard guard(device_lock);
  device_count = 0;
}
}

namespace vex::service {

void require_working_directory() {
  char* directory = getcwd(nullptr, 0);  // of any length, on the heap
  const bool known = directory != nullptr;
  std::free(directory);
  if (known) return;
  constexpr int cannot_load = 1;
  vex_serv_print(0, cannot_load, 1, "the working directory");
  vex_serv_exit(exit_no_working_directory);
}

}  // namespace vex::service
