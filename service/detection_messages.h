// The numbered messages that a detection rule asks its caller to print: rules themselves stay free of output.
#pragma once

#include <array>

#include "service/messages.h"

namespace vex::service {

enum DetectionMessage : int {
  unknown_branch_warning = 1222,
  below_minimum_error = 1223,
  sse3_required_error = 1450,
  ssse3_deprecated_warning = 1453,
  avx_deprecated_warning = 1454
};

struct MessageList {
  std::array<int, 4> ids{};
  int count = 0;

  void add(DetectionMessage id) { ids[static_cast<unsigned>(count++)] = id; }
  void append(const MessageList& other) {
    for (int i = 0; i < other.count; ++i)
      ids[static_cast<unsigned>(count++)] = other.ids[static_cast<unsigned>(i)];
  }
  void print() const {
    for (int i = 0; i < count; ++i) vex_serv_print(0, ids[static_cast<unsigned>(i)], 0);
  }
};

}  // namespace vex::service
