// The help texts.
#include "driver/help.h"

#include <cstdio>

#include "driver/line_buffer.h"
#include "driver/report.h"
#include "service/safe_string.h"

namespace vex::driver {

int print_help(const char* file_name) {
  std::FILE* file = vex_serv_fopen(file_name, "r");
  if (!file) {
    print(help_not_opened, file_name);
    return 0;
  }
  for (LineBuffer line; line.read(file);) std::printf("%s", line.text());
  vex_serv_fclose(file);
  return 0;
}

}  // namespace vex::driver
