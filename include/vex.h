/* What a program that links libvex may call. */
#ifndef VEX_H
#define VEX_H

#include <stddef.h>
#include <stdint.h>

#define VEX_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* A = P L U in place: M, N, A(LDA,N), LDA, IPIV(min(M,N)), INFO. */
VEX_API void DGETRF(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);

/* A X = B with the factors: TRANS, N, NRHS, A, LDA, IPIV, B(LDB,NRHS), LDB, INFO, length of TRANS. */
VEX_API void DGETRS(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda,
                    const int* ipiv, double* b, const int* ldb, int* info, int64_t trans_length);

/* Block-size query: ISPEC, NAME, OPTS, N1 to N4, lengths of NAME and OPTS. */
VEX_API int ILAENV(const int* ispec, const char* name, const char* opts, const int* n1, const int* n2,
                   const int* n3, const int* n4, int64_t name_length, int64_t opts_length);

/* Machine constants: CMACH and its length. */
VEX_API double DLAMCH(const char* cmach, int64_t cmach_length);

#ifdef __cplusplus
}
#endif

#endif
