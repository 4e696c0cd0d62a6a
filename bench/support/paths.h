// The code paths by name, with the peak that bounds each, for programs that measure one path's kernels.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/support/fma_peak.h"
#include "blas/named_entries.h"

namespace vex::bench {

struct PathKernels {
  const char* name;
  PeakKind peak;
  blas::DgemmFunction* gemm;
  blas::DtrsmFunction* trsm;
  blas::DgemvFunction* gemv;
  blas::IdamaxFunction* idamax;
  blas::DswapFunction* swap;
  blas::DscalFunction* scal;
};

// "auto" is the dispatched path, with the plain entry for the multiply and the solve, so that it may use
// threads.
inline const PathKernels& path_kernels(const char* name) {
  static const PathKernels table[] = {
      {"auto", PeakKind::widest_fused, vex_blas_dgemm, vex_blas_dtrsm, vex_blas_xdgemv, vex_blas_xidamax,
       vex_blas_xdswap, vex_blas_xdscal},
      {"narrow", PeakKind::widest_fused, vex_blas_avx512_dgemm_narrow, vex_blas_avx512_xdtrsm,
       vex_blas_avx512_xdgemv, vex_blas_avx512_xidamax, vex_blas_avx512_xdswap, vex_blas_avx512_xdscal},
      {"ger", PeakKind::widest_fused, vex_blas_dgemmger, vex_blas_dtrsm, vex_blas_xdgemv, vex_blas_xidamax,
       vex_blas_xdswap, vex_blas_xdscal},
      {"avx512", PeakKind::widest_fused, vex_blas_avx512_xdgemm, vex_blas_avx512_xdtrsm,
       vex_blas_avx512_xdgemv, vex_blas_avx512_xidamax, vex_blas_avx512_xdswap, vex_blas_avx512_xdscal},
      {"avx2", PeakKind::fused_avx2, vex_blas_avx2_xdgemm, vex_blas_avx2_xdtrsm, vex_blas_avx2_xdgemv,
       vex_blas_avx2_xidamax, vex_blas_avx2_xdswap, vex_blas_avx2_xdscal},
      {"mc3", PeakKind::separate_sse, vex_blas_mc3_xdgemm, vex_blas_mc3_xdtrsm, vex_blas_mc3_xdgemv,
       vex_blas_mc3_xidamax, vex_blas_mc3_xdswap, vex_blas_mc3_xdscal},
      {"def", PeakKind::separate_sse, vex_blas_def_xdgemm, vex_blas_def_xdtrsm, vex_blas_def_xdgemv,
       vex_blas_def_xidamax, vex_blas_def_xdswap, vex_blas_def_xdscal}};
  for (const PathKernels& path : table)
    if (!std::strcmp(path.name, name)) return path;
  std::fprintf(stderr, "no code path '%s'\n", name);
  std::exit(2);
}

}  // namespace vex::bench
