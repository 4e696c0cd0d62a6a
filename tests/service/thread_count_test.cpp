// Thread settings: what the environment asks for, how setters and environment meet, and the rule over both.
#include "service/thread_count.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "service/cleanup.h"
#include "service/platform.h"
#include "service/thread_environment.h"
#include "service/topology.h"
#include "tests/support/alone.h"
#include "tests/support/fresh_process.h"

namespace {

using namespace vex::service;
using Variables = std::map<std::string, std::string>;

Variables variables;

int read_variable(const char* name, char* buffer, int capacity) {
  const std::string value = variables.count(name) ? variables[name] : "";
  const int length = static_cast<int>(value.size());
  const bool fits = length < capacity;
  std::memcpy(buffer, fits ? value.c_str() : "", fits ? value.size() + 1 : 1);
  return fits ? length : -length;
}

ThreadEnvironment reading(Variables set) {
  variables = std::move(set);
  return read_thread_environment(read_variable);
}

struct NumberCase {
  const char* text;
  int thread_count;  // VEX_NUM_THREADS and OMP_NUM_THREADS
  int stripes;       // VEX_NUM_STRIPES
  int mpi_level;     // K_MPI_THREAD_LEVEL
};

}  // namespace

TEST(ThreadEnvironment, NumbersAreReadAsEachVariableReadsThem) {
  const NumberCase cases[] = {
      {"", -1, -1, -1},
      {"0", -1, 0, 0},
      {"3", 3, 3, 3},
      {"4", 4, 4, 0},
      {"007", 7, 7, 0},
      {"4x", 1, -1, 0},
      {"-1", 1, -1, 0},
      {" 4", 1, -1, 0},
      {"4,2", 1, -1, 0},
      {"2147483647", INT_MAX, INT_MAX, 0},
      {"2147483648", INT_MAX, INT_MAX, 0},
      {"99999999999999999999", INT_MAX, INT_MAX, 0},
      {"4294967297", INT_MAX, INT_MAX, 0},
  };
  for (const NumberCase& c : cases) {
    SCOPED_TRACE(c.text);
    const ThreadEnvironment env = reading({{"VEX_NUM_THREADS", c.text},
                                           {"OMP_NUM_THREADS", c.text},
                                           {"VEX_NUM_STRIPES", c.text},
                                           {"K_MPI_THREAD_LEVEL", c.text}});
    EXPECT_EQ(env.num_threads, c.thread_count);
    EXPECT_EQ(env.omp_num_threads, c.thread_count);
    EXPECT_EQ(env.num_stripes, c.stripes);
    EXPECT_EQ(env.mpi_thread_level, c.mpi_level);
  }
  EXPECT_EQ(reading({{"VEX_NUM_THREADS", std::string(255, '0') + "2"}}).num_threads, 2);
  EXPECT_EQ(reading({{"VEX_NUM_THREADS", std::string(256, '0') + "2"}}).num_threads, -1)
      << "longer than is read";
}

TEST(ThreadEnvironment, DomainListsAreCutWhereTheySay) {
  struct Case {
    const char* text;
    int threads[domain_count];  // ALL, BLAS, FFT, ELEM, PARDISO
  };
  const Case cases[] = {
      {"VEX_DOMAIN_ALL=2,VEX_DOMAIN_BLAS=4", {2, 4, -1, -1, -1}},
      {"  \"VEX_DOMAIN_ALL 2;VEX_DOMAIN_FFT = = 3:VEX_DOMAIN_ELEM==5' 'VEX_DOMAIN_PARDISO=6\"",
       {2, -1, 3, 5, 6}},
      {"VEX_DOMAIN_BLAS=4x,VEX_DOMAIN_FFT=-2", {-1, 1, 1, -1, -1}},
      {"VEX_DOMAIN_BLAS=0,VEX_DOMAIN_BLAS=3,VEX_DOMAIN_BLAS=5",
       {-1, 3, -1, -1, -1}},  // the first that counts
      {"OTHER=9,VEX_DOMAIN_BLAS=2,vex_domain_fft=7,VEX_DOMAIN_BLASX=8", {-1, 2, -1, -1, -1}},
      {"=2,VEX_DOMAIN_BLAS=4", {-1, -1, -1, -1, -1}},  // an empty name ends the list
      {"VEX_DOMAIN_FFT,VEX_DOMAIN_BLAS=4,VEX_DOMAIN_ALL=3", {3, -1, -1, -1, -1}},  // "," does not end a name
      {"VEX_DOMAIN_BLAS=,VEX_DOMAIN_FFT=2", {-1, -1, 2, -1, -1}},
      {"VEX_DOMAIN_BLAS=2=3", {-1, 1, -1, -1, -1}},
      {"VEX_DOMAIN_BLAS=99999999999", {-1, INT_MAX, -1, -1, -1}},
      {"VEX_DOMAIN_BLAS", {-1, -1, -1, -1, -1}},
      {"VEX_DOMAIN_BLAS= ", {-1, -1, -1, -1, -1}},
      {"VEX_DOMAIN_BLAS\"=2", {-1, -1, -1, -1, -1}},
      {"VEX_DOMAIN_BLAS\t=2", {-1, -1, -1, -1, -1}},
      {",;: '\"", {-1, -1, -1, -1, -1}},
  };
  for (const Case& c : cases) {
    const ThreadEnvironment env = reading({{"VEX_DOMAIN_NUM_THREADS", c.text}});
    for (int d = 0; d < domain_count; ++d)
      EXPECT_EQ(env.domain_threads[d], c.threads[d]) << c.text << " domain " << d;
  }
}

