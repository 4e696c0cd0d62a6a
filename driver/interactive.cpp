// Parameters asked for at the terminal.
#include "driver/interactive.h"

#include "driver/limits.h"
#include "driver/line_buffer.h"

namespace vex::driver {
namespace {

std::int32_t ask(const char* name, std::FILE* answers) {
  std::printf("%s: ", name);
  std::fflush(stdout);
  return read_integer(answers);
}

}  // namespace

void ask_parameters(std::FILE* answers, Configuration& run) {
  const std::int32_t size = at_least(1, name::equations, ask(name::equations, answers), 1000);
  const std::int32_t leading_dimension =
      at_least(size, name::leading_dimension, ask(name::leading_dimension, answers), size);
  const std::int32_t trials = at_least(0, name::trials, ask(name::trials, answers), 1);
  std::int32_t alignment = at_least(0, name::alignment, ask(name::alignment, answers), 4);
  alignment = at_most(max_alignment, name::alignment, alignment, max_alignment);

  run.test_count = 1;
  run.size[0] = size;
  run.leading_dimension[0] = leading_dimension;
  run.trials[0] = trials;
  run.alignment[0] = alignment;
}

}  // namespace vex::driver
