// Finding the high-bandwidth memory library, and keeping the bytes taken from it below the limit.
#include "service/fast_memory.h"

#include <charconv>
#include <climits>
#include <cstring>
#include <system_error>

#include "service/cpu_features.h"
#include "service/platform.h"
#include "service/spin_lock.h"

namespace vex::service {
namespace {

// AVX512F, AVX512ER, AVX512PF and AVX512CD together: the processors that carry such memory.
constexpr std::uint64_t many_core_features = 0x708000000;

constexpr char library_name[] = "libmemkind.so";
constexpr int newest_unsupported_version = 1000999;  // major * 1000000 + minor * 1000 + patch: below 1.1.0

// The library's page kinds, in the order tried. Blocks are aligned to their pages.
struct PageKind {
  int code;
  std::size_t size;
};
constexpr PageKind page_kinds[] = {{2, std::size_t{2} << 20}, {1, 4096}};

using GetVersion = int (*)();
using Memalign = int (*)(void** block, std::size_t alignment, std::size_t bytes, int page_kind);
using Release = void (*)(void* block);

// The two functions are written once, before anybody asks for memory.
struct FastMemory {
  Memalign memalign = nullptr;
  Release release = nullptr;
  std::int32_t lock = 0;  // guards the rest; nothing is called while it is held
  bool limit_set = false;
  std::uint64_t limit = unlimited;
  std::uint64_t used = 0;
};
constinit FastMemory fast_memory;

bool usable() {
  return fast_memory.memalign != nullptr;
}

// "DIRECTORY/libmemkind.so" of the directory that `find` names.
void* load_from(bool (*find)(char*, std::size_t)) {
  char path[PATH_MAX];
  if (!find(path, sizeof path - sizeof library_name)) return nullptr;
  std::size_t length = std::strlen(path);
  path[length++] = '/';
  std::memcpy(path + length, library_name, sizeof library_name);
  return platform().load_library(path);
}

void* load() {
  if (void* library = load_from(platform().library_directory)) return library;
  if (void* library = load_from(platform().program_directory)) return library;
  return platform().load_library(library_name);
}

template <typename Function>
Function symbol(void* library, const char* name) {
  return reinterpret_cast<Function>(platform().library_symbol(library, name));
}

bool take_functions(void* library) {
  const auto get_version = symbol<GetVersion>(library, "memkind_get_version");
  if (!get_version || get_version() <= newest_unsupported_version) return false;
  const auto memalign = symbol<Memalign>(library, "hbw_posix_memalign_psize");
  const auto release = symbol<Release>(library, "hbw_free");
  if (!memalign || !release) return false;
  fast_memory.release = release;
  fast_memory.memalign = memalign;
  return true;
}

std::uint64_t bytes_of_mebibytes(std::uint64_t count) {
  return count > unlimited >> 20 ? unlimited : count << 20;
}

// Counts the bytes as used before they are, so that threads asking at once cannot pass the limit together.
bool reserve(std::uint64_t bytes) {
  SpinGuard guard(fast_memory.lock);
  if (fast_memory.used >= fast_memory.limit || fast_memory.limit - fast_memory.used <= bytes) return false;
  fast_memory.used += bytes;
  return true;
}

void unreserve(std::uint64_t bytes) {
  SpinGuard guard(fast_memory.lock);
  fast_memory.used -= bytes;
}

}  // namespace

std::uint64_t parse_fast_memory_limit(const char* text) {
  if (*text == '-') return unlimited;
  const char* end = text + std::strlen(text);
  std::uint64_t count = 0;
  const auto [stop, error] = std::from_chars(text, end, count);
  return error == std::errc() && stop == end ? bytes_of_mebibytes(count) : unlimited;
}

bool find_fast_memory(std::uint64_t limit) {
  fast_memory.limit = limit;
  if (!platform().libc_is_shared() || !features().all(many_core_features)) return true;
  void* library = load();
  if (!library || take_functions(library)) return true;
  platform().unload_library(library);
  return false;
}

bool limit_fast_memory(std::uint64_t mebibytes) {
  SpinGuard guard(fast_memory.lock);
  if (!usable() || fast_memory.limit_set) return false;
  fast_memory.limit = bytes_of_mebibytes(mebibytes);
  fast_memory.limit_set = true;
  return true;
}

FastBlock obtain_fast_memory(std::size_t bytes) {
  if (!usable() || !reserve(bytes)) return {};
  for (const PageKind& pages : page_kinds) {
    void* block = nullptr;
    if (fast_memory.memalign(&block, pages.size, bytes, pages.code) == 0 && block) return {block, pages.size};
  }
  unreserve(bytes);
  return {};
}

void release_fast_memory(void* start, std::size_t bytes) {
  fast_memory.release(start);
  unreserve(bytes);
}

}  // namespace vex::service
