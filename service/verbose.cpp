// Verbose mode, its output file, and the writing of trace lines: every line is built whole and leaves in one
// write, so that lines of threads that trace at once never mix.
#include "service/verbose.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "service/environment.h"
#include "service/frequency.h"
#include "service/safe_string.h"
#include "service/spin_lock.h"
#include "service/verbose_text.h"
#include "service/version.h"

namespace vex::service {
namespace {

constexpr std::size_t mode_value_capacity = 129;  // 128 characters
constexpr std::size_t file_name_capacity = 4096;  // 4095 characters
using FileName = char[file_name_capacity];

// A line: 12 characters of prefix, 449 of the call, a blank, 399 of information, the line break.
using TraceLine = BoundedText<12 + 449 + 1 + 399 + 1>;

int mode = -1;  // -1 until VEX_VERBOSE has been read
std::int32_t mode_reading_lock = 0;
std::int32_t mode_change_lock = 0;

FileName output_file = "";          // empty: standard output
bool output_file_decided = false;   // by the program or by the environment, which is then not looked at again
std::int32_t output_file_lock = 0;  // guards both

int header_printed = 0;
std::int32_t header_lock = 0;
std::int32_t standard_output_lock = 0;

void store_mode(int value) {
  std::atomic_ref<int>(mode).store(value, std::memory_order_relaxed);
}

void read_mode_once() {
  if (load_verbose_mode(&mode) != -1) return;
  const SpinGuard guard(mode_reading_lock);
  if (load_verbose_mode(&mode) != -1) return;
  char value[mode_value_capacity];
  const int length = vex_serv_getenv("VEX_VERBOSE", value, sizeof value);
  store_mode(length > 0 ? parse_verbose_mode(value) : 0);
}

void warn(const char* reason) {
  BoundedText<128> line;
  line.append("VEX_VERBOSE WARNING: %s\n", reason);
  std::fputs(line.text(), stderr);
}

bool can_append(const char* name) {
  std::FILE* file = vex_serv_fopen(name, "a");
  if (file == nullptr) return false;
  vex_serv_fclose(file);
  return true;
}

// Under the lock: back to standard output, for the given reason.
bool refuse_output_file(const char* reason) {
  warn(reason);
  output_file[0] = '\0';
  return false;
}

// Under the lock: takes `name` (of `length` characters, and possibly the present name itself) as the output
// file.
bool accept_output_file(const char* name, std::size_t length) {
  output_file_decided = true;
  if (length == 0 || length >= file_name_capacity)
    return refuse_output_file("incorrect output filename: too long or empty");
  if (!can_append(name)) return refuse_output_file("Unable to open verbose output file.");
  std::memmove(output_file, name, length + 1);
  return true;
}

// Under the lock. An unset or empty variable is no choice and gets no warning.
void read_output_file_once() {
  if (output_file_decided) return;
  output_file_decided = true;
  FileName value;
  const int length = vex_serv_getenv("VEX_VERBOSE_OUTPUT_FILE", value, sizeof value);
  if (length == 0) return;
  accept_output_file(value, length > 0 ? static_cast<std::size_t>(length) : file_name_capacity);
}

void copy_output_file(FileName& name) {
  const SpinGuard guard(output_file_lock);
  read_output_file_once();
  std::memcpy(name, output_file, std::strlen(output_file) + 1);
}

// Both flushes belong to the one write per line: the first empties the stream's buffer, in which a line that
// fits the rest only in part would be split.
void write_to_standard_output(const TraceLine& line) {
  const SpinGuard guard(standard_output_lock);
  std::fflush(stdout);
  std::fwrite(line.text(), 1, line.length(), stdout);
  std::fflush(stdout);
}

void write_line(const TraceLine& line) {
  FileName name;
  copy_output_file(name);
  if (name[0] == '\0') return write_to_standard_output(line);
  std::FILE* file = vex_serv_fopen(name, "a");
  if (file == nullptr) {
    warn("unable to open output file. Print to STDOUT");
    return write_to_standard_output(line);
  }
  std::fwrite(line.text(), 1, line.length(), file);
  vex_serv_fclose(file);
}

}  // namespace

int parse_verbose_mode(const char* value) {
  char* end = nullptr;
  const long number = std::strtol(value, &end, 0);
  if (end == value || *end != '\0') return 0;
  return number >= 0 && number <= 2 ? static_cast<int>(number) : 0;
}

}  // namespace vex::service

extern "C" {

using namespace vex::service;

int vex_serv_verbose(int requested) {
  read_mode_once();
  if (requested < 0 || requested > 2) return -1;
  const SpinGuard guard(mode_change_lock);
  store_mode(requested);
  return requested;
}

const int* vex_serv_verbose_mode() {
  read_mode_once();
  return &mode;
}
[[gnu::alias("vex_serv_verbose_mode")]] decltype(vex_serv_verbose_mode) vex_serv_iface_verbose_mode;

int vex_serv_verbose_output_file(const char* name) {
  const std::size_t length = name ? vex_serv_strnlen_s(name, file_name_capacity) : 0;
  const SpinGuard guard(output_file_lock);
  return accept_output_file(name, length) ? 0 : 1;
}

const char* vex_serv_verbose_output_file_mode() {
  const SpinGuard guard(output_file_lock);
  read_output_file_once();
  return output_file;
}

void vex_serv_print_verbose_header(int interface_code) {
  // Acquire pairs with the release below: who sees the flag comes after the header in the output.
  const std::atomic_ref<int> printed(header_printed);
  if (printed.load(std::memory_order_acquire) != 0) return;
  const SpinGuard guard(header_lock);
  if (printed.load(std::memory_order_relaxed) != 0) return;
  vex_version version;
  vex_serv_get_version(&version);
  TraceLine line;
  line.append("%s\n", header_text(interface_code, version, vex_serv_get_max_cpu_frequency()).text());
  write_line(line);
  printed.store(1, std::memory_order_release);
}

void vex_serv_print_verbose_info(int interface_code, const char* call, double seconds) {
  vex_serv_print_verbose_header(interface_code);
  TraceLine line;
  line.append("VEX_VERBOSE %.449s %s\n", call, call_information(seconds, current_settings()).text());
  write_line(line);
}

void vex_serv_iface_print_verbose_info(double seconds, int interface_code, const char* call) {
  vex_serv_print_verbose_info(interface_code, call, seconds);
}
}
