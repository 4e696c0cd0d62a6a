// Whole reports of the built program: what it makes of an input file, and what it prints from it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <numeric>
#include <string>
#include <vector>

#include "tests/driver/expected_report.h"
#include "tests/support/run_program.h"

namespace vex::test {
namespace {

// Runs the program beside a file that holds `input`. Returns the report, masked, and the exit status.
std::string report_of(const std::string& input, ProgramRun run = {.program = {}, .arguments = {"in.dat"}}) {
  const ScratchDirectory directory;
  directory.write("in.dat", input);
  run.program = QUARLEN_PROGRAM;
  run.directory = directory.path();
  run.environment = {{"OMP_NUM_THREADS", "2"}};
  // Under a sanitizer, too, a request for too much memory is to be answered with null.
  for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS"}) {
    const char* options = std::getenv(name);
    run.environment.emplace_back(name, std::string(options ? options : "") + ":allocator_may_return_null=1");
  }
  const ProgramResult result = run_program(run);
  return masked(result.output) + "[status " + std::to_string(result.status) + "]\n";
}

constexpr const char *tests = "Number of tests", *size = "Number of equations to solve (problem size)",
                     *size_to_skip = "Problem size", *dimension = "Leading dimension of array",
                     *trials = "Number of trials to run", *alignment = "Data alignment value (in Kbytes)";
constexpr int max_order = 1500000000;

std::string too_small(const char* name, int value, int bound) {
  return warning(name, value, "less", bound, bound);
}
std::string too_big(const char* name, int value, int bound, int taken) {
  return warning(name, value, "bigger", bound, taken);
}

std::vector<int> one_to(int last) {
  std::vector<int> values(static_cast<std::size_t>(last));
  std::iota(values.begin(), values.end(), 1);
  return values;
}

// A line of the input file.
std::string line_of(const std::vector<int>& values) {
  std::string line;
  for (const int value : values) line += std::to_string(value) + " ";
  return line + "\n";
}

const Parameters two_tests = {{10, 20}, {10, 20}, {1, 1}, {0, 0}};
const std::string memory_of_two_tests = "3600, at the size=20";
const std::string two_missing_values = too_small(size, 0, 1) + too_small(size, 0, 1) +
                                       too_small(dimension, 0, 1) + too_small(dimension, 0, 1) +
                                       too_small(trials, 0, 1) + too_small(trials, 0, 1);

struct InputFile {
  std::string title, lines;
  Parameters run;
  std::string memory;  // as expected_report takes it
  std::string warnings = {};

