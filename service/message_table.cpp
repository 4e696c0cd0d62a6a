// The built-in message texts, by number: a sparse table of the 1455 numbers.
#include "service/message_table.h"

#include <algorithm>
#include <iterator>

namespace vex::service {
namespace {

struct Message {
  int number;
  const char* text;
};

constexpr Message messages[] = {
    // Start-up and the error handler.
    {1, "Korva VEX FATAL ERROR: Cannot load %s."},
    {2, "Korva VEX FATAL ERROR: Cannot load %s or %s."},
    {6, "Korva VEX ERROR: Parameter %d was incorrect on entry to %s."},
    {7, "Korva VEX INTERNAL ERROR: Condition %d detected in function %s."},
    {8, "Korva VEX INTERNAL ERROR: Insufficient workspace available in function %s."},
    {9, "Korva VEX ERROR: Incompatible optional parameters on entry to %s."},

    // The benchmark.
    {0x42E,
     "This binary version of the SMP QUARLEN benchmark is optimized for and runs on only genuine Korva "
     "processors"},
    {0x42F, "%s"},
    {0x430, "Parameters are set to:"},
    {0x431, "Number of tests: %i"},
    {0x432, "Cannot run %s - not enough memory"},
    {0x433, "Maximum memory requested that can be used=%llu, at the size=%u"},
    {0x434, "Internal error in %s: memory leak"},
    {0x435, "=================== Timing linear equation system solver ==================="},
    {0x437, "Error: info returned=%i"},
    {0x439, "Performance Summary (GFlops)"},
    {0x43A, "Size   LDA    Align.  Average  Maximal"},
    {0x43B, "%-6i %-6i %-3i     %-8.4f %-8.4f"},
    {0x43C, "End of tests"},
    {0x43D, "Input data or print help ? Type [data]/help :"},
    {0x43E, "Could not open file %s"},
    {0x43F, "Current date/time: %s"},
    {0x440, "CPU frequency: %8.3f GHz"},
    {0x441, "Number of CPUs: %i"},
    {0x442, "Number of threads: %i"},
    {0x443, "Warning: incorrect parameter %s (%i),"},
    {0x444, "must be not less than (%i),"},
    {0x445, "set to default value (%i)."},
    {0x446, "must be not bigger than (%i),"},
    {0x447, "Could not open file %s, aborted."},
    {1102, "Korva VEX INTERNAL ERROR: Not enough work memory in function %s"},
    {0x44F, "Number of cores: %i"},

    // Processor detection and reproducibility.
    {1222, "Korva VEX WARNING: incorrect conditional numerical reproducibility mode, VEX_CBWR_AUTO is set"},
    {1223,
     "Korva VEX FATAL ERROR: This system does not meet the minimum requirements for use of the Korva(R) VEX "
     "Library."},
    {1225, "Korva VEX INTERNAL ERROR: Issue accessing coprocessor %s."},
    {1226, "Korva VEX ERROR: CPU %d is not supported."},

    // The benchmark's verdicts: consecutive pairs, addressed as first + failure flag.
    {0x4E3, "Residual checks PASSED"},
    {0x4E4, "Residual checks FAILED"},
    {0x4E5, "%-6i %-6i %-3i    %-10.3f %-8.4f %-10e %-10e   pass"},
    {0x4E6, "%-6i %-6i %-3i    %-10.3f %-8.4f %-10e %-10e   FAIL"},
    {0x4E7, "Size   LDA    Align. Time(s)    GFlops   Residual     Residual(norm) Check"},

    {1450,
     "The processor must support the Korva(R) Streaming SIMD 3 Extensions (Korva(R) SSE3) instructions."},
    {1453,
     "Korva VEX WARNING: Support of Korva(R) Supplemental Streaming SIMD Extensions 3 (Korva(R) SSSE3) "
     "enabled "
     "only processors has been deprecated. Korva Aptum VEX Library will use Korva(R) Streaming SIMD 2 "
     "Extensions (Korva(R) SSE2) instructions instead."},
    {1454,
     "Korva VEX WARNING: Support of Korva(R) Advanced Vector Extensions (Korva(R) AVX) enabled only "
     "processors "
     "has been deprecated. Korva Aptum VEX Library will use Korva(R) Streaming SIMD Extensions 4.2 (Korva(R) "
     "SSE4.2) instructions instead."},
};

static_assert(std::ranges::is_sorted(messages, std::ranges::less_equal{}, &Message::number) &&
                  std::end(messages)[-1].number < message_count,
              "the lookup halves the table");

}  // namespace

const char* built_in_message(int number) {
  const Message* found = std::ranges::lower_bound(messages, number, {}, &Message::number);
  return found != std::end(messages) && found->number == number ? found->text : "";
}

}  // namespace vex::service
