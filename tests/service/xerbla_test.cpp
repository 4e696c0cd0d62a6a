// The error handler's circle of names and hooks, and the progress callback's.
#include "service/xerbla.h"

#include <gtest/gtest.h>

#include <limits>

#include "service/progress.h"
#include "tests/support/fresh_process.h"

namespace {

using vex::test::in_fresh_process;

const vex_xerbla_handler all_entries[] = {
    xerbla, xerbla_, XERBLA, XERBLA_, cdecl_xerbla, vex_serv_iface_xerbla, vex_serv_xerbla};

int calls;

// A handler that reports every error once more, through each way into the library.
void pass_on(const char* name, const vex_int* code, vex_int length) {
  ++calls;
  for (const auto entry : all_entries) entry(name, code, length);
}

constexpr char nobody_answers[] = "\nKorva VEX ERROR: Parameter 3 was incorrect on entry to DGETRF.\n";

void report_3(vex_xerbla_handler entry) {
  const vex_int code = 3;
  entry("DGETRF", &code, 6);
}

}  // namespace

TEST(Xerbla, ACodeFindsTheWrongTextOrANameIsReadPastItsEnd) {
  const char unterminated[4] = {'D', 'G', 'E', 'R'};
  const struct {
    const char* name;
    vex_int length, code;
    const char* text;
  } cases[] = {{"DGETRS", 6, 1000, "INTERNAL ERROR: Insufficient workspace available in function DGETRS."},
               {"DGETRS", 6, 1001, "ERROR: Incompatible optional parameters on entry to DGETRS."},
               {"DGETRS", 6, 1102, "INTERNAL ERROR: Not enough work memory in function DGETRS"},
               {"DGETRS", 6, 1225, "INTERNAL ERROR: Issue accessing coprocessor DGETRS."},
               {"DGETRS", 6, 1103, "ERROR: Parameter 1103 was incorrect on entry to DGETRS."},
               {"DGETRS", 6, 0, "INTERNAL ERROR: Condition 0 detected in function DGETRS."},
               {"DGETRS", 6, -3, "INTERNAL ERROR: Condition 3 detected in function DGETRS."},
               {"DGETRS", 6, std::numeric_limits<vex_int>::min(),  // its low 32 bits
                "INTERNAL ERROR: Condition 0 detected in function DGETRS."},
               {unterminated, 4, 5, "ERROR: Parameter 5 was incorrect on entry to DGER."},
               {"ABCDEFGHIJKLMNOPQRSTUVWXYZABCD", 30, 5,
                "ERROR: Parameter 5 was incorrect on entry to ABCDEFGHIJKLMNOPQRST."},
               {"DGEMM", 20, 5, "ERROR: Parameter 5 was incorrect on entry to DGEMM."},
               {"DGEMM", 0, 5, "ERROR: Parameter 5 was incorrect on entry to ."},
               // The high half of a 32-bit caller's length is noise.
               {"DGEMM", (vex_int{7} << 32) + 5, 5, "ERROR: Parameter 5 was incorrect on entry to DGEMM."}};
  for (const auto& row : cases)
    EXPECT_EQ(in_fresh_process([&] { vex_serv_default_xerbla(row.name, &row.code, row.length); }).output,
              std::string("\nKorva VEX ") + row.text + "\n");
  EXPECT_EQ(in_fresh_process([] {
              const vex_int five = 5, negative = -1;
              vex_serv_default_xerbla("DGEMM", &five, negative);
              vex_serv_default_xerbla(nullptr, &five, five);
              vex_serv_xerbla("DGEMM", nullptr, 5);
            }).output,
            "");
}

TEST(Xerbla, AnEntryPrintsTwiceOrNotAtAll) {
  for (const auto entry : all_entries)
    for (const auto installed : all_entries)  // by the standard entry points, and by a program
      EXPECT_EQ(in_fresh_process([=] {
                  report_3(entry);
                  vex_set_xerbla_interface(installed);
                  vex_serv_set_xerbla(vex_serv_set_xerbla(nullptr));
                  report_3(entry);
                }).output,
                std::string(nobody_answers) + nobody_answers);
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
  for (const auto entry : {vex_progress, vex_progress_, VEX_PROGRESS, VEX_PROGRESS_, cdecl_progress})
    EXPECT_EQ(ask(entry), 13);
  vex_serv_set_progress(nullptr);
  EXPECT_EQ(vex_serv_set_progress(nullptr), vex_serv_default_progress);
  EXPECT_EQ(ask(vex_progress_), 0);
}
