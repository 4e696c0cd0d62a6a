// VEX_CBWR as text, as a setting, and as the process that reads it sees it.
#include "service/reproducibility.h"

#include <atomic>
#include <map>
#include <thread>

#include "service/cleanup.h"
#include "service/cpu_dispatch.h"
#include "service/cpu_predicates.h"
#include "service/message_table.h"
#include "tests/support/alone.h"
#include "tests/support/recorded_processor.h"

namespace vex::service {
namespace {

using test::in_process_on;
using test::recorded;

TEST(Cbwr, ATextReadsAsAnotherSetting) {
  const std::map<int, std::vector<std::string_view>> known = {
      {2, {"AUTO"}},
      {0x10002, {"AUTO,STRICT"}},
      {3, {"COMPATIBLE"}},
      {4, {"SSE2", "SSE3", "SSSE3"}},
      {7, {"SSE4_1"}},
      {8, {"SSE4_2", "AVX"}},
      {10, {"AVX2", "AVX512_HCX", "AVX512_HCX_E1"}},
      {12, {"AVX512"}},
      {14, {"AVX512_E1"}},
      {0x1000A, {"AVX2,STRICT", "AVX2, \tSTRICT", "BRANCH=AVX2,STRICT"}}};
  for (const auto& [setting, texts] : known)
    for (const std::string_view text : texts) {
      EXPECT_EQ(cbwr_setting(parse_cbwr(text), 0), setting) << text;
      // A branch that the processor cannot honour: automatic, with the flag.
      EXPECT_EQ(cbwr_setting(parse_cbwr(text), -3), 2 | (setting & cbwr_strict)) << text;
    }
  for (const std::string_view unknown :  // which lose the flag
       {"AVX2STRICT", "AVX2 ,STRICT", "AVX2,STRICT ", "AVX2,STRICT,STRICT", "STRICT", "BRANCH=,STRICT",
        "BRANCH=BRANCH=AVX2", "avx2", "AVX512_E2", "10"})
    EXPECT_EQ(cbwr_setting(parse_cbwr(unknown), 0), 2) << unknown;
  EXPECT_EQ(cbwr_setting(parse_cbwr(""), -3), 1);
}

TEST(Cbwr, ABranchThatTheProcessorLacksIsAccepted) {
  const struct {
    const char* processor;
    int fine, highest;
    std::string_view codes;  // of branches 0 to 15, without their signs
  } rows[] = {{"SSE2", -1, -4, "3333333333333332"},
              {"SSE3", 0, 4, "2200033333333332"},
              {"SSE4.1", 2, 7, "2200000033333332"},
              {"SSE4.2", 3, 8, "2200000003333332"},
              {"AVX2", 5, 10, "2200000000033332"},
              {"hybrid without AVX-512", 15, 10, "2200000000033332"},
              {"AVX-512", 7, 12, "2200000000030332"},
              {"AMX-FP16", 16, 14, "2200000000030302"},
              {"another vendor, everything", 0, 2, "2200333333333332"}};
  for (const auto& row : rows) {
    const Processor processor = read_processor(test::play(recorded(row.processor)));
    EXPECT_EQ(highest_cbwr_branch(processor, row.fine), row.highest) << row.processor;
    for (int branch = 0; branch < 16; ++branch) {
      const CbwrCheck check = check_cbwr(processor, row.fine, branch);
      EXPECT_EQ(check.code, '0' - row.codes[static_cast<std::size_t>(branch)]) << row.processor << branch;
      EXPECT_EQ(check_cbwr(processor, row.fine, branch | cbwr_strict).code, check.code);
      const bool warns = check.code == 0 && processor.korva && (branch == 6 || branch == 9);
      EXPECT_EQ(check.messages.count, warns ? 1 : 0);
    }
    EXPECT_EQ(check_cbwr(processor, row.fine, 0x20002).code, -3);
  }
}

// Those of the messages on detection that the output holds, each as often as it does.
std::vector<int> messages_in(const std::string& output) {
  std::vector<int> found;
  for (const int id : {1222, 1223, 1450, 1453, 1454}) {
    const std::string text = built_in_message(id) + std::string("\n");
    for (std::size_t at = output.find(text); at != std::string::npos; at = output.find(text, at + 1))
      found.push_back(id);
  }
  return found;
}

TEST(DetectionProcess, TheEnvironmentLeadsToAnotherPath) {
  if (!test::alone()) return;
  const std::string over_long(200, 'A');
  const struct {
    const char* processor;
    const char* ceiling;
    const char* cbwr;
    const char* types;
    std::vector<int> messages;
  } rows[] = {
      {"AVX-512 VNNI", nullptr, nullptr, "1 7 9", {}},
      {"AVX-512 VNNI", over_long.c_str(), over_long.c_str(), "1 7 9", {}},
      {"AMX-FP16", "AVX512_E5", "AVX512_E1", "e 7 9", {}},
      {"AVX-512", nullptr, "AVX512_E1,STRICT", "10002 7 9", {}},
      {"AVX-512", "SSE4_2", "AVX2", "2 3 5", {}},  // the ceiling lowers what the processor can honour
      {"AVX-512", "AVX", "AVX", "8 3 5", {1454}},
      {"another vendor, everything", "AVX", "COMPATIBLE", "3 0 2", {}},
  };
  for (const auto& row : rows) {
    const test::ProcessResult result = in_process_on(recorded(row.processor), row.ceiling, row.cbwr, [] {
      const int type = vex_serv_cpu_detect();
      std::printf("types: %x %d %d\n", vex_serv_cbwr_get(-1), type, vex_serv_elem_cpu_detect());
    });
    EXPECT_TRUE(result.output.ends_with(std::string("types: ") + row.types + "\n"))
        << row.processor << ": " << result.output << " for " << row.types;
    EXPECT_EQ(messages_in(result.output), row.messages) << result.output;
  }
}

TEST(DetectionProcess, TheSetterIsHeardTooLateOrNotAtAll) {
  if (!test::alone()) return;
  const test::ProcessResult result = in_process_on(recorded("AVX-512"), nullptr, "AVX2", [] {
    for (const int what : {0, 2, -1, 1}) std::printf("%d ", vex_serv_cbwr_get(what));
    // Before detection, even though the environment has been read.
    for (const int setting : {14, 11, 15, 0x20003, -7, 0x10001})
      std::printf("%d ", vex_serv_cbwr_set(setting));
    std::printf("still %d\n", vex_serv_cbwr_get(1));
    for (const int setting : {0, 1, 2, 6, 9, 0x1000C}) {
      const int code = vex_serv_cbwr_set(setting);
      std::printf("%d:%x ", code, vex_serv_cbwr_get(-1));
    }
    std::printf("detects %d, ", vex_serv_cpu_detect());
    for (const int setting : {0x1000C, 12, 1, 99}) std::printf("%d ", vex_serv_cbwr_set(setting));
    std::printf("%x\n", vex_serv_cbwr_get(-1));
  });
  EXPECT_EQ(messages_in(result.output), std::vector<int>({1453, 1454}));
  for (const char* line : {"-2 -2 10 10 -3 -3 -2 -3 -2 -2 still 10\n", "0:1 0:1 0:2 ", "0:6 ",
                           "0:9 0:1000c detects 7, 0 -8 -8 -8 1000c\n"})
    EXPECT_NE(result.output.find(line), std::string::npos) << line << " in:\n" << result.output;
}

TEST(DetectionProcess, BelowTheMinimumTheLibraryRunsOrHangs) {
  if (!test::alone()) return;
  for (int (*const door)() : {vex_serv_cpu_detect, +[] { return vex_serv_get_cpu_type(1); }}) {
    const test::ProcessResult result = in_process_on(recorded("SSE2"), "AVX2", "AVX2", [=] { door(); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(messages_in(result.output), std::vector<int>({1223, 1450}));
  }
  // An exit handler that comes back, and one that asks the library once more.
  const test::ProcessResult survivor = in_process_on(recorded("SSE2"), nullptr, nullptr, [] {
    vex_serv_set_exit_handler([](int code) { std::printf("handler %d %d;", code, vex_serv_cpu_detect()); });
    const int type = vex_serv_cpu_detect();
    std::printf("then %d %d %d", type, vex_serv_elem_cpu_detect(), vex_serv_cbwr_get_auto_branch());
  });
  EXPECT_TRUE(survivor.output.ends_with("handler 1 0;then 0 0 -4")) << survivor.output;
}

TEST(DetectionProcess, ThreadsThatAskAtOnceSeeDifferentAnswers) {
  if (!test::alone()) return;
  const test::ProcessResult result = in_process_on(recorded("AVX-512 FP16"), "AVX512_E1", "AUTO,STRICT", [] {
    std::vector<std::jthread> team;
    std::vector<int> sums(32);
    std::atomic<bool> go{false};
    for (std::size_t i = 0; i < sums.size(); ++i)
      team.emplace_back([&sums, &go, i] {
        while (!go.load(std::memory_order_relaxed)) std::this_thread::yield();
        // Each starts at another door.
        int (*const doors[])() = {
            vex_serv_cpu_detect,   vex_serv_elem_cpu_detect,      vex_serv_korva_cpu,
            vex_serv_cpuisvnnigen, vex_serv_cbwr_get_auto_branch, vex_serv_get_microarchitecture};
        for (std::size_t door = 0; door < 6; ++door) sums[i] += doors[(i + door) % 6]();
        sums[i] += vex_serv_cbwr_get(1) + vex_serv_get_cpu_type(1);
      });
    go.store(true, std::memory_order_relaxed);
    team.clear();
    for (const int sum : sums)
      if (sum != sums[0]) std::printf("%d instead of ", sum);
    std::printf("%d", sums[0]);
  });
  EXPECT_EQ(result.errors, "");  // where the thread sanitizer reports
  EXPECT_EQ(result.output, std::to_string(7 + 9 + 1 + 1 + 14 + 1024 + 2 + 9));
}

}  // namespace
}  // namespace vex::service
