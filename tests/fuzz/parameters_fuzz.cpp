// Feeds arbitrary bytes to the input file's parser: whatever they are, the run it describes keeps to the
// limits.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "driver/configuration.h"
#include "driver/parameter_file.h"
#include "driver/test_loop.h"

using namespace vex::driver;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void check_limits(const Configuration& run) {
  require(run.test_count >= 0 && run.test_count <= max_tests);
  for (std::size_t i = 0; i < static_cast<std::size_t>(run.test_count); ++i) {
    require(run.size[i] >= 0 && run.size[i] <= max_order);
    require(run.leading_dimension[i] >= run.size[i] && run.leading_dimension[i] <= max_order);
    require(run.trials[i] >= 1);
    require(run.alignment[i] >= 0 && run.alignment[i] <= max_alignment);
  }
  require(largest_request(run).fits);  // no file can ask for more bytes than 64 bits count
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Warnings and titles go nowhere; the fuzzer itself reports on standard error.
  dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::FILE* file =
      size ? fmemopen(const_cast<std::uint8_t*>(data), size, "r") : std::fopen("/dev/null", "r");
  Configuration run;
  if (parse_parameter_file(file, run)) check_limits(run);
  std::fclose(file);
  return 0;
}
