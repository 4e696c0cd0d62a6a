// The public face: libvex.so exports what the header declares and what the version script lists, neither more
// nor less, and a C program gets along with the header and the library alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <regex>
#include <set>
#include <string>

// Every internal header that shares a function with the public one: conflicting prototypes do not compile.
#include "service/buffer_cache.h"
#include "service/cache_size.h"
#include "service/cleanup.h"
#include "service/clock.h"
#include "service/cpu_dispatch.h"
#include "service/frequency.h"
#include "service/instruction_ceiling.h"
#include "service/memory.h"
#include "service/progress.h"
#include "service/reproducibility.h"
#include "service/system_allocator.h"
#include "service/thread_count.h"
#include "service/verbose.h"
#include "service/version.h"
#include "service/xerbla.h"
#include "tests/support/run_program.h"
#include "vex.h"

namespace {

using namespace vex::test;
using Names = std::set<std::string>;

Names all_matches(const std::string& text, const std::string& expression) {
  const std::regex pattern(expression);
  Names names;
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
    names.insert((*match)[1]);
  return names;
}

// The functions that the header declares: the name before the parameters, or every name of a list.
Names declared() {
  const std::string header =
      std::regex_replace(read_file(SOURCE_DIR "/include/vex.h"), std::regex("/\\*[^]*?\\*/"), "");
  const std::regex declaration("\nVEX_API\\s+([^;]*);");
  Names names;
  for (std::sregex_iterator match(header.begin(), header.end(), declaration), end; match != end; ++match) {
    const std::string text = (*match)[1];
    const Names found = text.find('(') != std::string::npos ? all_matches(text, "^[^(]*?(\\w+)\\s*\\([^]*$")
                                                            : all_matches(text, "(\\w+)\\s*(?:,|$)");
    names.insert(found.begin(), found.end());
  }
  return names;
}

Names difference(const Names& a, const Names& b) {
  Names names;
  std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(names, names.begin()));
  return names;
}

ProgramResult run(const std::string& command) {
  return run_program({.program = "/bin/sh", .arguments = {"-c", command + " 2>&1"}});
}

std::string quoted(const std::string& text) {
  return "'" + text + "'";
}

}  // namespace

#ifdef VEX_SHARED_LIBRARY

TEST(Exports, ANameIsMissingOrEscapes) {
  const ProgramResult symbols = run("nm -D --defined-only " + quoted(VEX_SHARED_LIBRARY));
  ASSERT_EQ(symbols.status, 0) << symbols.output;
  const Names exported = all_matches(symbols.output, " [A-Z] (\\w+)");
  const std::string map =
      std::regex_replace(read_file(SOURCE_DIR "/cmake/libvex.map"), std::regex("#[^\n]*"), "");
  const Names listed = all_matches(map, "(\\w+);");
  const Names promised = declared();
  EXPECT_GT(promised.size(), 70u);
  EXPECT_EQ(difference(listed, promised), Names()) << "in one of version script and header only";
  EXPECT_EQ(difference(exported, promised), Names()) << "in one of library and header only";
}

TEST(Exports, ACProgramDoesNotBuildOrGetsWrongAnswers) {
  const ScratchDirectory directory;
  const std::string program = directory.path() + "/program",
                    source = SOURCE_DIR "/tests/structure/public_header.c";
  const std::string folder = std::filesystem::path(VEX_SHARED_LIBRARY).parent_path();
  std::string compile = quoted(COMPILER) + " -Wall -Wextra -Wpedantic -Wstrict-prototypes -Werror -I" +
                        quoted(SOURCE_DIR "/include") + " -x c -std=c11 " + quoted(source);
  const std::string sanitize = SANITIZE;
  if (!sanitize.empty()) compile += " -fsanitize=" + sanitize;
  const ProgramResult built = run(compile + " -x none -o " + program + " -L" + quoted(folder) +
                                  " -lvex -Wl,-rpath," + quoted(folder));
  ASSERT_EQ(built.status, 0) << built.output;
  const ProgramResult result = run(program);
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(result.output, "");
}

#endif

TEST(Exports, TheHeaderIsNotCpp) {
  const ProgramResult checked = run("echo '#include \"vex.h\"' | " + quoted(COMPILER) +
                                    " -std=c++11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I" +
                                    quoted(SOURCE_DIR "/include") + " -x c++ -");
  EXPECT_EQ(checked.status, 0) << checked.output;
}
