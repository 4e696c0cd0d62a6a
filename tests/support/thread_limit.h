// Sets the calling thread's count for as long as it lives.
#pragma once

#include "service/thread_count.h"

namespace vex::test {

class ThreadLimit {
 public:
  explicit ThreadLimit(int count) : before_(vex_serv_set_num_threads_local(count)) {}
  ~ThreadLimit() { vex_serv_set_num_threads_local(before_); }

 private:
  int before_;
};

}  // namespace vex::test
