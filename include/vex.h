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

/* ---- Standard routines ------------------------------------------------------------------------------- */

/* DGETRF factors A = P L U in place, with partial pivoting.
     m, n   in      rows and columns of A, at least 0
     a      in/out  A(lda, n); on exit L below the diagonal (its unit diagonal is not stored), and U
     lda    in      leading dimension, at least max(1, m)
     ipiv   out     min(m, n) pivots, counted from 1: row i was interchanged with row ipiv(i)
     info   out     0      factored
                    k > 0  U(k, k) is exactly zero, the first such k: a solve would divide by zero
                    -k     argument k (1, 2 or 4) was wrong: reported through xerbla, A untouched
                    -1002  no scratch memory inside the factorization: A and ipiv hold nothing of use
                    -1023  no scratch memory for the pivots (32-bit names only): A is untouched */
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

/* ---- Error handler and progress callback ------------------------------------------------------------- */

/* Receives the name of the routine that found something wrong (name_length characters, not necessarily
   terminated), a code and the length of the name. A positive code is the number of the wrong argument, except
   for 1000 (workspace), 1001 (optional arguments), 1102 (work memory) and 1225 (coprocessor); other codes are
   internal conditions. */
typedef void (*vex_xerbla_handler)(const char* name, const int64_t* code, int64_t name_length);

/* Report an error as the library does: to the installed handler; without one, to whichever of these names the
   program defines itself; else by a message on standard output. A program that calls or defines them may as
   well have 32-bit integers: the high halves of the code and of the length are not looked at. */
VEX_API void xerbla(const char* name, const int64_t* code, int64_t name_length);
VEX_API void xerbla_(const char* name, const int64_t* code, int64_t name_length);
VEX_API void XERBLA(const char* name, const int64_t* code, int64_t name_length);
VEX_API void XERBLA_(const char* name, const int64_t* code, int64_t name_length);

/* Installs a handler, null for the library's own; returns the previous one. */
VEX_API vex_xerbla_handler vex_serv_set_xerbla(vex_xerbla_handler handler);

/* Is told from time to time how far a long routine is: thread number, step, and the name of the stage
   (name_length characters, not terminated). An answer other than 0 asks the routine to stop. */
typedef int (*vex_progress_callback)(const int* thread, const int* step, const char* stage,
                                     int64_t name_length);

/* Ask as the library does: the installed callback; without one, whichever of these names the program defines
   itself; else the answer is 0. */
VEX_API int vex_progress(const int* thread, const int* step, const char* stage, int64_t name_length);
VEX_API int vex_progress_(const int* thread, const int* step, const char* stage, int64_t name_length);
VEX_API int VEX_PROGRESS(const int* thread, const int* step, const char* stage, int64_t name_length);
VEX_API int VEX_PROGRESS_(const int* thread, const int* step, const char* stage, int64_t name_length);

/* Installs a callback, null for one that answers 0; returns the previous one. */
VEX_API vex_progress_callback vex_serv_set_progress(vex_progress_callback callback);

/* Is called with the exit status instead of exit() when the library cannot go on; null restores exit(). */
typedef void (*vex_exit_handler)(int code);
VEX_API void vex_serv_set_exit_handler(vex_exit_handler handler);

/* ---- Threads ----------------------------------------------------------------------------------------- */

/* Each setting below may come from the environment, which is read once, when first needed; what the program
   sets before that wins, and what it sets later holds from then on. */
enum {
  VEX_DOMAIN_ALL = 0,
  VEX_DOMAIN_BLAS = 1,
  VEX_DOMAIN_FFT = 2,
  VEX_DOMAIN_ELEM = 3,
  VEX_DOMAIN_PARDISO = 4
};

/* How many threads a routine called here and now may use: in general, and for a domain. */
VEX_API int vex_serv_get_max_threads(void);
VEX_API int vex_serv_domain_get_max_threads(int domain);

