// Another library's standard routines, loaded from a file at run time, to measure beside ours.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace vex::bench {

class Peer {
 public:
  // Ends the program with a message when the file cannot be loaded.
  explicit Peer(const char* file) : handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_) return;
    std::fprintf(stderr, "cannot load %s: %s\n", file, dlerror());
    std::exit(1);
  }

  // The routine of that name; ends the program with a message when the library has none.
  template <typename Routine>
  Routine* routine(const char* name) const {
    void* found = dlsym(handle_, name);
    if (!found) {
      std::fprintf(stderr, "the peer library exports no %s\n", name);
      std::exit(1);
    }
    return reinterpret_cast<Routine*>(found);
  }

 private:
  void* handle_;
};

}  // namespace vex::bench
