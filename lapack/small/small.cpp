// Choice of the small-system routine for this machine's code path.
#include "lapack/small/small.h"

#include <atomic>

#include "service/cleanup.h"
#include "service/cpu_dispatch.h"
#include "service/messages.h"

namespace vex::lapack {
namespace {

constexpr int message_unsupported_path = 1226;
constexpr int code_path_count = 8;

template <typename Routine>
using Slots = Routine* const[code_path_count];

// Indexed by code path; a null slot is a path without a routine.
constexpr Slots<vex_dgetrf_small> factor_routines = {&vex_lapack_ps_def_dgetrf_small,
                                                     &vex_lapack_ps_def_dgetrf_small,
                                                     nullptr,
                                                     &vex_lapack_ps_mc3_dgetrf_small,
                                                     nullptr,
                                                     &vex_lapack_ps_avx2_dgetrf_small,
                                                     nullptr,
                                                     &vex_lapack_ps_avx512_dgetrf_small};
constexpr Slots<vex_dgetrs_small> solve_routines = {&vex_lapack_ps_def_dgetrs_small,
                                                    &vex_lapack_ps_def_dgetrs_small,
                                                    nullptr,
                                                    &vex_lapack_ps_mc3_dgetrs_small,
                                                    nullptr,
                                                    &vex_lapack_ps_avx2_dgetrs_small,
                                                    nullptr,
                                                    &vex_lapack_ps_avx512_dgetrs_small};

// Null only when there is no routine and an installed exit handler came back.
template <typename Routine>
Routine* resolve(std::atomic<Routine*>& remembered, const Slots<Routine>& routines) {
  const int path = vex_serv_cpu_detect();
  Routine* const routine = path >= 0 && path < code_path_count ? routines[path] : nullptr;
  if (routine == nullptr) {
    vex_serv_print(0, message_unsupported_path, 1, path);
    vex_serv_exit(1);
    return nullptr;
  }
  remembered.store(routine, std::memory_order_relaxed);
  return routine;
}

// Every thread would store the same value, and it points to code that was there from the start, so nothing
// needs to be ordered.
template <typename Routine>
Routine* remembered_or_resolved(std::atomic<Routine*>& remembered, const Slots<Routine>& routines) {
  Routine* const routine = remembered.load(std::memory_order_relaxed);
  return routine != nullptr ? routine : resolve(remembered, routines);
}

constinit std::atomic<vex_dgetrf_small*> factor_routine = nullptr;
constinit std::atomic<vex_dgetrs_small*> solve_routine = nullptr;

}  // namespace
}  // namespace vex::lapack

void vex_lapack_ps_dgetrf_small(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                vex_int* ipiv, vex_int* info) {
  using namespace vex::lapack;
  auto* const routine = remembered_or_resolved(factor_routine, factor_routines);
  if (routine != nullptr) routine(m, n, a, lda, ipiv, info);
}

void vex_lapack_ps_dgetrs_small(const char* trans, const vex_int* n, const vex_int* nrhs, const double* a,
                                const vex_int* lda, const vex_int* ipiv, double* b, const vex_int* ldb,
                                vex_int* info, vex_int trans_length) {
  using namespace vex::lapack;
  auto* const routine = remembered_or_resolved(solve_routine, solve_routines);
  if (routine != nullptr) routine(trans, n, nrhs, a, lda, ipiv, b, ldb, info, trans_length);
}
