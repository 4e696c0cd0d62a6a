// What the library reads out of the operating system's processor description, as functions over its text.
#pragma once

#include <cstdio>

namespace vex::service {

// Zero where the text does not say.
struct CpuinfoCounts {
  int processors = 0;            // entries
  int packages = 0;              // distinct package identifiers
  int cores_per_package = 0;     // as the first entry tells it
  int siblings_per_package = 0;  // logical processors, as the first entry tells it
};

inline constexpr int max_packages = 4096;

// Reads to the end of the text. `package_ids` is scratch.
CpuinfoCounts read_cpuinfo_counts(std::FILE* text, int (&package_ids)[max_packages]);

// The number of the first "cpu MHz" line, 0 when there is none or it is no positive number.
double read_cpuinfo_mhz(std::FILE* text);

}  // namespace vex::service
