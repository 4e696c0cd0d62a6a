// Where the run's parameters come from.
#include "driver/parameters.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "driver/help.h"
#include "driver/interactive.h"
#include "driver/line_buffer.h"
#include "driver/parameter_file.h"
#include "driver/report.h"
#include "service/safe_string.h"

namespace vex::driver {
namespace {

constexpr std::size_t name_capacity = 256;  // a file name with its terminator

// An option may be cut short, down to the dash and one letter; what is longer than the option is no option.
bool is_option(const char* argument, const char* option) {
  const std::size_t length = vex_serv_strnlen_s(argument, name_capacity);
  return length >= 2 && std::strncmp(argument, option, length) == 0;
}

[[noreturn]] void abort_without(const char* file_name) {
  print(input_not_opened, file_name);
  std::exit(-1);
}

void parse_and_close(std::FILE* file, const char* file_name, Configuration& run) {
  if (!parse_parameter_file(file, run)) abort_without(file_name);
  vex_serv_fclose(file);
}

void read_file(const char* file_name, Configuration& run) {
  if (vex_serv_strnlen_s(file_name, name_capacity) >= name_capacity) abort_without(file_name);
  std::FILE* file = vex_serv_fopen(file_name, "r");
  if (!file) abort_without(file_name);
  parse_and_close(file, file_name, run);
}

std::optional<int> read_terminal(Configuration& run) {
  print(data_or_help);
  LineBuffer answer;
  answer.read(stdin);
  if (std::strncmp(answer.text(), "help", 4) == 0) return print_help(help_file);
  ask_parameters(stdin, run);
  return std::nullopt;
}

}  // namespace

std::optional<int> read_parameters(int argc, char** argv, Configuration& run) {
  if (argc > 1) {
    const char* argument = argv[1];
    if (is_option(argument, "-help")) return print_help(help_file);
    if (is_option(argument, "-extended_help")) return print_help(extended_help_file);
    if (is_option(argument, "-input_file")) argument = argc > 2 ? argv[2] : "";
    read_file(argument, run);
    return std::nullopt;
  }
  if (!isatty(STDIN_FILENO)) {
    parse_and_close(stdin, "stdin", run);
    return std::nullopt;
  }
  if (!isatty(STDOUT_FILENO)) return print_help(help_file);
  return read_terminal(run);
}

}  // namespace vex::driver
