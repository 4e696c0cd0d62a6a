// Feeds arbitrary values of environment variables to every parser of the service floor. The input's lines are
// the values, in the order of the table; variables beyond the last line are unset.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "service/fast_memory.h"
#include "service/instruction_ceiling.h"
#include "service/reproducibility.h"
#include "service/thread_environment.h"
#include "service/verbose.h"

namespace {

constexpr std::array variables = {"VEX_NUM_THREADS",
                                  "VEX_NUM_STRIPES",
                                  "VEX_DOMAIN_NUM_THREADS",
                                  "VEX_DYNAMIC",
                                  "OMP_NUM_THREADS",
                                  "VEX_MPI_PPN",
                                  "K_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE",
                                  "K_MPI_PIN_MAPPING",
                                  "OMPI_COMM_WORLD_LOCAL_SIZE",
                                  "MPI_LOCALNRANKS",
                                  "K_MPI_THREAD_LEVEL",
                                  "VEX_CBWR",
                                  "VEX_ENABLE_INSTRUCTIONS",
                                  "VEX_VERBOSE",
                                  "VEX_FAST_MEMORY_LIMIT"};

std::string_view values[variables.size()];

void set_variables(std::string_view input) {
  for (std::string_view& value : values) {
    const std::size_t end = std::min(input.find('\n'), input.size());
    value = input.substr(0, std::min(end, input.find('\0')));
    input.remove_prefix(std::min(end + 1, input.size()));
  }
}

// Answers as vex_serv_getenv does.
int read_variable(const char* name, char* buffer, int capacity) {
  const auto found = std::find(variables.begin(), variables.end(), std::string_view(name));
  if (found == variables.end()) std::abort();  // the table lacks a variable
  const std::string_view value = values[found - variables.begin()];
  const int length = static_cast<int>(value.size());
  const bool fits = length < capacity;
  if (fits) value.copy(buffer, value.size());
  buffer[fits ? length : 0] = '\0';
  return fits ? length : -length;
}

void require(bool condition) {
  if (!condition) std::abort();
}

void read_thread_settings() {
  const vex::service::ThreadEnvironment env = vex::service::read_thread_environment(read_variable);
  const auto unset_or_positive = [](int count) { return count == -1 || count >= 1; };
  require(unset_or_positive(env.num_threads) && unset_or_positive(env.omp_num_threads));
  require(unset_or_positive(env.processes_per_node));
  for (const int count : env.domain_threads) require(unset_or_positive(count));
  require(env.num_stripes >= -1 && env.mpi_thread_level >= -1 && env.mpi_thread_level <= 3);
  require(env.dynamic == 0 || env.dynamic == 1);
}

// The text of a variable in a heap block of exactly its size, so that the address sanitizer sees any look
// beside it.
std::unique_ptr<char[]> exact_text(const char* name) {
  char buffer[4097];
  const auto bytes = static_cast<std::size_t>(std::max(0, read_variable(name, buffer, sizeof buffer))) + 1;
  auto text = std::make_unique<char[]>(bytes);
  std::memcpy(text.get(), buffer, bytes);
  return text;
}

void read_reproducibility() {
  const vex::service::CbwrText parsed = vex::service::parse_cbwr(exact_text("VEX_CBWR").get());
  require(parsed.branch >= 0 && parsed.branch <= 14);
  for (const int check : {0, -2, -3}) {
    const int setting = vex::service::cbwr_setting(parsed, check);
    require((setting & ~vex::service::cbwr_strict) >= 1 && (setting & ~vex::service::cbwr_strict) <= 14);
  }
}

void read_switches() {
  const int level = vex::service::parse_enable_instructions(exact_text("VEX_ENABLE_INSTRUCTIONS").get());
  require(level >= -1);
  const int mode = vex::service::parse_verbose_mode(exact_text("VEX_VERBOSE").get());
  require(mode >= 0 && mode <= 2);
  const std::uint64_t limit =
      vex::service::parse_fast_memory_limit(exact_text("VEX_FAST_MEMORY_LIMIT").get());
  require(limit == vex::service::unlimited || limit % (1 << 20) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  set_variables({reinterpret_cast<const char*>(data), size});
  read_thread_settings();
  read_reproducibility();
  read_switches();
  return 0;
}
