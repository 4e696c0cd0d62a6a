// Picks the routines of a call from those of its path.
#include "blas/engine/kernel_table.h"

#include "service/reproducibility.h"

namespace vex::blas::engine {

namespace {

// Which of a pair: bit 16 of the setting asks for results that depend on neither threads nor alignment.
template <typename Pair>
auto* chosen(const Pair& pair) {
  return vex_serv_cbwr_get(-1) & 0x10000 ? pair.cnr : pair.plain;
}

}  // namespace

int initialize_kernel_info(KernelTable* table, const PathRoutines& routines, int operation, bool right,
                           const StrategyRecord* strategy, const MatrixDescriptor* a,
                           const MatrixDescriptor* b, const MatrixDescriptor* c) {
  const bool prepacked = strategy->copy_mode == copy_b_only;
  const MatrixDescriptor& special = right ? *b : *a;
  const SideIndex side = right ? on_right : on_left;
  *table = {"DGEMM",
            prepacked ? routines.prepacked : routines.full,
            is_transposed(*a) ? routines.copy_at : routines.copy_an,
            is_transposed(*b) ? routines.copy_bt : routines.copy_bn,
            chosen(routines.kernel),
            routines.scale,
            routines.edge,
            nullptr,
            nullptr,
            nullptr,
            nullptr,
            {},
            nullptr};
  switch (operation) {
    case op_gemm:
      if (strategy->copy_mode == copy_none) table->driver = routines.in_place;
      break;
    case op_symm:
      table->operation = "DSYMM";
      table->driver = routines.full;
      (right ? table->copy_b : table->copy_a) =
          routines.copy_symmetric[side][special.flags & flag_upper ? of_upper : of_lower];
      break;
    case op_syrk:
    case op_syr2k:
    case op_gemmt:
      table->operation = operation == op_syrk ? "DSYRK" : operation == op_syr2k ? "DSYR2K" : "DGEMMT";
      table->driver = prepacked ? routines.triangle_prepacked : routines.triangle_full;
      table->diagonal_kernel = chosen(routines.triangle_kernel[c->flags & flag_upper ? of_upper : of_lower]);
      break;
    case op_trmm:
    case op_trsm: {
      const TriangleIndex triangle = effective_triangle(special.flags);
      const bool solve = operation == op_trsm;
      table->operation = solve ? "DTRSM" : "DTRMM";
      table->driver = (solve ? routines.solve_triangle : routines.multiply_triangle)[side][triangle];
      table->copy_diagonal = (solve ? routines.copy_solved : routines.copy_factor)[side][triangle];
      if (solve) {
        table->solve_kernel = chosen(routines.solve_diagonal[side][triangle]);
        if (!right) table->few = routines.solve_few[is_transposed(special)];
        table->unblocked = routines.solve_unblocked;
      } else {
        table->diagonal_kernel = chosen(routines.multiply_diagonal[side][triangle]);
      }
      table->scale_triangle =
          solve ? routines.solve_scale[side][(special.flags & flag_unit) != 0] : routines.scale;
      break;
    }
    default:
      table->driver = nullptr;
  }
  return table->driver && table->copy_a && table->copy_b && table->kernel ? 0 : 1;
}

}  // namespace vex::blas::engine
