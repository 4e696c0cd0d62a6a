// What a pair of allocate and deallocate costs when the cache holds the buffer, beside a pair of malloc and
// free of the same size. The first byte is written in both, as a caller would.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "service/buffer_cache.h"

namespace {

struct Pair {
  const char* name;
  void* (*obtain)(std::size_t bytes);
  void (*release)(void* block);
};

constexpr Pair pairs[] = {
    {"cached", [](std::size_t bytes) { return vex_serv_allocate(bytes, 128); }, vex_serv_deallocate},
    {"malloc", std::malloc, std::free},
};

double nanoseconds_per_pair(const Pair& pair, std::size_t bytes, long count) {
  const auto start = std::chrono::steady_clock::now();
  for (long i = 0; i < count; ++i) {
    void* block = pair.obtain(bytes);
    if (!block) std::exit(1);
    *static_cast<volatile char*>(block) = 1;
    pair.release(block);
  }
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
  return elapsed.count() / static_cast<double>(count);
}

}  // namespace

int main() {
  constexpr long count = 1000;
  constexpr int repetitions = 101;
  std::printf("%10s %12s %12s   ns per pair, least of %d runs of %ld pairs\n", "KiB", pairs[0].name,
              pairs[1].name, repetitions, count);
  for (std::size_t bytes = 4096; bytes <= std::size_t{64} << 20; bytes *= 2) {
    double least[2] = {1e30, 1e30};
    for (int r = 0; r < repetitions; ++r) {
      for (int p = 0; p < 2; ++p) least[p] = std::min(least[p], nanoseconds_per_pair(pairs[p], bytes, count));
    }
    std::printf("%10zu %12.1f %12.1f\n", bytes >> 10, least[0], least[1]);
  }
  return 0;
}
