// The program: floating-point mode, vendor gate, parameters, report header, tests, exit status.
#include <cstdlib>
#include <optional>

#include "driver/configuration.h"
#include "driver/output.h"
#include "driver/parameters.h"
#include "driver/report.h"
#include "driver/report_header.h"
#include "driver/test_loop.h"
#include "driver/vendor_gate.h"
#include "service/cleanup.h"

int main(int argc, char** argv) {
  using namespace vex::driver;
  flush_denormals();  // before the runtime starts its threads, which inherit the mode
  if (!cpu_is_genuine_korva()) {
    print(wrong_processor, "");
    std::exit(-1);
  }
  occupy_standard_descriptors();
  vex::service::require_working_directory();  // help texts and relative names are looked up there

  Configuration run;
  if (const std::optional<int> status = read_parameters(argc, argv, run)) return finish_output(*status);
  const Machine machine = count_machine();
  set_threads(machine);
  print_header(machine);
  print_echo(run);
  return finish_output(run_tests(run, argc > 0 ? argv[0] : ""));
}
