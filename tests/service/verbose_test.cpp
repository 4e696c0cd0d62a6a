// Tracing and the version texts: wording by tables, everything that is read once in processes of its own.
#include "service/verbose.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <thread>
#include <tuple>

#include "service/verbose_text.h"
#include "service/version.h"
#include "tests/support/fresh_process.h"
#include "tests/support/run_program.h"
#include "tests/support/text.h"

namespace {

using namespace vex::test;
using namespace vex::service;

constexpr char too_long_or_empty[] = "VEX_VERBOSE WARNING: incorrect output filename: too long or empty\n";
constexpr char unopenable[] = "VEX_VERBOSE WARNING: Unable to open verbose output file.\n";
constexpr char print_to_stdout[] = "VEX_VERBOSE WARNING: unable to open output file. Print to STDOUT\n";

}  // namespace

TEST(VerboseMode, AValueThatIsNoModeTurnsTracingOn) {
  for (const auto& [value, mode] : {std::pair("0", 0), {"1", 1}, {"0x1", 1}, {"0X2", 2}, {"02", 2}})
    EXPECT_EQ(vex::service::parse_verbose_mode(value), mode) << value;
  for (const char* none : {"3", "-1", "0x3", "1a", "1 ", "\"1\"", "0x", "08", "\t", "\x01", "4294967297",
                           "1\xff", "99999999999999999999999", "-18446744073709551615"})
    EXPECT_EQ(vex::service::parse_verbose_mode(none), 0) << none;
}

TEST(VerboseText, ADurationOrASettingReadsDifferently) {
  const std::tuple<double, int, const char*> cases[] = {
      {-1.0, 1, "0.00s CNR:OFF"},      {1.5, 2, "1.50s CNR:AUTO"},     {1.0, 3, "1000.00ms CNR:COMPATIBLE"},
      {1e-3, 4, "1000.00us CNR:SSE2"}, {1e-6, 7, "1000ns CNR:SSE4_1"}, {1.5e-6, 12, "1.50us CNR:AVX512"},
      {4e-10, 14, "0ns CNR:?e"}};
  for (const auto& [seconds, branch, shown] : cases)
    EXPECT_EQ(call_information(seconds, {branch, false, 1, true, 0, 4, {4, 4, 4, 4}}).text(),
              shown + std::string(" Dyn:1 FastMM:1 TID:0  NThr:4"));
  EXPECT_STREQ(call_information(2, {10, true, 0, false, 12, 8, {2, 8, 16, 1}}).text(),
               "2.00s CNR:AVX2,STRICT Dyn:0 FastMM:0 TID:12 NThr:8,BLAS:2,ELEM:16,PARDISO:1");
  constexpr int wide = -1234567890;
  EXPECT_EQ(call_information(1e308, {-1, true, wide, true, wide, wide, {1, 1, 1, 1}}).length(), 399u);
}

TEST(VerboseText, TheHeaderNamesAnotherVersionOrInterface) {
  vex_version version;
  vex_serv_get_version(&version);
  version.processor = "any processors";
  const std::string product =
      "VEX_VERBOSE VEX 2024.0 Update 2 Patch 1 Product build 20240722 for Korva(R) 64 architecture any "
      "processors, Lnx 2.10GHz";
  for (const auto& [code, name] :
       {std::pair(0, ""), {-1, " cdecl"}, {1, " lp64"}, {2, " ilp64"}, {31, " iface1f"}})
    EXPECT_EQ(header_text(code, version, 2.0999).text(), product + name + " korva_thread");
}

TEST(Version, AStringIsCutOrPaddedInTheWrongPlace) {
  const std::string text =
      "Korva(R) Aptum VEX Library Version 2024.2.1-Product Build 20240722 for Korva(R) 64 architecture "
      "applications";
  const int whole = static_cast<int>(text.size());
  for (int length : {-1, 0, 1, whole, whole + 1, 600}) {
    const std::size_t width = static_cast<std::size_t>(std::max(length, 0));
    std::string fixed(700, '#'), terminated = fixed, padded = text;
    vex_serv_get_version_string(fixed.data(), length);
    vex_serv_get_version_string_c(terminated.data(), length);
    padded.resize(width, ' ');
    EXPECT_EQ(fixed, padded.append(700 - width, '#')) << length;
    std::string shown = length > 0 ? text.substr(0, width - 1) + '\0' : "";
    EXPECT_EQ(terminated, shown.append(700 - shown.size(), '#')) << length;
  }
}

