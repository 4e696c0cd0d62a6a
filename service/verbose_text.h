// The wording of the trace: what the header and the information field of a call's line say.
#pragma once

#include "service/bounded_text.h"
#include "vex.h"

namespace vex::service {

using TraceText = BoundedText<399>;

// The run-time settings that a trace line shows beside the duration.
struct CallSettings {
  int branch;  // reproducibility branch
  bool strict;
  int dynamic;
  bool buffer_cache;      // blocks are kept and handed out again
  int thread;             // OpenMP thread number of the caller
  int threads;            // how many threads a routine may use
  int domain_threads[4];  // the same for BLAS, FFT, ELEM, PARDISO
};

// The settings in force for the calling thread.
CallSettings current_settings();

// The information field, for a call that took `seconds`.
TraceText call_information(double seconds, const CallSettings& settings);

// The header, without its line break.
TraceText header_text(int interface_code, const vex_version& version, double gigahertz);

}  // namespace vex::service
