// The machine-constant query of the engine.
#include "lapack/lapack.h"
#include "lapack/machine_constants.h"

extern "C" double vex_lapack_dlamch(const char* cmach, vex_int) {
  return vex::lapack::machine_constant(*cmach);
}
