// What brackets every parallel region of the engine.
#pragma once

extern "C" {

// Sets the calling thread's library-wide thread count to 1, so that kernels called from a task stay on it.
void vex_lapack_omp_parallel_enter();
// Gives the thread back the count it had.
void vex_lapack_omp_parallel_exit();
}

namespace vex::lapack {

// Brackets a scope that way.
class SingleThreadedKernels {
 public:
  SingleThreadedKernels() { vex_lapack_omp_parallel_enter(); }
  ~SingleThreadedKernels() { vex_lapack_omp_parallel_exit(); }
  SingleThreadedKernels(const SingleThreadedKernels&) = delete;
  SingleThreadedKernels& operator=(const SingleThreadedKernels&) = delete;
};

}  // namespace vex::lapack
