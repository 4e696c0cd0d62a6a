// The standard error handler, the hook above it and the spellings beneath it.
#include "service/xerbla.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>

#include "service/messages.h"

extern "C" {
// The library's own body of the public spellings: an address that no program can replace.
void vex_serv_outside_xerbla(const char* name, const vex_int* code, vex_int name_length) {
  if (!name || !code) return;
  std::int32_t low;
  std::memcpy(&low, code, sizeof low);
  const vex_int widened = low;
  vex_serv_xerbla(name, &widened, name_length);
}

[[gnu::weak, gnu::alias("vex_serv_outside_xerbla")]] vex_xerbla_routine xerbla, xerbla_, XERBLA, XERBLA_;
}

namespace {

// Release and acquire: a handler's installer may have prepared what the handler uses.
constinit std::atomic<vex_xerbla_handler> installed{nullptr};

// Set while this thread is inside a handler.
constinit thread_local bool reporting = false;

// Written here as data, not compared in code: the addresses are the linker's to fill in, and in a shared
// library the loader's.
constexpr vex_xerbla_handler spellings[] = {xerbla_, xerbla, XERBLA, XERBLA_};

bool is_own(vex_xerbla_handler handler) {
  return !handler || handler == cdecl_xerbla || handler == vex_serv_iface_xerbla ||
         handler == vex_serv_xerbla || handler == vex_serv_default_xerbla ||
         handler == vex_serv_outside_xerbla;
}

vex_xerbla_handler receiver() {
  const vex_xerbla_handler handler = installed.load(std::memory_order_acquire);
  if (!is_own(handler)) return handler;
  const auto* replaced = std::ranges::find_if_not(spellings, is_own);
  return replaced != std::end(spellings) ? *replaced : vex_serv_default_xerbla;
}

constexpr int longest_name = 20;

void print_report(vex_int code, const char* name) {
  switch (code) {
    case 1000:
      return vex_serv_print(0, 8, 1, name);
    case 1001:
      return vex_serv_print(0, 9, 1, name);
    case 1102:
    case 1225:
      return vex_serv_print(0, static_cast<int>(code), 1, name);
    default:
      break;
  }
  if (code > 0) return vex_serv_print(0, 6, 2, static_cast<int>(code), name);
  const auto condition = -static_cast<std::uint64_t>(code);  // unsigned: the lowest code has no opposite
  vex_serv_print(0, 7, 2, static_cast<int>(condition), name);
}

}  // namespace

extern "C" {

void vex_serv_xerbla(const char* name, const vex_int* code, vex_int name_length) {
  if (!name || !code) return;
  if (reporting) return vex_serv_default_xerbla(name, code, name_length);
  reporting = true;
  receiver()(name, code, name_length);
  reporting = false;
}

void vex_serv_default_xerbla(const char* name, const vex_int* code, vex_int name_length) {
  const int length = static_cast<int>(name_length);
  if (!name || !code || length < 0) return;
  char shown[longest_name + 1];
  const std::size_t kept = strnlen(name, static_cast<std::size_t>(std::min(length, longest_name)));
  std::memcpy(shown, name, kept);
  shown[kept] = '\0';
  vex_serv_print(0, 0, 0);
  print_report(*code, shown);
}

vex_xerbla_handler vex_serv_set_xerbla(vex_xerbla_handler handler) {
  const vex_xerbla_handler previous = installed.exchange(handler, std::memory_order_acq_rel);
  return previous ? previous : vex_serv_default_xerbla;
}

void vex_serv_set_xerbla_interface(vex_xerbla_handler handler) {
  // Nearly every call finds one installed, and need not write to a cache line that all threads read.
  if (installed.load(std::memory_order_relaxed)) return;
  vex_xerbla_handler none = nullptr;
  installed.compare_exchange_strong(none, handler, std::memory_order_acq_rel);
}

void vex_set_xerbla_interface(vex_xerbla_handler handler) {
  reporting = false;
  vex_serv_set_xerbla_interface(handler);
}

void vex_serv_iface_xerbla(const char* name, const vex_int* code, vex_int name_length) {
  vex_serv_xerbla(name, code, name_length);
}

void cdecl_xerbla(const char* name, const vex_int* code, vex_int name_length) {
  vex_serv_xerbla(name, code, name_length);
}
}
