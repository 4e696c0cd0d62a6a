// What the front end knows of the engine of the processor's path.
#pragma once

#include "blas/engine/kernel_table.h"

namespace vex::blas {

const engine::PathEngine& path_engine();

// Rows and columns of C that the path's packed kernels hold in registers.
struct RegisterBlock {
  vex_int rows, columns;
};
RegisterBlock register_block();

}  // namespace vex::blas
