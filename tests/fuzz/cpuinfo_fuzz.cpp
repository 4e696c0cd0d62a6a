// Reads arbitrary text as a processor description.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "service/cpuinfo.h"
#include "service/topology_count.h"

using namespace vex::service;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::FILE* text = fmemopen(const_cast<std::uint8_t*>(data), size, "r");
  static int package_ids[max_packages];
  MachineCounts counts;
  if (counts_from_cpuinfo(read_cpuinfo_counts(text, package_ids), &counts) &&
      (counts.packages < 1 || counts.physical_cores < counts.packages || counts.logical_processors < 1))
    std::abort();
  std::rewind(text);
  if (!(read_cpuinfo_mhz(text) >= 0)) std::abort();
  std::fclose(text);
  return 0;
}
