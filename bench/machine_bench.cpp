// What the machine gives at the moment, arithmetic apart: the round trip of a cache line between two
// processors, and one load of a chain through ever larger pieces of memory on each of them. A shared machine
// changes both under a program that runs, and its figures with them; HACKING.md tells what was seen.
#include <omp.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/support/samples.h"
#include "service/huge_pages.h"

namespace {

constexpr std::size_t line = 64, huge_page = std::size_t{2} << 20;

void run_on(int processor) {
  cpu_set_t only;
  CPU_ZERO(&only);
  CPU_SET(processor, &only);
  sched_setaffinity(0, sizeof only, &only);  // of the allowed ones, so it does not fail
}

std::vector<int> allowed_processors() {
  std::vector<int> allowed;
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return allowed;
  for (int p = 0; p < CPU_SETSIZE; ++p)
    if (CPU_ISSET(p, &set)) allowed.push_back(p);
  return allowed;
}

// Nanoseconds from a store until the other processor's answer to it is seen; 0 when only one thread came.
double round_trip(int here, int there) {
  constexpr int trips = 20000;
  alignas(2 * line) std::atomic<int> question{0};
  alignas(2 * line) std::atomic<int> answer{0};
  double seconds = 0;
#pragma omp parallel num_threads(2)
  if (omp_get_num_threads() == 2) {
    const bool asks = omp_get_thread_num() == 0;
    run_on(asks ? here : there);
#pragma omp barrier
    const double start = omp_get_wtime();
    for (int i = 1; i <= trips; ++i) {
      // Relaxed: the words carry nothing but themselves.
      if (asks) question.store(i, std::memory_order_relaxed);
      while ((asks ? answer : question).load(std::memory_order_relaxed) != i) {
      }
      if (!asks) answer.store(i, std::memory_order_relaxed);
    }
    if (asks) seconds = omp_get_wtime() - start;
  }
  return seconds / trips * 1e9;
}

struct alignas(line) Link {
  const Link* next;
};

// Links in huge pages that form a single random cycle, so that a load waits for the one before it and no
// neighbour is fetched ahead.
class Chain {
 public:
  explicit Chain(std::size_t bytes)
      : count_(bytes / sizeof(Link)),
        links_(static_cast<Link*>(
                   std::aligned_alloc(huge_page, (bytes + huge_page - 1) / huge_page * huge_page)),
               std::free) {
    if (!links_) std::exit(1);
    vex::service::advise_huge_pages(links_.get(), bytes);
    Link* const links = links_.get();
    for (std::size_t i = 0; i < count_; ++i) links[i].next = links + i;
    std::uint64_t random = 88172645463325252u;
    for (std::size_t i = count_ - 1; i > 0; --i) {
      random ^= random << 13, random ^= random >> 7, random ^= random << 17;
      std::swap(links[i].next, links[random % i].next);  // never with itself, so one cycle comes out
    }
  }

  double nanoseconds_per_load() const {
    const std::size_t loads = std::clamp<std::size_t>(count_, 100000, 500000);
    const Link* at = follow(links_.get(), std::min(count_, loads));
    const double start = omp_get_wtime();
    at = follow(at, loads);
    const double seconds = omp_get_wtime() - start;
    asm volatile("" : : "r"(at));
    return seconds / static_cast<double>(loads) * 1e9;
  }

 private:
  static const Link* follow(const Link* at, std::size_t loads) {
    while (loads-- > 0) at = at->next;
    return at;
  }

  std::size_t count_;
  std::unique_ptr<Link, void (*)(void*)> links_;
};

template <typename Measure>
void print_samples(int repeats, Measure measure) {
  std::vector<double> ns(static_cast<std::size_t>(repeats));
  std::generate(ns.begin(), ns.end(), measure);
  const auto [least, most] = std::minmax_element(ns.begin(), ns.end());
  std::printf("  %7.1f (%.1f to %.1f)", vex::bench::median(ns), *least, *most);
}

}  // namespace

int main(int argc, char** argv) {
  const bool chosen = argc == 3 && std::strcmp(argv[1], "--repeats") == 0;
  const int repeats = chosen ? std::atoi(argv[2]) : 9;
  const std::vector<int> processors = allowed_processors();
  if ((argc != 1 && !chosen) || repeats < 1 || processors.empty()) {
    std::fprintf(stderr, "usage: machine_bench [--repeats 9]\n");
    return 2;
  }
  const int first = processors.front(), last = processors.back();
  std::printf("ns, median and range of %d\n", repeats);
  if (first != last && round_trip(first, last) > 0) {
    std::printf("round trip, %d and %d", first, last);
    print_samples(repeats, [&] { return round_trip(first, last); });
    std::printf("\n");
  }
  for (const std::size_t kib : {32, 256, 768, 2048, 4096, 8192, 16384, 65536, 262144}) {
    const Chain chain(kib << 10);
    std::printf("load, %6zu KiB", kib);
    for (const int processor : first == last ? std::vector{first} : std::vector{first, last}) {
      run_on(processor);
      print_samples(repeats, [&] { return chain.nanoseconds_per_load(); });
    }
    std::printf("\n");
  }
  return 0;
}
