/* What a program that links libvex may call: the standard LU routines in all their spellings, the hooks
   through which the library reports, and the settings of its run-time services. Valid C11 and C++.

   Matrices are column-major arrays of doubles with a leading dimension. The standard routines take every
   argument by reference, with the lengths of their character arguments (64-bit) appended at the end; the
   names with _64 take 64-bit integers and the others 32-bit integers. Everything else takes plain values. */
#ifndef VEX_H
#define VEX_H

#include <stddef.h>
#include <stdint.h>

#define VEX_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Standard routines ------------------------------------------------------------------------------------
 */

/* DGETRF factors A = P L U in place, with partial pivoting.
     m, n   in      rows and columns of A, at least 0
     a      in/out  A(lda, n); on exit L below the diagonal (its unit diagonal is not stored) and U on and
   above lda    in      leading dimension, at least max(1, m) ipiv   out     min(m, n) pivots, counted from 1:
   row i was interchanged with row ipiv(i) info   out     0      factored k > 0  U(k, k) is exactly zero, the
   first such k: A is factored, but a solve divides by zero -k     argument k was wrong: reported through
   xerbla, nothing else done (k is 1, 2 or 4) -1002  no scratch memory inside the factorization: A and ipiv
   hold nothing of use -1023  no scratch memory for the pivots (32-bit names only): A is untouched */
typedef void vex_dgetrf_routine(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);
typedef void vex_dgetrf_64_routine(const int64_t* m, const int64_t* n, double* a, const int64_t* lda,
                                   int64_t* ipiv, int64_t* info);
VEX_API vex_dgetrf_routine DGETRF, dgetrf, dgetrf_, vex_lapack__dgetrf_;
VEX_API vex_dgetrf_64_routine DGETRF_64, dgetrf_64, dgetrf_64_, vex_lapack__dgetrf_64_;

/* DGETRS solves A X = B or A' X = B with the factors that DGETRF left.
     trans        in      "N": A X = B; "T" or "C": A' X = B; either case
     n            in      order of A, at least 0
     nrhs         in      columns of B, at least 0
     a            in      A(lda, n), the factors
     lda          in      leading dimension of a, at least max(1, n)
     ipiv         in      the n pivots
     b            in/out  B(ldb, nrhs); on exit X
     ldb          in      leading dimension of b, at least max(1, n)
     info         out     0      solved (a zero on the diagonal of U shows as infinities or NaNs in X)
                          -k     argument k was wrong: reported through xerbla, B untouched
                          -1023  no scratch memory for the pivots (32-bit names only): B is untouched
     trans_length in      length of trans, by value */
typedef void vex_dgetrs_routine(const char* trans, const int* n, const int* nrhs, const double* a,
                                const int* lda, const int* ipiv, double* b, const int* ldb, int* info,
                                int64_t trans_length);
typedef void vex_dgetrs_64_routine(const char* trans, const int64_t* n, const int64_t* nrhs, const double* a,
                                   const int64_t* lda, const int64_t* ipiv, double* b, const int64_t* ldb,
                                   int64_t* info, int64_t trans_length);
VEX_API vex_dgetrs_routine DGETRS, dgetrs, dgetrs_, vex_lapack__dgetrs_;
VEX_API vex_dgetrs_64_routine DGETRS_64, dgetrs_64, dgetrs_64_, vex_lapack__dgetrs_64_;

/* ILAENV answers what the factorization would choose for a problem.
     ispec          in  1: block width; 3: crossover; outside 1 to 20 the answer is -1
     name           in  routine asked about, such as "DGETRF"
     opts           in  character options of that routine
     n1, n2, n3, n4 in  sizes of the problem, -1 for one not used
     name_length, opts_length in  lengths of name and opts, by value */
typedef int vex_ilaenv_routine(const int* ispec, const char* name, const char* opts, const int* n1,
                               const int* n2, const int* n3, const int* n4, int64_t name_length,
                               int64_t opts_length);
typedef int64_t vex_ilaenv_64_routine(const int64_t* ispec, const char* name, const char* opts,
                                      const int64_t* n1, const int64_t* n2, const int64_t* n3,
                                      const int64_t* n4, int64_t name_length, int64_t opts_length);
VEX_API vex_ilaenv_routine ILAENV, ilaenv, ilaenv_, vex_lapack__ilaenv_;
VEX_API vex_ilaenv_64_routine ILAENV_64, ilaenv_64, ilaenv_64_, vex_lapack__ilaenv_64_;

/* DLAMCH answers a constant of double precision by the first letter of cmach, either case: E relative machine
   precision, S safe minimum, B base, P precision (E times the base), N mantissa digits, R 1 when additions
   round, M minimum exponent, U underflow threshold, L maximum exponent, O overflow threshold. 0 for anything
   else that the table does not hold. No argument is an integer, so both widths are the same. */
typedef double vex_dlamch_routine(const char* cmach, int64_t cmach_length);
VEX_API vex_dlamch_routine DLAMCH, dlamch, dlamch_, vex_lapack__dlamch_;
VEX_API vex_dlamch_routine DLAMCH_64, dlamch_64, dlamch_64_, vex_lapack__dlamch_64_;

#ifdef __cplusplus
}
#endif

#endif