TEST(ThreadEnvironment, OnlyTwoSpellingsTurnDynamicOff) {
  for (const char* off : {"FALSE", "false", " \"false\" ", "'FALSE' 'TRUE'", "\"FALSE"})
    EXPECT_EQ(reading({{"VEX_DYNAMIC", off}}).dynamic, 0) << off;
  for (const char* on :
       {"", "TRUE", "0", "False", "FALSE,", "FALS", "FALSE\t", "no FALSE", " \"", "FALSEFALSE"})
    EXPECT_EQ(reading({{"VEX_DYNAMIC", on}}).dynamic, 1) << on;
}

TEST(ThreadEnvironment, TheFirstLauncherWithAPositiveCountWins) {
  const char* const names[] = {"VEX_MPI_PPN", "K_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE", "K_MPI_PIN_MAPPING",
                               "OMPI_COMM_WORLD_LOCAL_SIZE", "MPI_LOCALNRANKS"};
  struct Case {
    const char* values[5];  // in the order of names
    int processes;
  };
  const Case cases[] = {
      {{"", "", "", "", ""}, -1},
      {{"2", "3", "4:x", "5", "6"}, 2},
      {{"0", "3", "4:x", "5", "6"}, 3},
      {{"2x", "-3", "4:x", "5", "6"}, 4},
      {{"", "", "4", "5", "6"}, 5},
      {{"", "", "0:1", "0", "6"}, 6},
      {{"", "", "4 :1", "5x", "6"}, 6},
      {{"", "", ":", "", "0"}, -1},
      {{"", "", "x4:", "", "6 "}, -1},
      {{"", "", "8:0 1,9", "5", ""}, 8},
      {{"99999999999", "", "", "", ""}, INT_MAX},
  };
  for (const Case& c : cases) {
    Variables set;
    for (int i = 0; i < 5; ++i) set[names[i]] = c.values[i];
    EXPECT_EQ(reading(set).processes_per_node, c.processes)
        << c.values[0] << "|" << c.values[1] << "|" << c.values[2];
  }
}

