// Catches what the error handler is told while it lives.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "service/xerbla.h"

namespace vex::test {

class CaughtReports {
 public:
  CaughtReports() : before_(vex_serv_set_xerbla(note)) { list().clear(); }
  ~CaughtReports() { vex_serv_set_xerbla(before_); }

  // Routine name and code of each report so far.
  static std::vector<std::pair<std::string, vex_int>>& list() {
    static std::vector<std::pair<std::string, vex_int>> reports;
    return reports;
  }

  // The same as "NAME:CODE ", one after the other.
  static std::string text() {
    std::string all;
    for (const auto& [name, code] : list()) all += name + ":" + std::to_string(code) + " ";
    return all;
  }

 private:
  static void note(const char* name, const vex_int* code, vex_int length) {
    list().emplace_back(std::string(name, static_cast<std::size_t>(static_cast<int>(length))), *code);
  }

  vex_xerbla_handler before_;
};

}  // namespace vex::test
