// The error handler's circle of names and hooks, and the progress callback's.
#include "service/xerbla.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "service/progress.h"
#include "tests/support/fresh_process.h"

namespace {

using vex::test::in_fresh_process;

std::string printed_for(const char* name, vex_int code, vex_int length) {
  return in_fresh_process([=] { vex_serv_default_xerbla(name, &code, length); }).output;
}

int calls;
vex_int last_code;

void count_call(const char*, const vex_int* code, vex_int) {
  ++calls;
  last_code = *code;
}

// A handler that reports every error once more, through each way into the library.
void pass_on(const char* name, const vex_int* code, vex_int length) {
  ++calls;
  for (const auto entry :
       {xerbla, xerbla_, XERBLA, XERBLA_, cdecl_xerbla, vex_serv_iface_xerbla, vex_serv_xerbla}) {
    entry(name, code, length);
  }
}

constexpr char nobody_answers[] = "\nKorva VEX ERROR: Parameter 3 was incorrect on entry to DGETRF.\n";

void report_3(vex_xerbla_handler entry) {
  const vex_int code = 3;
  entry("DGETRF", &code, 6);
}

const vex_xerbla_handler all_entries[] = {
    xerbla, xerbla_, XERBLA, XERBLA_, cdecl_xerbla, vex_serv_iface_xerbla, vex_serv_xerbla};

}  // namespace

TEST(Xerbla, ACodeFindsTheWrongText) {
  constexpr vex_int lowest = std::numeric_limits<vex_int>::min();
  const struct {
    vex_int code;
    const char* text;
  } cases[] = {
      {1000, "Korva VEX INTERNAL ERROR: Insufficient workspace available in function DGETRS."},
      {1001, "Korva VEX ERROR: Incompatible optional parameters on entry to DGETRS."},
      {1102, "Korva VEX INTERNAL ERROR: Not enough work memory in function DGETRS"},
      {1225, "Korva VEX INTERNAL ERROR: Issue accessing coprocessor DGETRS."},
      {1, "Korva VEX ERROR: Parameter 1 was incorrect on entry to DGETRS."},
      {1103, "Korva VEX ERROR: Parameter 1103 was incorrect on entry to DGETRS."},
      {0, "Korva VEX INTERNAL ERROR: Condition 0 detected in function DGETRS."},
      {-3, "Korva VEX INTERNAL ERROR: Condition 3 detected in function DGETRS."},
      {lowest, "Korva VEX INTERNAL ERROR: Condition 0 detected in function DGETRS."},  // its low 32 bits
  };
  for (const auto& row : cases) {
    EXPECT_EQ(printed_for("DGETRS", row.code, 6), std::string("\n") + row.text + "\n") << row.code;
  }
}

TEST(Xerbla, ANameIsReadPastItsEnd) {
  const std::string shown = "Korva VEX ERROR: Parameter 5 was incorrect on entry to ";
  const char unterminated[4] = {'D', 'G', 'E', 'R'};
  EXPECT_EQ(printed_for(unterminated, 5, 4), "\n" + shown + "DGER.\n");
  EXPECT_EQ(printed_for("ABCDEFGHIJKLMNOPQRSTUVWXYZABCD", 5, 30), "\n" + shown + "ABCDEFGHIJKLMNOPQRST.\n");
  EXPECT_EQ(printed_for("DGEMM", 5, 20), "\n" + shown + "DGEMM.\n");
  EXPECT_EQ(printed_for("DGEMM", 5, 0), "\n" + shown + ".\n");
  EXPECT_EQ(printed_for("DGEMM", 5, -1), "");
  EXPECT_EQ(printed_for(nullptr, 5, 5), "");
  // The high half of a 32-bit caller's length is noise.
  EXPECT_EQ(printed_for("DGEMM", 5, (vex_int{7} << 32) + 5), "\n" + shown + "DGEMM.\n");
  EXPECT_EQ(in_fresh_process([] { vex_serv_xerbla("DGEMM", nullptr, 5); }).output, "");
}

TEST(Xerbla, AnEntryPrintsTwiceOrNotAtAll) {
  for (const auto entry : all_entries) {
    EXPECT_EQ(in_fresh_process([=] { report_3(entry); }).output, nobody_answers);
    // As the standard entry points do, and a program that restores what it was given.
    for (const auto installed : all_entries) {
      EXPECT_EQ(in_fresh_process([=] {
                  vex_set_xerbla_interface(installed);
                  vex_serv_set_xerbla(vex_serv_set_xerbla(nullptr));
                  report_3(entry);
                }).output,
                nobody_answers);
    }
  }
}

TEST(Xerbla, AHandlerThatPassesErrorsOnGoesRoundInACircle) {
  const auto result = in_fresh_process([] {
    calls = 0;
    vex_serv_set_xerbla(pass_on);
    report_3(vex_serv_xerbla);
    report_3(xerbla_);
    std::exit(calls);
  });
  EXPECT_EQ(result.status, 2);
  std::string expected;
  for (int i = 0; i < 14; ++i) expected += nobody_answers;
  EXPECT_EQ(result.output, expected);
}

TEST(Xerbla, ACallerWith32BitIntegersReportsNoise) {
  vex_serv_set_xerbla(count_call);
  const std::int32_t code_and_noise[2] = {4, 0x5a5a5a5a};
  vex_int code;
  std::memcpy(&code, code_and_noise, sizeof code);
  XERBLA_("DGEMM", &code, 5);
  EXPECT_EQ(last_code, 4);
  vex_serv_set_xerbla(nullptr);
}

TEST(Progress, AnAnswerIsLostOrTheCallbackCircles) {
  const int thread = 0, step = 7;
  const auto ask = [&](vex_progress_callback entry) { return entry(&thread, &step, "DGETRF", 6); };
  vex_serv_set_progress(nullptr);
  vex_serv_set_progress_interface(cdecl_progress);
  EXPECT_EQ(ask(vex_serv_progress), 0);

  EXPECT_EQ(vex_serv_set_progress([](const int* t, const int* s, const char* stage, vex_int length) {
              if (VEX_PROGRESS(t, s, stage, length) != 0) return -1;
              return *s + static_cast<int>(length);
            }),
            cdecl_progress);
  for (const auto entry : {vex_progress, vex_progress_, VEX_PROGRESS, VEX_PROGRESS_, cdecl_progress}) {
    EXPECT_EQ(ask(entry), 13);
  }
  vex_serv_set_progress(nullptr);
  EXPECT_EQ(vex_serv_set_progress(nullptr), vex_serv_default_progress);
  EXPECT_EQ(ask(vex_progress_), 0);
}