TEST(ThreadRule, EachStepOverridesTheLaterOnes) {
  struct Case {
    const char* what;
    int domain;
    ThreadSettings settings;
    bool in_parallel;
    int runtime_maximum;
    int expected;
  };
  const auto on16 = [](auto... change) {
    ThreadSettings s;
    s.physical_cores = 16;
    (change(s), ...);
    return s;
  };
  const auto fixed = [](ThreadSettings& s) { s.dynamic = false; };
  const auto all = [](int n) { return [n](ThreadSettings& s) { s.all = n; }; };
  const auto own = [](int n) { return [n](ThreadSettings& s) { s.domain = n; }; };
  const auto omp = [](int n) { return [n](ThreadSettings& s) { s.omp_num_threads = n; }; };
  const auto safe = [](int n) { return [n](ThreadSettings& s) { s.mpi_safe = n; }; };
  const auto mpi = [](int ppn, int level) {
    return [=](ThreadSettings& s) { s.processes_per_node = ppn, s.mpi_thread_level = level; };
  };
  const Case cases[] = {
      {"runtime's count", -1, on16(), false, 12, 12},
      {"runtime's count, capped", -1, on16(), false, 32, 16},
      {"a setting, capped", -1, on16(all(32)), false, 4, 16},
      {"a setting, dynamic off", -1, on16(all(32), fixed), false, 4, 32},
      {"inside a region", -1, on16(all(8)), true, 4, 1},
      {"inside a region, dynamic off", -1, on16(all(8), fixed), true, 4, 8},
      {"the domain's own", 1, on16(all(2), own(4)), false, 12, 4},
      {"ALL where the domain has none", 2, on16(all(2)), false, 12, 2},
      {"ALL where the domain is cleared", 2, on16(all(2), own(0)), false, 12, 2},
      {"everything cleared", 2, on16(all(0), own(0)), false, 12, 12},
      {"ALL asked about", 0, on16(all(3)), false, 12, 3},
      {"one process of four, no thread level", -1, on16(mpi(4, -1)), false, 32, 1},
      {"one process of four, level 0", -1, on16(mpi(4, 0)), false, 32, 1},
      {"one process of four, level 1", -1, on16(mpi(4, 1)), false, 32, 4},
      {"a smaller runtime's count, level 3", -1, on16(mpi(4, 3)), false, 2, 2},
      {"more processes than cores", -1, on16(mpi(40, 3)), false, 32, 1},
      {"four processes, dynamic off", -1, on16(mpi(4, 3), fixed), false, 32, 32},
      {"four processes, count set", -1, on16(mpi(4, 0), all(10)), false, 32, 10},
      {"four processes, OMP_NUM_THREADS", -1, on16(mpi(4, 0), omp(10)), false, 10, 10},
      {"safe", -1, on16(mpi(4, 0), safe(1)), false, 32, 16},
      {"unsafe", -1, on16(all(8), safe(0)), false, 32, 1},
      {"unsafe, dynamic off", -1, on16(all(8), safe(0), fixed), false, 32, 8},
  };
  static bool in_parallel;
  static int maximum;
  for (const Case& c : cases) {
    in_parallel = c.in_parallel;
    maximum = c.runtime_maximum;
    const ThreadRuntime runtime = {[] { return int{in_parallel}; }, [] { return maximum; }};
    EXPECT_EQ(threads_for_domain(c.domain, c.settings, runtime), c.expected) << c.what;
  }
}

namespace {

// In a process of its own, on a machine of 64 cores, with little in the environment but `set`.
std::string in_process(const Variables& set, const std::function<void()>& body) {
  const auto result = vex::test::in_fresh_process([&] {
    clearenv();
    setenv("LANG", "C", 1);  // an OpenMP runtime may not survive an environment with nothing in it
    for (const auto& [name, value] : set) setenv(name.c_str(), value.c_str(), 1);
    Platform machine = real_platform;
    machine.open_cpuinfo = [] {
      std::FILE* text = std::tmpfile();
      for (int i = 0; i < 64; ++i)
        std::fputs("processor : 0\nphysical id : 0\nsiblings : 64\ncpu cores : 64\n", text);
      std::rewind(text);
      return text;
    };
    set_platform(&machine);
    body();
  });
  EXPECT_EQ(result.status, 0) << result.errors;
  return result.output;
}

void print_counts() {
  for (int domain = -1; domain < domain_count; ++domain)
    std::printf("%d ", vex_serv_domain_get_max_threads(domain));
}

}  // namespace

