// The table of runnable paths; see kernels.h.
#include "tests/blas/kernels.h"

namespace vex::test {

namespace {

constexpr PathRoutines all_paths[] = {
#define PATH(p)                                                                                        \
  {                                                                                                    \
#p, vex_blas_##p##_engine, vex_blas_##p##_xdgemm, vex_blas_##p##_xdgemmger, vex_blas_##p##_xdtrsm, \
        vex_blas_##p##_xdtrsm_v1, vex_blas_##p##_xdtrsv, vex_blas_##p##_xdgemv, vex_blas_##p##_xdger,  \
        vex_blas_##p##_xidamax, vex_blas_##p##_xdcopy, vex_blas_##p##_xdscal, vex_blas_##p##_xdswap,   \
        vex_blas_##p##_xddot                                                                           \
  }
    PATH(def), PATH(cnr_def), PATH(mc3), PATH(avx2), PATH(avx512)};
#undef PATH

bool runs_here(std::string_view path) {
  if (path == "avx512")
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
  if (path == "avx2") return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (path == "mc3") return __builtin_cpu_supports("sse4.2");
  return true;
}

}  // namespace

const std::vector<PathRoutines>& runnable_paths() {
  static const std::vector<PathRoutines> paths = [] {
    std::vector<PathRoutines> found;
    for (const PathRoutines& path : all_paths)
      if (runs_here(path.name)) found.push_back(path);
    return found;
  }();
  return paths;
}

}  // namespace vex::test