/* VEX_NUM_THREADS: the count for all domains; a count below 1 is ignored. */
VEX_API void vex_serv_set_num_threads(int count);

/* VEX_DOMAIN_NUM_THREADS: the count for one domain, 0 to clear it. 1 when stored, 0 for a negative count or
   an unknown domain. */
VEX_API int vex_serv_domain_set_num_threads(int count, int domain);

/* Overrides every other count for the calling thread; 0 lifts the override. Returns the previous override. */
VEX_API int vex_serv_set_num_threads_local(int count);

/* VEX_DYNAMIC: whether the library may use fewer threads than it is set to (never more than there are
   physical cores, and one inside a parallel region). On by default. The setter returns the flag, 0 or 1. */
VEX_API int vex_serv_get_dynamic(void);
VEX_API int vex_serv_set_dynamic(int flag);

/* VEX_NUM_STRIPES: rows of the grid of threads that the matrix multiply forms; negative counts are ignored,
   -1 comes back when nothing is set. */
VEX_API int vex_serv_get_num_stripes(void);
VEX_API void vex_serv_set_num_stripes(int count);

/* With 1 the program states that the library need not mind other processes of the same job on this machine.
 */
VEX_API int vex_serv_mpi_safe(int flag);

/* ---- Code path and reproducibility ------------------------------------------------------------------- */

/* Branches of conditional numerical reproducibility: VEX_CBWR_OFF lets the library choose freely; the others
   fix the instruction set, so that results agree between processors that have it. The flag VEX_CBWR_STRICT
   may be added to a branch. */
enum {
  VEX_CBWR_OFF = 1,
  VEX_CBWR_AUTO = 2,
  VEX_CBWR_COMPATIBLE = 3,
  VEX_CBWR_SSE2 = 4,
  VEX_CBWR_SSE4_1 = 7,
  VEX_CBWR_SSE4_2 = 8,
  VEX_CBWR_AVX2 = 10,
  VEX_CBWR_AVX512 = 12,
  VEX_CBWR_AVX512_E1 = 14,
  VEX_CBWR_STRICT = 0x10000
};

/* VEX_CBWR, before the first computational call: 0 when taken, -2 for an invalid setting, -3 for one that
   this processor does not support, -8 when it comes too late to change anything. */
VEX_API int vex_serv_cbwr_set(int setting);

/* what = -1: the whole setting; 1: its branch; anything else answers -2. */
VEX_API int vex_serv_cbwr_get(int what);

/* The branch that VEX_CBWR_AUTO means on this processor. */
VEX_API int vex_serv_cbwr_get_auto_branch(void);

/* VEX_ENABLE_INSTRUCTIONS, before the first computational call: the highest instruction set to use. 1 when
   applied, 0 when the processor does not have it. */
enum {
  VEX_ENABLE_SSE4_2 = 0,
  VEX_ENABLE_AVX = 1,
  VEX_ENABLE_AVX2 = 2,
  VEX_ENABLE_AVX512 = 4,
  VEX_ENABLE_AVX512_E1 = 6,
  VEX_ENABLE_AVX512_E2 = 7,
  VEX_ENABLE_AVX512_E3 = 8,
  VEX_ENABLE_AVX512_E4 = 9,
  VEX_ENABLE_AVX2_E1 = 10,
  VEX_ENABLE_AVX512_E5 = 11
};
VEX_API int vex_serv_enable_instructions(int level);

/* fresh = 0: the code path in use (0 generic, 3 SSE4.2, 5 AVX2, 7 AVX-512; -1 before the first computational
   call). Otherwise: what the processor is, looked at anew, in finer steps (0 to 16). */
VEX_API int vex_serv_get_cpu_type(int fresh);

/* Sizes of the data caches in bytes. cache_info stores the number of levels and then the sizes of levels 1 to
   4; get_cache_size answers one level, the last one for level 0, and -1 for a level that is not there. */
VEX_API void vex_serv_cache_info(uint64_t* sizes);
VEX_API int64_t vex_serv_get_cache_size(int level);

