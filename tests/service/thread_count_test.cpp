// Thread settings: what the environment asks for, how setters and environment meet, and the rule over both.
#include "service/thread_count.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <map>
#include <thread>

#include "service/cleanup.h"
#include "service/platform.h"
#include "service/thread_environment.h"
#include "service/topology.h"
#include "tests/support/alone.h"
#include "tests/support/fresh_process.h"
#include "tests/support/text.h"

namespace {

using namespace vex::service;
using Variables = std::map<std::string, std::string>;

Variables variables;

int read_variable(const char* name, char* buffer, int capacity) {
  const int length = static_cast<int>(variables[name].size());
  std::strcpy(buffer, length < capacity ? variables[name].c_str() : "");
  return length < capacity ? length : -length;
}

ThreadEnvironment reading(Variables set) {
  variables = std::move(set);
  return read_thread_environment(read_variable);
}

TEST(ThreadEnvironment, ANumberIsReadAsAnotherVariableReadsIt) {
  const struct {
    const char* text;
    int thread_count;  // VEX_NUM_THREADS and OMP_NUM_THREADS
    int stripes;       // VEX_NUM_STRIPES
    int mpi_level;     // K_MPI_THREAD_LEVEL
  } cases[] = {{"", -1, -1, -1}, {"0", -1, 0, 0},  {"3", 3, 3, 3},    {"4", 4, 4, 0},
               {"4x", 1, -1, 0}, {"-1", 1, -1, 0}, {"4,2", 1, -1, 0}, {"4294967297", INT_MAX, INT_MAX, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(reading({{"VEX_NUM_THREADS", c.text}}).num_threads, c.thread_count) << c.text;
    EXPECT_EQ(reading({{"OMP_NUM_THREADS", c.text}}).omp_num_threads, c.thread_count) << c.text;
    EXPECT_EQ(reading({{"VEX_NUM_STRIPES", c.text}}).num_stripes, c.stripes) << c.text;
    EXPECT_EQ(reading({{"K_MPI_THREAD_LEVEL", c.text}}).mpi_thread_level, c.mpi_level) << c.text;
  }
  EXPECT_EQ(reading({{"VEX_NUM_THREADS", std::string(255, '0') + "2"}}).num_threads, 2);
  EXPECT_EQ(reading({{"VEX_NUM_THREADS", std::string(256, '0') + "2"}}).num_threads, -1);  // not read
}

TEST(ThreadEnvironment, ADomainListIsCutInTheWrongPlace) {
  const struct {
    const char* text;
    int threads[domain_count];  // ALL, BLAS, FFT, ELEM, PARDISO
  } cases[] = {
      {"  \"VEX_DOMAIN_ALL 2;VEX_DOMAIN_FFT = = 3:VEX_DOMAIN_ELEM==5' 'VEX_DOMAIN_PARDISO=6\"",
       {2, -1, 3, 5, 6}},
      {"VEX_DOMAIN_BLAS=0,VEX_DOMAIN_BLAS=3,VEX_DOMAIN_BLAS=5", {-1, 3, -1, -1, -1}},
      {"OTHER=9,VEX_DOMAIN_BLAS=2,vex_domain_fft=7,VEX_DOMAIN_BLASX=8", {-1, 2, -1, -1, -1}},
      {"=2,VEX_DOMAIN_BLAS=4", {-1, -1, -1, -1, -1}},  // an empty name ends the list
      {"VEX_DOMAIN_FFT,VEX_DOMAIN_BLAS=4,VEX_DOMAIN_ALL=3", {3, -1, -1, -1, -1}},  // "," does not end a name
      {"VEX_DOMAIN_BLAS=,VEX_DOMAIN_FFT=2", {-1, -1, 2, -1, -1}},
      {"VEX_DOMAIN_BLAS=2=3,VEX_DOMAIN_FFT=99999999999", {-1, 1, INT_MAX, -1, -1}},
  };
  for (const auto& c : cases) {
    const ThreadEnvironment env = reading({{"VEX_DOMAIN_NUM_THREADS", c.text}});
    EXPECT_TRUE(std::ranges::equal(env.domain_threads, c.threads)) << c.text;
  }
}

TEST(ThreadEnvironment, AThirdSpellingTurnsDynamicOff) {
  for (const char* off : {"FALSE", "false", " \"false\" ", "'FALSE' 'TRUE'", "\"FALSE"})
    EXPECT_EQ(reading({{"VEX_DYNAMIC", off}}).dynamic, 0) << off;
  for (const char* on : {"", "0", "False", "FALSE,", "FALS", "FALSE\t", "no FALSE", " \"", "FALSEFALSE"})
    EXPECT_EQ(reading({{"VEX_DYNAMIC", on}}).dynamic, 1) << on;
}

TEST(ThreadEnvironment, ALauncherWithoutACountWins) {
  const char* const names[] = {"VEX_MPI_PPN", "K_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE", "K_MPI_PIN_MAPPING",
                               "OMPI_COMM_WORLD_LOCAL_SIZE", "MPI_LOCALNRANKS"};
  const struct {
    const char* values[5];  // in the order of names
    int processes;
  } cases[] = {{{"2", "3", "4:x", "5", "6"}, 2},   {{"0", "3", "4:x", "5", "6"}, 3},
               {{"2x", "-3", "4:x", "5", "6"}, 4}, {{"", "", "4", "5", "6"}, 5},
               {{"", "", "4 :1", "5x", "6"}, 6},   {{"", "", "x4:", "", "6 "}, -1},
               {{"", "", "8:0 1,9", "5", ""}, 8},  {{"99999999999", "", "", "", ""}, INT_MAX}};
  for (const auto& c : cases) {
    Variables set;
    for (int i = 0; i < 5; ++i) set[names[i]] = c.values[i];
    EXPECT_EQ(reading(set).processes_per_node, c.processes) << c.values[0] << "|" << c.values[2];
  }
}

TEST(ThreadRule, ALaterStepOverridesAnEarlierOne) {
  using S = ThreadSettings;
  const struct {
    const char* what;
    int domain;
    ThreadSettings settings;  // on 16 cores
    int runtime_maximum;      // negative: inside a parallel region
    int expected;
  } cases[] = {
      {"runtime's count", -1, S{}, 12, 12},
      {"runtime's count, capped", -1, S{}, 32, 16},
      {"a setting, capped", -1, S{.all = 32}, 4, 16},
      {"a setting, dynamic off", -1, S{.all = 32, .dynamic = false}, 4, 32},
      {"inside a region", -1, S{.all = 8}, -4, 1},
      {"the domain's own", 1, S{.all = 2, .domain = 4}, 12, 4},
      {"ALL where the domain has none", 2, S{.all = 2}, 12, 2},
      {"four processes, level 0", -1, S{.processes_per_node = 4, .mpi_thread_level = 0}, 32, 1},
      {"four processes, level 1", -1, S{.processes_per_node = 4, .mpi_thread_level = 1}, 32, 4},
      {"more processes than cores", -1, S{.processes_per_node = 40, .mpi_thread_level = 3}, 32, 1},
      {"four processes, dynamic off", -1, S{.dynamic = false, .processes_per_node = 4}, 32, 32},
      {"four processes, count set", -1, S{.all = 10, .processes_per_node = 4}, 32, 10},
      {"four processes, OMP_NUM_THREADS", -1, S{.omp_num_threads = 10, .processes_per_node = 4}, 10, 10},
      {"safe", -1, S{.mpi_safe = 1, .processes_per_node = 4}, 32, 16},
      {"unsafe", -1, S{.all = 8, .mpi_safe = 0}, 32, 1},
  };
  static int maximum;
  const ThreadRuntime runtime = {[] { return int{maximum < 0}; }, [] { return std::abs(maximum); }};
  for (const auto& c : cases) {
    maximum = c.runtime_maximum;
    ThreadSettings settings = c.settings;
    settings.physical_cores = 16;
    EXPECT_EQ(threads_for_domain(c.domain, settings, runtime), c.expected) << c.what;
  }
}

// What body says in a process of its own, on a machine of 64 cores, with little in the environment but `set`.
std::string in_process(const Variables& set, const std::function<void()>& body) {
  const auto result = vex::test::in_fresh_process([&] {
    clearenv();
    setenv("LANG", "C", 1);  // an OpenMP runtime may not survive an environment with nothing in it
    for (const auto& [name, value] : set) setenv(name.c_str(), value.c_str(), 1);
    Platform machine = real_platform;
    machine.open_cpuinfo = [] {
      std::string text;
      for (int i = 0; i < 64; ++i) text += "processor:0\nphysical id:0\nsiblings:64\ncpu cores:64\n";
      return vex::test::stream_of(text);
    };
    set_platform(&machine);
    body();
  });
  EXPECT_EQ(result.status, 0) << result.errors;
  return result.output;
}

// Calls in the list are made from left to right.
void say(std::initializer_list<int> numbers) {
  for (const int number : numbers) std::printf("%d ", number);
}

void say_settings() {
  for (int domain = -1; domain < domain_count; ++domain) say({vex_serv_domain_get_max_threads(domain)});
  say({vex_serv_get_dynamic(), vex_serv_get_num_stripes()});
}

TEST(ThreadCount, TheEnvironmentWinsOverASetterOrIsReadTwice) {
  if (!vex::test::alone()) return;
  const Variables env = {{"VEX_NUM_THREADS", "8"},
                         {"VEX_DOMAIN_NUM_THREADS", "VEX_DOMAIN_ALL=2,VEX_DOMAIN_BLAS=4,VEX_DOMAIN_FFT=5"},
                         {"VEX_DYNAMIC", "FALSE"},
                         {"VEX_NUM_STRIPES", "7"}};
  EXPECT_EQ(in_process(env, say_settings), "8 8 4 5 8 8 0 7 ");
  const auto setters_first = [] {
    for (const int count : {0, -3, 6}) vex_serv_set_num_threads(count);
    say({vex_serv_domain_set_num_threads(3, domain_fft), vex_serv_domain_set_num_threads(-1, domain_blas),
         vex_serv_domain_set_num_threads(9, 5), vex_serv_domain_set_num_threads(9, -1)});
    vex_serv_set_num_stripes(-1);
    say({vex_serv_set_dynamic(5)});
    say_settings();
  };
  EXPECT_EQ(in_process(env, setters_first), "1 0 0 0 1 6 6 4 3 6 6 1 7 ");
  const auto setters_late = [] {
    vex_serv_get_max_threads();
    setenv("VEX_NUM_THREADS", "9", 1);  // too late
    vex_serv_domain_set_num_threads(0, domain_blas);
    vex_serv_domain_set_num_threads(11, domain_elem);
    say_settings();
  };
  EXPECT_EQ(in_process(env, setters_late), "8 8 8 5 11 8 0 7 ");
}

TEST(ThreadCount, AQueryAnswersBeforeItCounts) {
  if (!vex::test::alone()) return;
  int (*const questions[])() = {vex_serv_mpi_get_ppn, vex_serv_get_ncpus, vex_serv_get_ncorespercpu,
                                vex_serv_get_ht, vex_serv_get_nlogicalcores};
  std::string answers;
  for (const auto ask : questions) answers += in_process({{"VEX_MPI_PPN", "3"}}, [=] { say({ask()}); });
  EXPECT_EQ(answers, "3 1 64 0 64 ");
}

TEST(ThreadCount, AnOverrideReachesAnotherThreadOrOutlivesItsKey) {
  if (!vex::test::alone()) return;
  const auto out = in_process({{"VEX_NUM_THREADS", "8"}}, [] {
    say({vex_serv_set_num_threads_local(0), vex_serv_set_num_threads_local(100),
         vex_serv_get_max_threads()});  // beyond the cores, all the same
    std::thread([] {
      say({vex_serv_get_max_threads(), vex_serv_set_num_threads_local(3),
           vex_serv_domain_get_max_threads(domain_blas)});
    }).join();
    say({vex_serv_get_max_threads(), vex_serv_set_num_threads_local(-1), vex_serv_get_max_threads()});
    vex_serv_set_num_threads_local(5);
    vex_serv_thr_cleanup();
    say({vex_serv_get_max_threads(), vex_serv_set_num_threads_local(4), vex_serv_get_max_threads()});
  });
  EXPECT_EQ(out, "0 0 100 8 0 3 100 100 8 8 0 4 ");
}

}  // namespace