TEST(TraceFile, LinesOfThreadsThatTraceAtOnceMixOrGetLost) {
  const ScratchDirectory scratch;
  for (const std::string& file : {std::string(), scratch.path() + "/trace"}) {
    const auto result = in_fresh_process([&] {
      setenv("VEX_VERBOSE_OUTPUT_FILE", file.c_str(), 1);
      std::vector<std::jthread> threads;
      for (int t = 0; t < 16; ++t)
        threads.emplace_back([t] {
          const std::string call =
              "CALL(" + std::string(static_cast<std::size_t>(1 + 25 * t), static_cast<char>('a' + t)) + ")";
          for (int i = 0; i < 200; ++i) vex_serv_print_verbose_info(1, call.c_str(), 0.5);
        });
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    const std::vector<std::string> lines = lines_of(file.empty() ? result.output : read_file(file));
    ASSERT_EQ(lines.size(), 1u + 16u * 200u);
    EXPECT_EQ(lines[0].rfind("VEX_VERBOSE VEX 2024.0 Update 2", 0), 0u) << lines[0];
    const std::regex shape(
        "VEX_VERBOSE CALL\\((.)\\1*\\) 500\\.00ms CNR:\\S+ Dyn:[01] FastMM:[01] TID:0  NThr:\\d+");
    std::map<std::size_t, int> count;
    for (std::size_t i = 1; i < lines.size(); ++i) {
      ASSERT_TRUE(std::regex_match(lines[i], shape)) << lines[i];
      ++count[lines[i].find(')')];
    }
    EXPECT_EQ(count.size(), 16u);
    for (const auto& [width, times] : count) EXPECT_EQ(times, 200) << width;
  }
}

TEST(TraceFile, AFileThatCannotBeWrittenLosesTheTraceOrGoesUnreported) {
  const ScratchDirectory scratch;
  const std::string &directory = scratch.path(), gone = directory + "/sub";
  const auto trace = [](const char* call) { vex_serv_print_verbose_info(0, call, 0.5); };
  for (const auto& [name, warning] : {std::pair(directory, unopenable),
                                      {directory + "/none/trace", unopenable},
                                      {std::string(4095, 'x'), unopenable},
                                      {std::string(4096, 'x'), too_long_or_empty}}) {
    const auto result = in_fresh_process([&, name = name] {
      setenv("VEX_VERBOSE_OUTPUT_FILE", name.c_str(), 1);
      trace("CALL()");
    });
    EXPECT_EQ(result.errors, warning) << name.size();
    EXPECT_EQ(lines_of(result.output).size(), 2u) << name.size();
  }

  // The program's own names, which win over the environment's: a good one, two bad ones, and one whose
  // directory vanishes after it was taken.
  const std::string chosen = directory + "/chosen", environment = directory + "/environment";
  const auto result = in_fresh_process([&] {
    setenv("VEX_VERBOSE_OUTPUT_FILE", environment.c_str(), 1);
    std::printf("%d", vex_serv_verbose_output_file(chosen.c_str()));
    trace("FIRST()");
    for (const char* name : {static_cast<const char*>(nullptr), directory.c_str()})
      std::printf("%d", vex_serv_verbose_output_file(name));
    trace("SECOND()");
    std::filesystem::create_directory(gone);
    vex_serv_verbose_output_file((gone + "/trace").c_str());
    std::filesystem::remove_all(gone);
    trace("THIRD()");
  });
  EXPECT_EQ(lines_of(read_file(chosen)).size(), 2u);  // the header and a call
  EXPECT_FALSE(std::filesystem::exists(environment));
  const std::regex fallen_back("011VEX_VERBOSE SECOND.*\nVEX_VERBOSE THIRD.*\n");
  EXPECT_TRUE(std::regex_match(result.output, fallen_back)) << result.output;
  EXPECT_EQ(result.errors, std::string(too_long_or_empty) + unopenable + print_to_stdout);
}