/* ---- Memory ------------------------------------------------------------------------------------------ */

/* Aligned blocks. An alignment below 64 or other than a power of two counts as 64. Null when memory is out. A
   new block of vex_serv_realloc holds the old contents up to the smaller size. */
VEX_API void* vex_serv_malloc(size_t size, size_t alignment);
VEX_API void* vex_serv_calloc(size_t count, size_t size, size_t alignment);
VEX_API void* vex_serv_realloc(void* block, size_t size);
VEX_API void vex_serv_free(void* block);

/* The same for scratch that comes and goes: released blocks are kept, five per thread, and handed out again.
   What one of the pair allocated only the other may release. */
VEX_API void* vex_serv_allocate(size_t size, size_t alignment);
VEX_API void vex_serv_deallocate(void* block);

/* Give the kept blocks back to the system: those of all threads, or of the calling thread. */
VEX_API void vex_serv_free_buffers(void);
VEX_API void vex_serv_thread_free_buffers(void);

/* VEX_DISABLE_FAST_MM: keep no blocks. 1 when done, 0 when memory has been used already. */
VEX_API int vex_serv_disable_fast_mm(void);

/* Bytes held by the library, and through the pointer, unless it is null, the number of blocks. */
VEX_API int64_t vex_serv_mem_stat(int* block_count);

/* mode 1: start counting from 0; 0: stop counting; 2: the most bytes held so far; -1: the same, and start
   again from the present use. -1 comes back while nothing is counted and for any other mode. */
VEX_API int64_t vex_serv_peak_mem_usage(int mode);

/* VEX_FAST_MEMORY_LIMIT: the most high-bandwidth memory to use, in MiB (type 1, once). 1 when taken, 0 when
   not or when the machine has none. */
VEX_API int vex_serv_set_memory_limit(int type, size_t limit);

/* ---- Tracing ----------------------------------------------------------------------------------------- */

/* VEX_VERBOSE: 1 or 2 print a line for every call of a standard routine, 0 prints nothing. Returns the mode;
   any other mode changes nothing and returns -1. */
VEX_API int vex_serv_verbose(int mode);

/* VEX_VERBOSE_OUTPUT_FILE: the file that trace lines are appended to instead of standard output, a name of 1
   to 4095 characters. 0 when it can be written, else a warning, 1, and standard output. */
VEX_API int vex_serv_verbose_output_file(const char* name);

/* ---- Version ----------------------------------------------------------------------------------------- */

typedef struct vex_version {
  int major_version;
  int minor_version;
  int update;
  const char* product_status;
  const char* build;
  const char* processor; /* the processors that the code path in use serves */
  const char* platform;
} vex_version;

/* Fills the record; its texts are the library's own and stay valid. */
VEX_API void vex_serv_get_version(vex_version* record);

/* The version in one line: padded with blanks or cut to length characters, without a terminator, and the same
   text terminated and cut to length - 1. */
VEX_API void vex_serv_get_version_string(char* buffer, int length);
VEX_API void vex_serv_get_version_string_c(char* buffer, int length);

/* ---- Clocks ------------------------------------------------------------------------------------------ */

/* Seconds since some fixed moment, from the processor's time-stamp counter. The first call may take a second,
   in which the counter is calibrated; vex_serv_get_clocks_frequency does just that. */
VEX_API double vex_serv_dsecnd(void);
VEX_API float vex_serv_second(void);
VEX_API void vex_serv_get_clocks_frequency(void);

/* The time-stamp counter; also stored through the pointer unless that is null. */
VEX_API uint64_t vex_serv_get_cpu_clocks(uint64_t* clocks);

/* The processor's clock rate in GHz: nominal, and measured now. */
VEX_API double vex_serv_get_max_cpu_frequency(void);
VEX_API double vex_serv_get_cpu_frequency(void);

#ifdef __cplusplus
}
#endif

#endif
