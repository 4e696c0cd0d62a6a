// The print family, and the reader of formats that keeps it from arguments that are not there.
#include "service/messages.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>

#include "service/format.h"
#include "service/message_table.h"
#include "tests/support/fresh_process.h"

using namespace vex::service;
using vex::test::in_fresh_process;

TEST(Messages, ATextCannotBeFormatted) {
  int texts = 0;
  for (int id = 0; id < message_count; ++id) {
    const std::string text = built_in_message(id);
    texts += !text.empty();
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
    vex_serv_print(1, 0, 0);
  });
  EXPECT_EQ(result.output,
            "\nWarning: incorrect parameter Problem size (-7),\n"
            "Maximum memory requested that can be used=18446744073709551615, at the size=4000000000\n");
  EXPECT_EQ(result.errors, "Korva VEX ERROR: CPU 4 is not supported.\n\n");
}

TEST(Messages, ATextIsReadOutsideTheTableOverflowsTheBufferOrTakesAMissingArgument) {
  for (const int id : {3, 1455, INT_MAX, -1, INT_MIN}) {
    EXPECT_EQ(in_fresh_process([id] { vex_serv_print(0, id, 2, "a", 1); }).output, "\n") << id;
    EXPECT_STREQ(vex_serv_get_msg(id, 0), "");
  }
  for (const std::size_t length : {511u, 512u, 100000u}) {
    const std::string text(length, 'x'), kept(511, 'x');
    EXPECT_EQ(vex_serv_get_msg(0x42F, 1, text.c_str()), kept);
    EXPECT_EQ(in_fresh_process([&] { vex_serv_format_print(0, text.c_str(), 1, 0); }).output, kept);
  }
  EXPECT_STREQ(vex_serv_get_msg(6, 1, 1), "Korva VEX ERROR: Parameter %d was incorrect on entry to %s.");
  EXPECT_EQ(in_fresh_process([] { vex_serv_print(0, 0x42F, 0); }).output, "%s\n");
  EXPECT_EQ(in_fresh_process([] { vex_serv_format_print(0, "%d%n", 2, 1, nullptr); }).output, "%d%n");
}

TEST(Formats, ArgumentsAreMiscounted) {
  const std::map<int, std::vector<const char*>> formats = {
      {0, {"", "100%%"}},
      {1, {"%%%d%%", "%#08.3Lf", "% +'5d"}},
      {3, {"%-*.*f", "%zu%jd%td"}},
      {-1, {"%n", "%d%hn", "%1$s", "%", "%y", "%l", "a%.", "%d %*"}}};
  for (const auto& [count, texts] : formats)
    for (const char* text : texts) EXPECT_EQ(count_format_arguments(text), count) << text;
}

TEST(Formats, TextsWithOtherArgumentsAgree) {
  for (const auto& [one, other] :
       {std::pair("%d is %s", "%i: %-10s!"), {"%8.3f", "%e"}, {"none", "keiner %%"}})
    EXPECT_TRUE(formats_agree(one, other) && formats_agree(other, one)) << other;
  for (const char* other : {"%s", "%ld", "%u", "%*d", "%2147483647d", "%n", "%1$d", "%d%", "", "%d %d"})
    EXPECT_FALSE(formats_agree("%d", other) || formats_agree(other, "%d")) << other;
  EXPECT_FALSE(formats_agree("%f", "%Lf") || formats_agree("%.3f", "%.9999f"));
}
