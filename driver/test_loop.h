// The tests one after the other: one memory block for all of them, a line per trial, summary and verdict.
#pragma once

#include <cstdint>

#include "driver/configuration.h"
#include "driver/trial.h"

namespace vex::driver {

// What the largest test asks for. Tests that will be skipped count too.
struct MemoryRequest {
  std::uint64_t bytes = 0;  // modulo 2^64
  std::int32_t size = 0;    // order of the test that asks for it; the earlier one of equals
  bool fits = true;         // false when some test needs 2^64 bytes or more, so that `bytes` says too little
};

MemoryRequest largest_request(const Configuration& run);

// The parts of one test in the block, from the aligned base on:
//
//   A: lda * n doubles | b: lda doubles | x: lda doubles | ipvt: lda 32-bit integers
struct TestMemory {
  double* a;
  double* b;
  double* x;
  std::int32_t* ipvt;
};

// The base is the first address in the block that is a multiple of alignment KiB, the block's start when that
// is 0.
TestMemory lay_out(void* block, std::int32_t n, std::int32_t lda, std::int32_t alignment);

// Whether the verification of a trial failed, by its residual and its normalised residual.
bool trial_failed(double resid, double residn);

// Runs the tests and prints their part of the report. Returns the program's exit status: 1 when a trial
// failed, else 0. Ends the process with status 255 when the memory cannot be had; `program` names it in that
// message. Another `trial` than the real one serves to see what becomes of its outcome.
int run_tests(const Configuration& run, const char* program, decltype(quarlen_)* trial = quarlen_);

}  // namespace vex::driver
