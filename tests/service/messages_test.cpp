// The print family, and the reader of formats that keeps it from arguments that are not there.
#include "service/messages.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "service/format.h"
#include "service/message_table.h"
#include "tests/support/fresh_process.h"
#include "tests/support/text.h"

namespace {

using vex::service::count_format_arguments;
using vex::service::formats_agree;
using vex::test::in_fresh_process;

}  // namespace

TEST(Messages, ATextCannotBeFormatted) {
  int texts = 0;
  for (int id = 0; id < vex::service::message_count; ++id) {
    const std::string text = vex::service::built_in_message(id);
    if (!text.empty()) ++texts;
    EXPECT_GE(count_format_arguments(text.c_str()), 0) << id;
    EXPECT_LT(text.size(), 512u) << id;
  }
  EXPECT_EQ(texts, 44);
}

TEST(Messages, AMessageGoesToTheWrongStreamOrLosesItsLineBreak) {
  const auto result = in_fresh_process([] {
    vex_serv_print(0, 0, 0);
    vex_serv_print(0, 0x443, 2, "Problem size", -7);
    vex_serv_print(2, 0x433, 2, 18446744073709551615ull, 4000000000u);
    vex_serv_print(1, 1226, 1, 4);
    vex_serv_print(0, 0x42E, 1, "");
    vex_serv_print(1, 0, 0);
    vex_serv_print(0, 0x4E5 + 1, 7, 1, 22, 4, 0.5, 1234.56789, 1e-300, 2.5);
  });
  EXPECT_EQ(
      result.output,
      "\nWarning: incorrect parameter Problem size (-7),\n"
      "Maximum memory requested that can be used=18446744073709551615, at the size=4000000000\n"
      "This binary version of the SMP QUARLEN benchmark is optimized for and runs on only genuine Korva "
      "processors\n"
      "1      22     4      0.500      1234.5679 1.000000e-300 2.500000e+00   FAIL\n");
  EXPECT_EQ(result.errors, "Korva VEX ERROR: CPU 4 is not supported.\n\n");
}

TEST(Messages, ANumberWithoutATextIsReadOutsideTheTable) {
  for (const int id : {3, 5, 1069, 1455, 100000, INT_MAX, -1, INT_MIN}) {
    EXPECT_EQ(in_fresh_process([id] { vex_serv_print(0, id, 2, "a", 1); }).output, "\n") << id;
    EXPECT_STREQ(vex_serv_get_msg(id, 0), "");
  }
}

TEST(Messages, ALongTextOverflowsTheBuffer) {
  for (const std::size_t length : {510u, 511u, 512u, 513u, 100000u}) {
    const std::string text(length, 'x');
    const std::string kept(std::min<std::size_t>(length, 511), 'x');
    EXPECT_EQ(in_fresh_process([&] { vex_serv_print(0, 0x42F, 1, text.c_str()); }).output, kept + "\n");
    EXPECT_EQ(vex_serv_get_msg(0x42F, 1, text.c_str()), kept);
    EXPECT_EQ(in_fresh_process([&] { vex_serv_format_print(0, text.c_str(), 1, 0); }).output, kept);
  }
}

TEST(Messages, AMissingArgumentIsReadAnyway) {
  EXPECT_STREQ(vex_serv_get_msg(6, 1, 1), "Korva VEX ERROR: Parameter %d was incorrect on entry to %s.");
  EXPECT_EQ(in_fresh_process([] { vex_serv_print(0, 0x42F, 0); }).output, "%s\n");
  EXPECT_EQ(in_fresh_process([] { vex_serv_format_print(0, "%s and %s", 1, "one"); }).output, "%s and %s");
  EXPECT_EQ(in_fresh_process([] { vex_serv_format_print(0, "%d%n", 2, 1, nullptr); }).output, "%d%n");
}

TEST(Formats, ArgumentsAreMiscounted) {
  const struct {
    const char* format;
    int count;
  } cases[] = {{"", 0},         {"100%%", 0},  {"%%%d%%", 1}, {"%-*.*f", 3},    {"%#08.3Lf", 1},
               {"%hhd%lld", 2}, {"% +'5d", 1}, {"%s%c%p", 3}, {"%zu%jd%td", 3}, {"%n", -1},
               {"%d%hn", -1},   {"%1$s", -1},  {"%", -1},     {"%5", -1},       {"%y", -1},
               {"%l", -1},      {"a%.", -1},   {"%%%", -1},   {"%d %*", -1}};
  for (const auto& row : cases) EXPECT_EQ(count_format_arguments(row.format), row.count) << row.format;
}

TEST(Formats, TextsWithOtherArgumentsAgree) {
  const std::pair<const char*, const char*> agreeing[] = {
      {"%d is %s", "%i: %-10s!"}, {"%8.3f", "%e"}, {"%u", "%#x"}, {"none", "keiner %%"}};
  const std::pair<const char*, const char*> others[] = {
      {"%d %s", "%s %d"}, {"%s", "%s %s"},        {"%s", ""},          {"%d", "%ld"},  {"%d", "%u"},
      {"%d", "%*d"},      {"%s", "%2147483647s"}, {"%.3f", "%.9999f"}, {"%d", "%1$d"}, {"%d", "%n"},
      {"%d", "%d%"},      {"%f", "%Lf"}};
  for (const auto& [one, other] : agreeing)
    EXPECT_TRUE(formats_agree(one, other) && formats_agree(other, one)) << one << " | " << other;
  for (const auto& [one, other] : others)
    EXPECT_FALSE(formats_agree(one, other) || formats_agree(other, one)) << one << " | " << other;
}
