// The environment reader and the mode that narrows it.
#include "service/environment.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

// What is still answered while the mode is positive.
constexpr const char* always_answered[] = {"QOR_BLAS_COMPUTE_MODE", "HCX_LD_LIBRARY_PATH", "LD_LIBRARY_PATH",
                                           "VEXROOT", "LANG"};

constexpr std::size_t longest_value = 4096;

std::atomic<int> mode_flag{0};

bool is_answered(const char* name) {
  // Relaxed: the flag stands alone, nothing else is published through it.
  if (mode_flag.load(std::memory_order_relaxed) <= 0) return true;
  for (const char* answered : always_answered) {
    if (std::strcmp(name, answered) == 0) return true;
  }
  return false;
}

}  // namespace

extern "C" {

int vex_serv_getenv(const char* name, char* buffer, int capacity) {
  const bool writable = buffer && capacity > 0;
  if (writable) buffer[0] = '\0';
  const char* value = name && is_answered(name) ? std::getenv(name) : nullptr;
  if (!value) return 0;
  const std::size_t measured = strnlen(value, longest_value);
  const int length = static_cast<int>(measured);
  if (!writable || length >= capacity) return -length;
  std::memcpy(buffer, value, measured);
  buffer[measured] = '\0';
  return length;
}

int vex_serv_get_envmode_variable() {
  return mode_flag.load(std::memory_order_relaxed);
}

void vex_serv_set_envmode_variable(int mode) {
  mode_flag.store(mode, std::memory_order_relaxed);
}
}
