// The dispatchers of the multiply: each finds the routine of the processor's code path on its first call and
// keeps it.
#include "blas/gemm_paths.h"

#include "blas/dispatch.h"
#include "blas/named_entries.h"
#include "blas/path_engine.h"

namespace vex::blas {

namespace {

constinit Dispatched<DgemmFunction> path_xdgemm{vex_blas_def_xdgemm, vex_blas_cnr_def_xdgemm,
                                                vex_blas_mc3_xdgemm, vex_blas_avx2_xdgemm,
                                                vex_blas_avx512_xdgemm};
constinit Dispatched<DgemmFunction> path_xdgemmger{vex_blas_def_xdgemmger, vex_blas_cnr_def_xdgemmger,
                                                   vex_blas_mc3_xdgemmger, vex_blas_avx2_xdgemmger,
                                                   vex_blas_avx512_xdgemmger};
constinit Dispatched<DgemmParallelFunction> path_xdgemm_par{
    vex_blas_def_xdgemm_par, vex_blas_cnr_def_xdgemm_par, vex_blas_mc3_xdgemm_par, vex_blas_avx2_xdgemm_par,
    vex_blas_avx512_xdgemm_par};
constinit Dispatched<EngineFunction> path_operations{vex_blas_def_engine, vex_blas_cnr_def_engine,
                                                     vex_blas_mc3_engine, vex_blas_avx2_engine,
                                                     vex_blas_avx512_engine};

}  // namespace

void run_sequential(const Product& p) {
  path_xdgemm.get()(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb, &p.beta,
                    p.c, &p.ldc, 1, 1);
}

void run_sequential_vector_shaped(const Product& p) {
  path_xdgemmger.get()(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb, &p.beta,
                       p.c, &p.ldc, 1, 1);
}

int run_path_parallel(const Product& p, int threads) {
  return path_xdgemm_par.get()(&p.trans_a, &p.trans_b, &p.m, &p.n, &p.k, &p.alpha, p.a, &p.lda, p.b, &p.ldb,
                               &p.beta, p.c, &p.ldc, &threads);
}

const engine::PathEngine& path_engine() {
  return *path_operations.get()();
}

RegisterBlock register_block() {
  engine::StrategyRecord strategy;
  path_engine().initialize_strategy(&strategy);
  return {strategy.mr, strategy.nr};
}

}  // namespace vex::blas

using namespace vex::blas;

extern "C" {

void vex_blas_xdgemm(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                     const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                     const double* b, const vex_int* ldb, const double* beta, double* c, const vex_int* ldc,
                     vex_int trans_a_length, vex_int trans_b_length) {
  path_xdgemm.get()(trans_a, trans_b, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, trans_a_length,
                    trans_b_length);
}

void vex_blas_xdgemmger(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                        const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                        const double* b, const vex_int* ldb, const double* beta, double* c,
                        const vex_int* ldc, vex_int trans_a_length, vex_int trans_b_length) {
  path_xdgemmger.get()(trans_a, trans_b, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, trans_a_length,
                       trans_b_length);
}

int vex_blas_xdgemm_par(const char* trans_a, const char* trans_b, const vex_int* m, const vex_int* n,
                        const vex_int* k, const double* alpha, const double* a, const vex_int* lda,
                        const double* b, const vex_int* ldb, const double* beta, double* c,
                        const vex_int* ldc, const int* threads) {
  return path_xdgemm_par.get()(trans_a, trans_b, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, threads);
}
}
