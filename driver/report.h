// The numbers of the driver's messages in the catalogue, and the one way in which the driver prints them.
#pragma once

#include "service/messages.h"

namespace vex::driver {

enum Message : int {
  empty_line = 0,
  wrong_processor = 0x42E,
  title = 0x42F,
  parameters_set = 0x430,
  number_of_tests = 0x431,
  not_enough_memory = 0x432,
  memory_requested = 0x433,
  block_not_obtained = 0x434,
  timing_banner = 0x435,
  info_returned = 0x437,
  summary_banner = 0x439,
  summary_columns = 0x43A,
  summary_row = 0x43B,
  end_of_tests = 0x43C,
  data_or_help = 0x43D,
  help_not_opened = 0x43E,
  date_and_time = 0x43F,
  cpu_frequency = 0x440,
  number_of_cpus = 0x441,
  number_of_threads = 0x442,
  incorrect_parameter = 0x443,
  not_less_than = 0x444,
  set_to_default = 0x445,
  not_bigger_than = 0x446,
  input_not_opened = 0x447,
  number_of_cores = 0x44F,
  verdict = 0x4E3,     // PASSED; the next number is FAILED
  trial_line = 0x4E5,  // pass; the next number is FAIL
  trial_columns = 0x4E7,
};

// Prints message `number` (plus an offset, for the pairs above) and a line break on standard output. The
// arguments must have the types that the message's format names.
template <class... Arguments>
void print(int number, Arguments... arguments) {
  vex_serv_print(0, number, static_cast<int>(sizeof...(arguments)), arguments...);
}

}  // namespace vex::driver
