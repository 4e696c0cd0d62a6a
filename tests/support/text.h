// Texts as streams and as lines.
#pragma once

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace vex::test {

// An open file that holds the text; whoever takes it closes it.
inline std::FILE* stream_of(const std::string& text) {
  std::FILE* file = std::tmpfile();
  std::fwrite(text.data(), 1, text.size(), file);
  std::rewind(file);
  return file;
}

// All that was written to the file, which is closed.
inline std::string contents_of(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int c; (c = std::fgetc(file)) != EOF;) text.push_back(static_cast<char>(c));
  std::fclose(file);
  return text;
}

inline std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace vex::test