TEST(ThreadCount, SettersBeforeTheFirstQueryWinOverTheEnvironment) {
  if (!vex::test::alone()) return;
  const Variables env = {{"VEX_NUM_THREADS", "8"},
                         {"VEX_DOMAIN_NUM_THREADS", "VEX_DOMAIN_ALL=2,VEX_DOMAIN_BLAS=4,VEX_DOMAIN_FFT=5"},
                         {"VEX_DYNAMIC", "FALSE"},
                         {"VEX_NUM_STRIPES", "7"}};
  EXPECT_EQ(in_process(env, print_counts), "8 8 4 5 8 8 ");
  EXPECT_EQ(in_process(env, [] { std::printf("%d %d", vex_serv_get_dynamic(), vex_serv_get_num_stripes()); }),
            "0 7");
  EXPECT_EQ(in_process(env,
                       [] {
                         vex_serv_set_num_threads(0);
                         vex_serv_set_num_threads(-3);
                         vex_serv_set_num_threads(6);
                         std::printf("%d%d%d ", vex_serv_domain_set_num_threads(3, domain_fft),
                                     vex_serv_domain_set_num_threads(-1, domain_blas),
                                     vex_serv_domain_set_num_threads(9, 5));
                         std::printf("%d ", vex_serv_domain_set_num_threads(9, -1));
                         vex_serv_set_num_stripes(-1);
                         std::printf("%d ", vex_serv_set_dynamic(5));
                         print_counts();
                         std::printf("%d %d", vex_serv_get_dynamic(), vex_serv_get_num_stripes());
                       }),
            "100 0 1 6 6 4 3 6 6 1 7");
  EXPECT_EQ(in_process(env,
                       [] {
                         vex_serv_get_max_threads();
                         setenv("VEX_NUM_THREADS", "9", 1);  // too late
                         vex_serv_domain_set_num_threads(0, domain_blas);
                         vex_serv_domain_set_num_threads(11, domain_elem);
                         print_counts();
                       }),
            "8 8 8 5 11 8 ");
}

TEST(ThreadCount, EveryQueryReadsAndCountsFirst) {
  if (!vex::test::alone()) return;
  EXPECT_EQ(in_process({{"VEX_MPI_PPN", "3"}}, [] { std::printf("%d", vex_serv_mpi_get_ppn()); }), "3");
  EXPECT_EQ(in_process({}, [] { std::printf("%d", vex_serv_mpi_get_ppn()); }), "-1");
  EXPECT_EQ(in_process({}, [] { std::printf("%d", vex_serv_get_ncpus()); }), "1");
  EXPECT_EQ(in_process({}, [] { std::printf("%d", vex_serv_get_ncorespercpu()); }), "64");
  EXPECT_EQ(in_process({}, [] { std::printf("%d", vex_serv_get_ht()); }), "0");
  EXPECT_EQ(in_process({}, [] { std::printf("%d", vex_serv_get_nlogicalcores()); }), "64");
  EXPECT_EQ(in_process({{"VEX_NUM_THREADS", "8"}},
                       [] {
                         std::printf("%d", vex_serv_mpi_safe(2));
                         std::printf("%d", vex_serv_get_max_threads());
                         std::printf("%d", vex_serv_mpi_safe(1));
                         std::printf("%d", vex_serv_get_max_threads());
                       }),
            "0118");
}

TEST(ThreadCount, AnOverrideIsItsThreadsOwnAndGoesWithTheKey) {
  if (!vex::test::alone()) return;
  const auto out = in_process({{"VEX_NUM_THREADS", "8"}}, [] {
    std::printf("%d ", vex_serv_set_num_threads_local(0));
    std::printf("%d ", vex_serv_set_num_threads_local(100));  // beyond the cores, all the same
    std::printf("%d ", vex_serv_get_max_threads());
    std::thread([] {
      std::printf("%d ", vex_serv_get_max_threads());
      std::printf("%d ", vex_serv_set_num_threads_local(3));
      std::printf("%d ", vex_serv_domain_get_max_threads(domain_blas));
    }).join();
    std::printf("%d ", vex_serv_get_max_threads());
    std::printf("%d ", vex_serv_set_num_threads_local(-1));
    std::printf("%d ", vex_serv_get_max_threads());
    vex_serv_set_num_threads_local(5);
    vex_serv_thr_cleanup();
    std::printf("%d ", vex_serv_get_max_threads());
    std::printf("%d ", vex_serv_set_num_threads_local(4));
    std::printf("%d", vex_serv_get_max_threads());
  });
  EXPECT_EQ(out, "0 0 100 8 0 3 100 100 8 8 0 4");
}

TEST(ThreadCount, ManyFirstQueriesAtOnceCountOnce) {
  if (!vex::test::alone()) return;
  const auto out = in_process({{"VEX_NUM_THREADS", "8"}}, [] {
    std::atomic<int> sum{0};
    std::vector<std::thread> crowd;
    for (int i = 0; i < 56; ++i)
      crowd.emplace_back([&, i] {
        if (i % 2) vex_serv_set_num_threads_local(2);
        sum += vex_serv_get_max_threads() + vex_serv_get_ncorespercpu();
      });
    for (std::thread& thread : crowd) thread.join();
    std::printf("%d", sum.load());
  });
  EXPECT_EQ(out, std::to_string(56 * 64 + 28 * 8 + 28 * 2));
}
