// Resolves a routine to the one of the processor's code path, once.
#pragma once

#include <atomic>

#include "service/cleanup.h"
#include "service/cpu_dispatch.h"
#include "service/messages.h"
#include "service/reproducibility.h"

namespace vex::blas {

// One slot per code path, in the order of the path numbers 0 and 1 (def or cnr_def), 3, 5, 7. A null slot is
// a path that the routine does not serve.
template <typename Function>
class Dispatched {
 public:
  constexpr Dispatched(Function* def, Function* cnr_def, Function* mc3, Function* avx2, Function* avx512)
      : def_(def), cnr_def_(cnr_def), mc3_(mc3), avx2_(avx2), avx512_(avx512) {}

  // Threads that race on the first call store the same value, and the routine is code: relaxed is enough.
  Function* get() {
    Function* routine = resolved_.load(std::memory_order_relaxed);
    if (routine) return routine;
    const int path = vex_serv_cpu_detect();
    routine = slot(path);
    if (!routine) {
      vex_serv_print(0, 1226, 1, path);
      vex_serv_exit(1);
      return nullptr;
    }
    resolved_.store(routine, std::memory_order_relaxed);
    return routine;
  }

 private:
  Function* slot(int path) const {
    switch (path) {
      case 0:
      case 1:
        return vex_serv_cbwr_get(1) == 1 ? def_ : cnr_def_;
      case 3:
        return mc3_;
      case 5:
        return avx2_;
      case 7:
        return avx512_;
      default:
        return nullptr;
    }
  }

  Function *def_, *cnr_def_, *mc3_, *avx2_, *avx512_;
  std::atomic<Function*> resolved_ = nullptr;
};

}  // namespace vex::blas
