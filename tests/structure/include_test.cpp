// The floors of the house, read from the #include lines: nothing includes upwards and nothing in a circle.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> floors = {"include", "service", "blas", "lapack", "driver"};

// Each project file with the project files that it includes, as paths relative to the root.
std::map<std::string, std::set<std::string>> includes() {
  std::map<std::string, std::set<std::string>> graph;
  const fs::path root = SOURCE_DIR;
  for (const std::string& floor : floors) {
    for (const auto& entry : fs::recursive_directory_iterator(root / floor)) {
      const std::string extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp") continue;
      std::set<std::string>& targets = graph[fs::relative(entry.path(), root)];
      std::ifstream file(entry.path());
      for (std::string line; std::getline(file, line);) {
        const std::string opening = "#include \"";
        if (line.rfind(opening, 0) != 0) continue;
        std::string target = line.substr(opening.size(), line.find('"', opening.size()) - opening.size());
        if (target == "vex.h") target = "include/vex.h";
        targets.insert(target);
      }
    }
  }
  return graph;
}

std::size_t floor_of(const std::string& file) {
  const std::string folder = file.substr(0, file.find('/'));
  for (std::size_t i = 0; i < floors.size(); ++i)
    if (floors[i] == folder) return i;
  return floors.size();
}

}  // namespace

TEST(Structure, NoFileIncludesAFloorAboveItsOwn) {
  const auto graph = includes();
  ASSERT_GT(graph.size(), 40u);
  for (const auto& [file, targets] : graph) {
    for (const std::string& target : targets) {
      EXPECT_TRUE(graph.contains(target)) << file << " includes \"" << target << "\", no file of the floors";
      EXPECT_LE(floor_of(target), floor_of(file)) << file << " includes " << target;
    }
  }
}

TEST(Structure, NoCirclesBetweenFiles) {
  auto graph = includes();
  const auto includes_no_file_left = [&](const auto& node) {
    return std::ranges::none_of(node.second,
                                [&](const std::string& target) { return graph.contains(target); });
  };
  while (std::erase_if(graph, includes_no_file_left) > 0) continue;
  for (const auto& [file, targets] : graph) ADD_FAILURE() << "in a circle or above one: " << file;
}

// What reaches past the operating system's door belongs to one room, so that any machine can be imitated.
TEST(Structure, OnlyThePlatformRoomTouchesTheMachine) {
  const std::vector<std::string> traces = {"/proc/",  "cpuid.h", "__cpuid",
                                           "__rdtsc", "_xgetbv", "x86intrin.h"};
  for (const auto& [file, targets] : includes()) {
    if (file == "service/platform.cpp") continue;
    std::ifstream stream(fs::path(SOURCE_DIR) / file);
    for (std::string line; std::getline(stream, line);) {
      const std::string code = line.substr(0, line.find("//"));
      for (const std::string& trace : traces)
        EXPECT_EQ(code.find(trace), std::string::npos) << file << ": " << line;
    }
  }
}
