// What the standard entry points share: the installation of the default handlers, the test whether calls are
// traced, the trace line itself, and the pivot array of the 32-bit entries.
#pragma once

#include <atomic>
#include <cstddef>

#include "service/buffer_cache.h"
#include "service/clock.h"
#include "service/progress.h"
#include "service/safe_string.h"
#include "service/types.h"
#include "service/verbose.h"
#include "service/xerbla.h"

namespace vex::driver {

// The verbose flag as one entry point sees it: 0 off, 1 or 2 on. It starts at a constant that says "not known
// yet", -1; the first call replaces that by the library's mode cell, so an untraced call pays for reading the
// flag and nothing else.
class TraceSwitch {
 public:
  bool on() { return resolve(read()) != 0; }

  // The two halves of on(). Relaxed: both cells are static, and a thread that meets the old pointer or the
  // old -1 merely asks again.
  int read() const { return service::load_verbose_mode(cell_.load(std::memory_order_relaxed)); }
  int resolve(int mode) {
    if (mode == unknown) [[unlikely]]
      return ask();
    return mode;
  }

 private:
  [[gnu::noinline, gnu::cold]] int ask() {
    const int* cell = vex_serv_iface_verbose_mode();
    cell_.store(cell, std::memory_order_relaxed);
    return service::load_verbose_mode(cell);
  }

  static constexpr int unknown = -1;
  std::atomic<const int*> cell_{&unknown};
};

// Seconds between start() and stop().
class TraceClock {
 public:
  void start() { elapsed_ = -vex_serv_iface_dsecnd(); }
  double stop() { return elapsed_ + vex_serv_iface_dsecnd(); }

 private:
  double elapsed_ = 0.0;
};

// Formats one traced call and hands it to the verbose printer. The arguments are those of the format: int,
// long long, char and void pointers only.
template <typename... Arguments>
void trace(double seconds, const char* format, Arguments... arguments) {
  char line[450];
  vex_serv_snprintf_s(line, sizeof line, sizeof line - 1, format, arguments...);
  vex_serv_iface_print_verbose_info(seconds, 1, line);
}

inline void install_error_handler() {
  vex_set_xerbla_interface(cdecl_xerbla);
}

inline void install_handlers() {
  install_error_handler();
  vex_serv_set_progress_interface(cdecl_progress);
}

// 64-bit pivots of a call with 32-bit integers: kept in the call's own frame up to 16, else in scratch
// memory.
class WidePivots {
 public:
  explicit WidePivots(vex_int count) : data_(count <= frame_capacity ? frame_ : allocate(count)) {}
  ~WidePivots() {
    if (data_ != frame_ && data_ != nullptr) vex_serv_iface_deallocate(data_);
  }
  WidePivots(const WidePivots&) = delete;
  WidePivots& operator=(const WidePivots&) = delete;

  vex_int* data() { return data_; }  // null when the scratch memory was not obtained

 private:
  static constexpr vex_int frame_capacity = 16;

  static vex_int* allocate(vex_int count) {
    return static_cast<vex_int*>(
        vex_serv_iface_allocate(static_cast<std::size_t>(count) * sizeof(vex_int), 128));
  }

  vex_int frame_[frame_capacity];
  vex_int* data_;
};

// Reports that `routine` (six letters) got no pivot array; the result is what its INFO becomes.
inline int report_no_pivot_array(const char* routine) {
  const vex_int not_enough_work_memory = 1102;
  vex_serv_iface_xerbla(routine, &not_enough_work_memory, 6);
  return -1023;
}

}  // namespace vex::driver
