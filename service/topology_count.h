// Counts the machine's packages, cores and logical processors. The counting is costly and may move the
// calling thread about; service/topology.h gives the counts taken once per process.
#pragma once

#include "service/cpuinfo.h"
#include "service/platform.h"

namespace vex::service {

struct MachineCounts {
  int packages = 1;
  int physical_cores = 1;
  int logical_processors = 1;
};

// True, and the counts, when what the text said is complete and agrees with itself.
bool counts_from_cpuinfo(const CpuinfoCounts& told, MachineCounts* counts);

// By CPUID on every processor of the calling thread's affinity mask, which is put back afterwards.
// `processors` is the OpenMP runtime's count.
MachineCounts counts_from_cpuid(const Platform& machine, int processors);

// The first way that works; all ones when not even the affinity mask can be had.
MachineCounts count_machine(const Platform& machine);

}  // namespace vex::service