  std::string text() const { return "comment\n" + title + lines; }
};

const InputFile files[] = {
    {"Good tests\n",
     "3\n10 20 30\n10 21 40\n1 2 1\n0 4 64\n",
     {{10, 20, 30}, {10, 21, 40}, {1, 2, 1}, {0, 4, 64}},
     "75936, at the size=30"},
    {"Equal requests name the earlier\n",
     "2\n5 8\n14 10\n1 1\n0 0\n",
     {{5, 8}, {14, 10}, {1, 1}, {0, 0}},
     "840, at the size=5"},

    // The number of tests: only its low 32 bits are seen.
    {"None\n", "0\n10\n10\n1\n0\n", {}, "0, at the size=0"},
    {"Negative\n", "-3\n10\n10\n1\n0\n", {}, "0, at the size=0", too_small(tests, -3, 0)},
    {"Two in 32 bits\n", "4294967298\n10 20\n10 20\n1 1\n0 0\n", two_tests, memory_of_two_tests},
    {"Too many\n",
     "33\n" + line_of(one_to(33)) + line_of(one_to(33)) + line_of(std::vector<int>(33, 1)) +
         line_of(std::vector<int>(33, 0)),
     {one_to(32), one_to(32), std::vector<int>(32, 1), std::vector<int>(32, 0)},
     "8832, at the size=32",
     too_big(tests, 33, 32, 32)},

    // Values and what stands between them.
    {"Bases\n",
     "3\n0x10 010 +12\n0X11 011 12\n01 0x1 1\n0x4 00 07\n",
     {{16, 8, 12}, {17, 9, 12}, {1, 1, 1}, {4, 0, 7}},
     "8560, at the size=12"},
    {"Overflow\n",
     "3\n2147483648 4294967306 99999999999999999999\n1 4294967306 1\n"
     "1 4294967297 18446744073709551617\n0 0 -99999999999999999999\n",
     {{1, 10, 1}, {1, 10, 1}, {1, 1, 1}, {0, 0, 0}},
     "1000, at the size=10",
     too_small(size, -2147483647 - 1, 1) + too_small(size, -1, 1) + too_small(trials, -1, 1)},
    {"Words\n",
     "2\nten -\n0x 1e1\nx1 2x\n. 08\n",
     {{1, 1}, {1, 1}, {1, 2}, {0, 0}},
     "28, at the size=1",
     too_small(size, 0, 1) + too_small(size, 0, 1) + too_small(dimension, 0, 1) + too_small(trials, 0, 1)},
    {"More than asked for\n", "2 of many\n10 20 30 and more\n10 20 30 40 50\n1 1 7\n0 0 100 -1\n", two_tests,
     memory_of_two_tests},
    {"  Blanks  \n", "  +2\n   10    20  \n 10  20 \n 1 1 \n 0 0 \n", two_tests, memory_of_two_tests},
    {"\tTabbed, 100% %s%n%i\n", "2\n10\t99 20\n\t10 \t20\n1\t5 1\n0 0\n", two_tests, memory_of_two_tests},
    {std::string(255, 'x'),
     "1 is what remains\n10\n10\n1\n0\n",
     {{10}, {10}, {1}, {0}},
     "1000, at the size=10"},

    // What is missing counts as zero, but a missing line as what is left of the one before.
    {"\n", "2\n\n\n\n\n", {{1, 1}, {1, 1}, {1, 1}, {0, 0}}, "28, at the size=1", two_missing_values},
    {"Short\n",
     "3\n",
     {{3, 1, 1}, {3, 1, 1}, {3, 1, 1}, {3, 0, 0}},
     "3204, at the size=3",
     two_missing_values},
    {"Short\n", "1\n12 99 77", {{12}, {12}, {12}, {12}}, "13680, at the size=12"},
    {"Short\n", "2\n10 20\n11 20\n3 2\n", {{10, 20}, {11, 20}, {3, 2}, {3, 0}}, "4172, at the size=10"},
    {"No line break at the end\n",
     "2\n10 20\n11 20\n1 2\n4 0",
     {{10, 20}, {11, 20}, {1, 2}, {4, 0}},
     "5196, at the size=10"},

    // Corrections come line by line, those of sizes and dimensions against each other test by test.
    {"Every correction\n",
     "4\n0 -5 10 12\n0 3 4 12\n0 -1 1 1\n-1 65 2 0\n",
     {{1, 1, 10, 12}, {1, 3, 10, 12}, {1, 1, 1, 1}, {0, 64, 2, 0}},
     "65620, at the size=1",
     too_small(size, 0, 1) + too_small(size, -5, 1) + too_small(dimension, 0, 1) +
         too_small(dimension, 4, 10) + too_small(trials, 0, 1) + too_small(trials, -1, 1) +
         too_small(alignment, -1, 0) + too_big(alignment, 65, 64, 64)},
    {"Test by test\n",
     "4\n1500000001 1500000002 10 11\n1500000003 7 9 2000000000\n1 1 1 1\n0 0 0 0\n",
     {{0, 0, 10, 11}, {0, 7, 10, 11}, {1, 1, 1, 1}, {0, 0, 0, 0}},
     "1188, at the size=11",
     too_big(size_to_skip, max_order + 1, max_order, 0) + too_big(dimension, max_order + 3, max_order, 0) +
         too_big(size_to_skip, max_order + 2, max_order, 0) + too_small(dimension, 9, 10) +
         too_big(dimension, 2000000000, max_order, 11)},
};

TEST(Report, FollowsTheInputFile) {
  for (const InputFile& file : files)
    EXPECT_EQ(report_of(file.text()),
              file.title + "\n" + file.warnings + expected_report(file.run, file.memory) + "[status 0]\n");
}

TEST(Report, EndsWhereNoMemoryIsToBeHad) {
  const std::string skipped = too_big(size_to_skip, max_order + 1, max_order, 0);
  const struct {
    std::string lines, warnings;
    Parameters run;
    std::string end;
  } cases[] = {{"1\n1500000000\n1500000000\n1\n4\n",
                "",
                {{max_order}, {max_order}, {1}, {4}},
                "Maximum memory requested that can be used=18000000030000004096, at the size=1500000000\n"
                "Internal error in quarlen: memory leak\n"},
               {"1\n1500000001\n1500000001\n1\n0\n",
                skipped + too_big(dimension, max_order + 1, max_order, 0),
                {{0}, {0}, {1}, {0}},
                "Cannot run quarlen - not enough memory\n"},
               {"2\n1500000001 10\n1000 10\n1 1\n0 0\n",
                skipped,
                {{0, 10}, {1000, 10}, {1, 1}, {0, 0}},
                "Cannot run quarlen - not enough memory\n"}};
  for (const auto& c : cases)
    EXPECT_EQ(report_of("comment\nTitle\n" + c.lines),
              "Title\n\n" + c.warnings + expected_header(c.run) + c.end + "[status 255]\n");
}

TEST(Report, IsNotBegunWithoutANumberOfTests) {
  const std::string short_file = "comment\nShort\n", rest = "\n10\n10\n1\n0\n";
  for (const std::string& input :
       {std::string(), std::string("comment\n"), short_file, short_file + rest, short_file + "-" + rest,
        short_file + "three" + rest, short_file + "99999999999999999999" + rest,
        short_file + "-99999999999999999999" + rest})
    EXPECT_EQ(report_of(input), "Could not open file in.dat, aborted.\n[status 255]\n") << input;
}

TEST(Report, FromStandardInputIsTheSameAndNamesItInMessages) {
  EXPECT_EQ(report_of("", {.program = {}, .arguments = {}, .input = files[0].text()}),
            report_of(files[0].text()));
  for (const bool closed : {false, true})
    EXPECT_EQ(report_of("", {.program = {}, .arguments = {}, .input = "comment\n", .close_input = closed}),
              "Could not open file stdin, aborted.\n[status 255]\n");
}

// The list is a setting the runtime understands and the program does not: one thread per core is then the
// most.
TEST(Report, LeavesTheNumberOfThreadsAloneForANumberOnly) {
  for (const char* variable : {"999", " 999", "999,1"}) {
    ProgramRun run{.program = QUARLEN_PROGRAM, .arguments = {}, .input = "comment\nNone\n0\n"};
    run.environment = {{"OMP_NUM_THREADS", variable}};
    const std::string output = run_program(run).output;
    const auto value = [&output](const std::string& label) {
      const std::size_t at = output.find(label);
      return at == std::string::npos ? -1 : std::atoi(output.c_str() + at + label.size());
    };
    const bool is_list = std::string(variable) == "999,1";
    EXPECT_EQ(value("Number of threads: "), is_list ? value("Number of cores: ") : 999)
        << '"' << variable << '"';
  }
}

}  // namespace
}  // namespace vex::test
