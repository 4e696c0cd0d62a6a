// Multiplies by teams of threads that are inside a parallel region already, with the left factors of many
// products kept packed for all of them. No region is opened here, and nobody waits but for threads that are
// packing at that moment.
//
// A run multiplies with factors 0, 1, 2 ...; factor i is used by a known number of products. Copies live in a
// ring of slots, factor i's in slot i mod depth:
//
//   slot 0:  factor 0  ->  2  ->  4 ...      a slot passes on once every product of the factor in it is done;
//   slot 1:  factor 1  ->  3 ...             a product that comes before that packs for itself
//
// The first products of a factor pack it together: each takes rows that nobody has taken, until none are
// left.
#pragma once

#include "blas/matrix_view.h"
#include "service/barrier.h"
#include "service/types.h"

namespace vex::blas {

struct FactorCopies;

// A thread's place among the threads of its team.
struct TeamRank {
  vex_int rank, size;
};

// What the products of a run have in common.
struct FactorCopiesPlan {
  vex_int rows, inner;  // the largest factor: its rows and columns
  vex_int depth;        // slots
  vex_int factors;      // how many there are; factor i has factors - 1 - i products
};

// Null when memory is out.
FactorCopies* start_copies(const FactorCopiesPlan& plan);
// Has the calling thread's part of the memory backed by pages: so that idle threads wait for the kernel, and
// not those that pack.
void touch_copies(FactorCopies& shared, TeamRank team);
void finish_copies(FactorCopies* shared);

// C += alpha * A * B, where A is factor `factor`: the same matrix in all its products. Every member of the
// team calls it and does a part of the rows; members do not meet here. Every element has the bits that xgemm
// gives it.
void multiply_from_copies(FactorCopies& shared, vex_int factor, TeamRank team, double alpha,
                          ConstMatrixView a, ConstMatrixView b, MatrixView c);
// One product of the factor is done, by all its members. Once for each product, also those that have not come
// here.
void note_product_done(FactorCopies& shared, vex_int factor);

// For a thread that multiplies by the same left factor several times: room for it in elements, packing it
// there, and C += alpha * A * B with A packed so.
vex_int packed_size(vex_int rows, vex_int inner);
void pack_left_factor(ConstMatrixView a, double* room);
void multiply_packed(const double* room, double alpha, ConstMatrixView a, ConstMatrixView b, MatrixView c);
// The same for B := L^-1 B, L unit lower triangular of an order up to largest_packed_triangle.
inline constexpr vex_int largest_packed_triangle = 384;
vex_int packed_triangle_size(vex_int order);
void pack_unit_lower(ConstMatrixView l, double* room);
void solve_packed(const double* room, MatrixView b);

// What a call of vex_blas_xdgemm_internal_team is for.
enum class TeamStage : int { start = 0, multiply = 1, finish = 2 };

// A call's place in its run and in its team.
struct TeamCall {
  TeamStage stage;
  TeamRank team;
  service::CounterBarrier* barrier;  // of the team; may be null for a team of one
  FactorCopies** state;              // null before start and after finish
  vex_int depth, factors;            // as in FactorCopiesPlan
  vex_int factor;                    // the number of A
};

}  // namespace vex::blas

extern "C" {

// Grows with what the kernels offer to a factorization: from 2 on, multiplies from shared packed copies.
int vex_blas_get_kernel_api_version();

// C := alpha * op(A) * op(B) + C by every thread of a team, and what goes before and after such multiplies.
//   start     obtains the state for factors of up to m x k; a, b and c are not touched
//   multiply  the product; only A and B as they stand are served from the state, with beta 1
//   finish    gives the state back
// Members return when all are through. 0, or 1 when there was no memory (start: then there is no state) or
// the state does not serve the call (multiply: then nothing was done).
int vex_blas_xdgemm_internal_team(const char* trans_a, const char* trans_b, const vex_int* m,
                                  const vex_int* n, const vex_int* k, const double* alpha, const double* a,
                                  const vex_int* lda, const double* b, const vex_int* ldb, const double* beta,
                                  double* c, const vex_int* ldc, const vex::blas::TeamCall* call);
}
