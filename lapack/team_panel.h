// Factorization of one panel by all threads of a team.
#pragma once

#include "blas/matrix_view.h"
#include "lapack/team_record.h"

namespace vex::lapack {

// A = P L U of the m x n panel; every member calls it with the same arguments. ipiv receives min(m, n)
// one-based rows, relative to the panel; info 0, or the first column (one-based) whose pivot is exactly zero,
// valid for every member. Returns non-zero, for every member, when the progress callback asked to stop.
int factor_panel_by_team(const TeamMember& member, MatrixView a, vex_int* ipiv, vex_int& info);

}  // namespace vex::lapack

extern "C" {

// The same with the arguments of the other factorizations; thread is the member's rank, threads the team's
// size.
int vex_lapack_dgetrf_local_team(const vex_int* m, const vex_int* n, double* a, const vex_int* lda,
                                 vex_int* ipiv, vex_int* info, vex::lapack::TeamRecord* record,
                                 const vex_int* thread, const vex_int* threads);
// The unblocked form, for panels of a few columns.
int vex_lapack_dgetf2_team(const vex_int* m, const vex_int* n, double* a, const vex_int* lda, vex_int* ipiv,
                           vex_int* info, vex::lapack::TeamRecord* record, const vex_int* thread,
                           const vex_int* threads);
}
