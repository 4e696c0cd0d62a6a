// Choice of the small-system routine for this machine's code path.
#include "lapack/small/small.h"

#include "blas/dispatch.h"

namespace vex::lapack {
namespace {

constinit blas::Dispatched<vex_dgetrf_small> factor_routine{
    vex_lapack_ps_def_dgetrf_small, vex_lapack_ps_def_dgetrf_small, vex_lapack_ps_mc3_dgetrf_small,
    vex_lapack_ps_avx2_dgetrf_small, vex_lapack_ps_avx512_dgetrf_small};
constinit blas::Dispatched<vex_dgetrf_small> unblocked_routine{
    vex_lapack_ps_def_dgetf2, vex_lapack_ps_def_dgetf2, vex_lapack_ps_mc3_dgetf2, vex_lapack_ps_avx2_dgetf2,
    vex_lapack_ps_avx512_dgetf2};
constinit blas::Dispatched<vex_dgetrs_small> solve_routine{
    vex_lapack_ps_def_dgetrs_small, vex_lapack_ps_def_dgetrs_small, vex_lapack_ps_mc3_dgetrs_small,
    vex_lapack_ps_avx2_dgetrs_small, vex_lapack_ps_avx512_dgetrs_small};
constinit blas::Dispatched<vex_dgetrs_single> single_routine{
    vex_lapack_ps_def_dgetrs_single, vex_lapack_ps_def_dgetrs_single, vex_lapack_ps_mc3_dgetrs_single,
    vex_lapack_ps_avx2_dgetrs_single, vex_lapack_ps_avx512_dgetrs_single};

}  // namespace
}  // namespace vex::lapack

// There is no routine only when the code path has none and an installed exit handler has come back.
void vex_lapack_ps_dgetrf_small(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                vex_int* ipiv, vex_int* info) {
  auto* const routine = vex::lapack::factor_routine.get();
  if (routine != nullptr) routine(m, n, a, lda, ipiv, info);
}

void vex_lapack_ps_dgetf2(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                          vex_int* info) {
  if (*m <= 0 || *n <= 0) {
    *info = 0;
    return;
  }
  auto* const routine = vex::lapack::unblocked_routine.get();
  if (routine != nullptr) routine(m, n, a, lda, ipiv, info);
}

void vex_lapack_ps_dgetrs_small(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a,
                                const vex_int* lda, const vex_int* ipiv, double* b, const vex_int* ldb,
                                vex_int* info, vex_int trans_length) {
  auto* const routine = vex::lapack::solve_routine.get();
  if (routine != nullptr) routine(trans, n, nrhs, a, lda, ipiv, b, ldb, info, trans_length);
}

int vex_lapack_ps_dgetrs_single(const vex_int* n, const double* a, const vex_int* lda, const vex_int* ipiv,
                                double* b) {
  auto* const routine = vex::lapack::single_routine.get();
  return routine == nullptr || routine(n, a, lda, ipiv, b);
}
