// The table of runnable paths and the guarded matrix; see kernels.h.
#include "tests/blas/kernels.h"

namespace vex::test {

namespace {

constexpr PathRoutines all_paths[] = {
    {"def", vex_blas_def_engine, vex_blas_def_xdgemm, vex_blas_def_xdgemmger, vex_blas_def_xdtrsm,
     vex_blas_def_xdtrsm_v1, vex_blas_def_xdtrsv, vex_blas_def_xdgemv, vex_blas_def_xdger,
     vex_blas_def_xidamax, vex_blas_def_xdcopy, vex_blas_def_xdscal, vex_blas_def_xdswap, vex_blas_def_xddot},
    {"cnr_def", vex_blas_cnr_def_engine, vex_blas_cnr_def_xdgemm, vex_blas_cnr_def_xdgemmger,
     vex_blas_cnr_def_xdtrsm, vex_blas_cnr_def_xdtrsm_v1, vex_blas_cnr_def_xdtrsv, vex_blas_cnr_def_xdgemv,
     vex_blas_cnr_def_xdger, vex_blas_cnr_def_xidamax, vex_blas_cnr_def_xdcopy, vex_blas_cnr_def_xdscal,
     vex_blas_cnr_def_xdswap, vex_blas_cnr_def_xddot},
    {"mc3", vex_blas_mc3_engine, vex_blas_mc3_xdgemm, vex_blas_mc3_xdgemmger, vex_blas_mc3_xdtrsm,
     vex_blas_mc3_xdtrsm_v1, vex_blas_mc3_xdtrsv, vex_blas_mc3_xdgemv, vex_blas_mc3_xdger,
     vex_blas_mc3_xidamax, vex_blas_mc3_xdcopy, vex_blas_mc3_xdscal, vex_blas_mc3_xdswap, vex_blas_mc3_xddot},
    {"avx2", vex_blas_avx2_engine, vex_blas_avx2_xdgemm, vex_blas_avx2_xdgemmger, vex_blas_avx2_xdtrsm,
     vex_blas_avx2_xdtrsm_v1, vex_blas_avx2_xdtrsv, vex_blas_avx2_xdgemv, vex_blas_avx2_xdger,
     vex_blas_avx2_xidamax, vex_blas_avx2_xdcopy, vex_blas_avx2_xdscal, vex_blas_avx2_xdswap,
     vex_blas_avx2_xddot},
    {"avx512", vex_blas_avx512_engine, vex_blas_avx512_xdgemm, vex_blas_avx512_xdgemmger,
     vex_blas_avx512_xdtrsm, vex_blas_avx512_xdtrsm_v1, vex_blas_avx512_xdtrsv, vex_blas_avx512_xdgemv,
     vex_blas_avx512_xdger, vex_blas_avx512_xidamax, vex_blas_avx512_xdcopy, vex_blas_avx512_xdscal,
     vex_blas_avx512_xdswap, vex_blas_avx512_xddot}};

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

Matrix::Matrix(vex_int m, vex_int n, vex_int stride)
    : rows(m),
      cols(n),
      ld(stride),
      memory_(m > 0 && n > 0 ? static_cast<std::size_t>((n - 1) * stride + m) : 0) {}

void Matrix::fill(std::mt19937_64& random) {
  std::uniform_real_distribution<double> value(-1, 1);
  for (vex_int j = 0; j < cols; ++j)
    for (vex_int i = 0; i < rows; ++i) (*this)(i, j) = value(random);
}

void Matrix::fill(double value) {
  for (vex_int j = 0; j < cols; ++j)
    for (vex_int i = 0; i < rows; ++i) (*this)(i, j) = value;
}

bool Matrix::surroundings_untouched() const {
  if (!memory_.front_untouched()) return false;
  for (vex_int j = 0; j + 1 < cols; ++j)
    for (vex_int i = rows; i < ld; ++i)
      if (rows > 0 && !memory_.untouched(static_cast<std::size_t>(i + j * ld))) return false;
  return true;
}

std::vector<double> Matrix::values() const {
  std::vector<double> all;
  for (vex_int j = 0; j < cols; ++j)
    for (vex_int i = 0; i < rows; ++i) all.push_back((*this)(i, j));
  return all;
}

}  // namespace vex::test
