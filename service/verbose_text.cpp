// Builds the texts of the trace from plain values; where the values come from is read top-down at the end.
#include "service/verbose_text.h"

#include <omp.h>

#include "service/buffer_cache.h"
#include "service/reproducibility.h"
#include "service/thread_count.h"
#include "service/version.h"

namespace vex::service {
namespace {

struct BranchName {
  int branch;
  const char* name;
};

// A branch without a name is shown by number, the AVX512_E1 branch 14 (?e) among them.
constexpr BranchName branch_names[] = {
    {1, "OFF"},    {2, "AUTO"},   {3, "COMPATIBLE"}, {4, "SSE2"},  {6, "SSSE3"},
    {7, "SSE4_1"}, {8, "SSE4_2"}, {9, "AVX"},        {10, "AVX2"}, {12, "AVX512"},
};

constexpr const char* domain_labels[4] = {",BLAS:%d", ",FFT:%d", ",ELEM:%d", ",PARDISO:%d"};

// The largest unit in which the duration is above 1.
void append_duration(TraceText& text, double seconds) {
  if (seconds <= 0.0)
    text.append("%.2fs", 0.0);
  else if (seconds > 1.0)
    text.append("%.2fs", seconds);
  else if (1000.0 * seconds > 1.0)
    text.append("%.2fms", 1000.0 * seconds);
  else if (1000000.0 * seconds > 1.0)
    text.append("%.2fus", 1000000.0 * seconds);
  else
    text.append("%.0fns", 1000000000.0 * seconds);
}

void append_branch(TraceText& text, int branch) {
  for (const BranchName& row : branch_names)
    if (row.branch == branch) return text.append(" CNR:%s", row.name);
  text.append(" CNR:?%x", static_cast<unsigned>(branch));
}

void append_interface(TraceText& text, int interface_code) {
  switch (interface_code) {
    case 0:
      return;
    case -1:
      return text.append(" %s", "cdecl");
    case 1:
      return text.append(" %s", "lp64");
    case 2:
      return text.append(" %s", "ilp64");
    default:
      return text.append(" iface%x", static_cast<unsigned>(interface_code));
  }
}

}  // namespace

TraceText call_information(double seconds, const CallSettings& settings) {
  TraceText text;
  append_duration(text, seconds);
  append_branch(text, settings.branch);
  if (settings.strict) text.append("%s", ",STRICT");
  text.append(" Dyn:%d", settings.dynamic);
  text.append(" FastMM:%d", settings.buffer_cache ? 1 : 0);
  text.append(" TID:%-2d", settings.thread);
  text.append(" NThr:%d", settings.threads);
  for (int domain = 0; domain < 4; ++domain)
    if (settings.domain_threads[domain] != settings.threads)
      text.append(domain_labels[domain], settings.domain_threads[domain]);
  return text;
}

TraceText header_text(int interface_code, const vex_version& version, double gigahertz) {
  TraceText text;
  text.append("VEX_VERBOSE VEX %d.%d", version.major_version, version.minor_version);
  if (version.update > 0) text.append(" Update %d", version.update);
  text.append(" Patch %d", version_patch);
  text.append(" %s build %s for %s %s", version.product_status, version.build, version.platform,
              version.processor);
  text.append(", %s", "Lnx");
  text.append(" %.2fGHz", gigahertz);
  append_interface(text, interface_code);
  text.append(" %s", "korva_thread");
  return text;
}

CallSettings current_settings() {
  CallSettings settings;
  settings.branch = vex_serv_cbwr_get(1);
  settings.strict = (vex_serv_cbwr_get(-1) & cbwr_strict) != 0;
  settings.dynamic = vex_serv_get_dynamic();
  settings.buffer_cache = vex_serv_get_fast_mm_status() == 0;
  settings.thread = omp_get_thread_num();
  settings.threads = vex_serv_get_max_threads();
  for (int domain = 1; domain <= 4; ++domain)
    settings.domain_threads[domain - 1] = vex_serv_domain_get_max_threads(domain);
  return settings;
}

}  // namespace vex::service
