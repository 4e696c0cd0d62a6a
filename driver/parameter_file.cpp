// The input file: seven lines, read in order, checked line by line.
#include "driver/parameter_file.h"

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <span>

#include "driver/limits.h"
#include "driver/line_buffer.h"
#include "driver/report.h"

namespace vex::driver {
namespace {

std::optional<std::int32_t> count_of(const char* text) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text, &end, 10);
  if (end == text || errno == ERANGE) return std::nullopt;
  return static_cast<std::int32_t>(value);  // only the low 32 bits count
}

std::int32_t checked_count(std::int32_t count) {
  count = at_least(0, name::tests, count, 0);
  return at_most(max_tests, name::tests, count, max_tests);
}

// A line with one integer per test, none of them below `lowest`. A line that is missing is not noticed here:
// the buffer still holds what is left of the line before.
void read_row(std::FILE* file, LineBuffer& line, const char* name, std::int32_t lowest,
              std::span<std::int32_t> row) {
  line.read(file);
  line.take_integers(row);
  for (std::int32_t& value : row) value = at_least(lowest, name, value, lowest);
}

// What a size allows its leading dimension, and what both may be at most. A size above the limit skips the
// test.
void check_dimensions(std::int32_t& size, std::int32_t& leading_dimension) {
  size = at_most(max_order, name::size, size, 0);
  leading_dimension = at_least(size, name::leading_dimension, leading_dimension, size);
  leading_dimension = at_most(max_order, name::leading_dimension, leading_dimension, size);
}

}  // namespace

bool parse_parameter_file(std::FILE* file, Configuration& run) {
  LineBuffer comment, heading, line;
  comment.read(file);
  heading.read(file);
  if (!line.read(file)) return false;
  const std::optional<std::int32_t> count = count_of(line.text());
  if (!count) return false;
  print(title, heading.text());
  run.test_count = checked_count(*count);

  const auto tests = static_cast<std::size_t>(run.test_count);
  const auto row = [tests](auto& values) { return std::span<std::int32_t>(values).first(tests); };
  read_row(file, line, name::equations, 1, row(run.size));
  read_row(file, line, name::leading_dimension, 1, row(run.leading_dimension));
  for (std::size_t i = 0; i < tests; ++i) check_dimensions(run.size[i], run.leading_dimension[i]);
  read_row(file, line, name::trials, 1, row(run.trials));
  read_row(file, line, name::alignment, 0, row(run.alignment));
  for (std::int32_t& value : row(run.alignment)) {
    value = at_most(max_alignment, name::alignment, value, max_alignment);
  }
  return true;
}

}  // namespace vex::driver
