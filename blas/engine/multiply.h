// The multiply of one path: whether a call is worth packing for, and the way to the drivers. Everything here
// runs on the calling thread.
#pragma once

#include "blas/engine/drivers.h"
#include "blas/engine/in_place.h"
#include "blas/engine/scale.h"
#include "blas/engine/streamed.h"

namespace vex::blas::engine {

// The driver of copy mode 16, from the records of a call.
template <typename P>
[[gnu::always_inline]] inline void drive_in_place(const BlockedCall& call) {
  drive_in_place<P>(is_transposed(call.a), is_transposed(call.b), call.c.rows, call.c.columns, call.a.columns,
                    call.operation.alpha, first_element(call.a), call.a.ld, first_element(call.b), call.b.ld,
                    call.operation.beta, first_element(call.c), call.c.ld);
}

// Multiply-adds from which the records of a call cost less than a percent of it.
inline constexpr vex_int worth_records = 64 * 64 * 64;

// C := alpha op(A) op(B) + beta C on this path, on the calling thread. C is m x n, the inner extent k. The
// letters are N, T or C in either case. A path with a blocked multiply of its own names it
// P::multiply_blocked.
template <typename P>
void multiply(const char* trans_a, const char* trans_b, vex_int m, vex_int n, vex_int k, double alpha,
              const double* a, vex_int lda, const double* b, vex_int ldb, double beta, double* c,
              vex_int ldc) {
  constexpr bool own = requires {
    &P::multiply_blocked;
  };
  if (m <= 0 || n <= 0) return;
  if (alpha == 0 || k <= 0) return scale_block<P>(m, n, beta, c, ldc);
  if constexpr (requires { P::streamed; })
    if (is(trans_a, 'N') && suits_streaming<P>(m, n, k, lda, ldc))
      return multiply_streamed<P>(!is(trans_b, 'N'), m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
  const bool in_place = suits_in_place<P>(m, n, k, !is(trans_a, 'N'));
  if (in_place && (own || m * n * k < worth_records))
    return drive_in_place<P>(!is(trans_a, 'N'), !is(trans_b, 'N'), m, n, k, alpha, a, lda, b, ldb, beta, c,
                             ldc);
  OperationRequest request{op_gemm, in_place ? copy_none : copy_both, false, alpha, beta, {}, {}, {},
                           nullptr};
  blas_initialize_matrix(&request.a, const_cast<double*>(a), m, k, lda, nullptr, nullptr, trans_a);
  blas_initialize_matrix(&request.b, const_cast<double*>(b), k, n, ldb, nullptr, nullptr, trans_b);
  blas_initialize_matrix(&request.c, c, m, n, ldc, nullptr, nullptr, nullptr);
  if constexpr (own)
    P::multiply_blocked(request.a, request.b, request.c, alpha, beta);
  else
    run_operation(P::operations, request);
}

}  // namespace vex::blas::engine
