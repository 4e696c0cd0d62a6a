// The questions about memory held, which vex.h declares, answered from the registry and from the statistics.
#include "service/memory_statistics.h"
#include "service/system_allocator.h"
#include "service/thread_registry.h"
#include "vex.h"

namespace vex::service {
namespace {

// Plain blocks that other threads obtain or release at this very moment may be missed; cached ones are not.
void start_watching() {
  const RegistryStop stop;
  const Holdings held = stop.holdings();
  enable_statistics(held.bytes, held.blocks);
}

}  // namespace
}  // namespace vex::service

using namespace vex::service;

extern "C" {

std::int64_t vex_serv_mem_stat(std::int32_t* blocks) {
  mm_init();
  const RegistryStop stop;
  const Holdings held = stop.holdings();
  if (blocks) *blocks = static_cast<std::int32_t>(held.blocks);
  return held.bytes;
}

std::int64_t vex_serv_peak_mem_usage(int mode) {
  mm_init();
  switch (mode) {
    case 1:
      start_watching();
      return 0;
    case 0:
      disable_statistics();
      return 0;
    case 2:
      return peak_bytes();
    case -1:
      return take_peak_bytes();
    default:
      return -1;
  }
}
}
