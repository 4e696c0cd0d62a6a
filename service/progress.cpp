// The progress callback and its spellings.
#include "service/progress.h"

#include <algorithm>
#include <atomic>
#include <iterator>

extern "C" {
// The library's own body of the public spellings: an address that no program can replace.
int vex_serv_outside_progress(const int* thread, const int* step, const char* stage, vex_int name_length) {
  return vex_serv_progress(thread, step, stage, name_length);
}

[[gnu::weak, gnu::alias("vex_serv_outside_progress")]] vex_progress_routine vex_progress, vex_progress_,
    VEX_PROGRESS, VEX_PROGRESS_;
}

namespace {

// Release and acquire: a callback's installer may have prepared what the callback uses.
constinit std::atomic<vex_progress_callback> installed{nullptr};

// Set while this thread is inside a callback; one that asks the library again is answered 0.
constinit thread_local bool asking = false;

constexpr vex_progress_callback spellings[] = {vex_progress_, vex_progress, VEX_PROGRESS, VEX_PROGRESS_};

bool is_own(vex_progress_callback callback) {
  return !callback || callback == cdecl_progress || callback == vex_serv_progress ||
         callback == vex_serv_default_progress || callback == vex_serv_outside_progress;
}

vex_progress_callback receiver() {
  const vex_progress_callback callback = installed.load(std::memory_order_acquire);
  if (!is_own(callback)) return callback;
  const auto* replaced = std::ranges::find_if_not(spellings, is_own);
  return replaced != std::end(spellings) ? *replaced : vex_serv_default_progress;
}

}  // namespace

extern "C" {

int vex_serv_progress(const int* thread, const int* step, const char* stage, vex_int name_length) {
  if (asking) return 0;
  asking = true;
  const int answer = receiver()(thread, step, stage, name_length);
  asking = false;
  return answer;
}

int vex_serv_default_progress(const int*, const int*, const char*, vex_int) {
  return 0;
}

vex_progress_callback vex_serv_set_progress(vex_progress_callback callback) {
  const vex_progress_callback previous = installed.exchange(callback, std::memory_order_acq_rel);
  return previous ? previous : vex_serv_default_progress;
}

void vex_serv_set_progress_interface(vex_progress_callback callback) {
  asking = false;
  if (installed.load(std::memory_order_relaxed)) return;
  vex_progress_callback none = nullptr;
  installed.compare_exchange_strong(none, callback, std::memory_order_acq_rel);
}

int cdecl_progress(const int* thread, const int* step, const char* stage, vex_int name_length) {
  return vex_serv_progress(thread, step, stage, name_length);
}
}
