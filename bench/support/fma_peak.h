// The rate at which this machine multiplies and adds when nothing else is in the way.
#pragma once

namespace vex::bench {

// Widths of the multiply-and-add whose rate is wanted: the widest fused one that the processor has, the fused
// one on four doubles, or the separate multiply and add on two doubles that the paths without fused
// instructions live on.
enum class PeakKind { widest_fused, fused_avx2, separate_sse };

// Runs independent multiply-adds on `threads` threads at once for about `seconds` each and returns the GFlops
// of all together (a multiply-add counts two).
double multiply_add_peak(PeakKind kind, int threads, double seconds = 0.02);

}  // namespace vex::bench
