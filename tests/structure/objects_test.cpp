// The objects of the code paths, as the linker sees them. A weak symbol is a function (or table) of which the
// linker keeps one copy for everybody; if the copy it keeps was compiled for wider instructions than the
// processor has, code far from any kernel dies. So a path's unit defines none whose name does not carry the
// path.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/run_program.h"
#include "tests/support/text.h"

namespace {

struct Symbol {
  std::string member, name;
  char type;
};

std::vector<Symbol> symbols_of(const std::string& archive) {
  std::vector<Symbol> symbols;
  const vex::test::ProgramResult listed = vex::test::run_program(
      {.program = "/usr/bin/env", .arguments = {"nm", "-A", "--defined-only", archive}});
  for (const std::string& text : vex::test::lines_of(listed.output)) {  // archive:member:address type name
    const std::size_t first = text.find(':'), second = text.find(':', first + 1);
    if (second == std::string::npos) continue;
    std::istringstream rest(text.substr(second + 1));
    std::string address, type, name;
    if (rest >> address >> type >> name)
      symbols.push_back({text.substr(first + 1, second - first - 1), name, type[0]});
  }
  return symbols;
}

// What compilers and sanitizers add. The names of types (_ZTI, _ZTS) are data: no instruction hides there.
bool of_the_tool_chain(const std::string& name) {
  for (const char* prefix :
       {"__asan", "__odr_asan", "__tsan", "__ubsan", "DW.ref.", "__clang", "_ZTI", "_ZTS"})
    if (name.rfind(prefix, 0) == 0) return true;
  return false;
}

TEST(PathObjects, SharedCodeCompiledForWiderInstructions) {
  const std::vector<Symbol> symbols = symbols_of(BINARY_DIR "/libvex.a");
  for (const std::string path : {"def", "cnr_def", "mc3", "avx2", "avx512"}) {
    int defined = 0;
    for (const Symbol& symbol : symbols) {
      if (symbol.member.rfind(path + ".cpp", 0) != 0 && symbol.member.rfind(path + "_", 0) != 0) continue;
      ++defined;
      const bool weak = symbol.type == 'W' || symbol.type == 'V' || symbol.type == 'u';
      EXPECT_FALSE(weak && symbol.name.find(path) == std::string::npos && !of_the_tool_chain(symbol.name))
          << path << ": " << symbol.name;
    }
    EXPECT_GT(defined, 10) << path << ": no such object in the library, or nm is missing";
  }
}

}  // namespace
