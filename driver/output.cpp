// Standard streams.
#include "driver/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vex::driver {

void occupy_standard_descriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free descriptor is this one. Opened the wrong way round, it refuses what the stream is for.
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1) return;
  }
}

int finish_output(int status) {
  const bool failed_before = std::ferror(stdout) != 0;
  errno = 0;
  if (std::fclose(stdout) == 0 && !failed_before) return status;
  std::fprintf(stderr, "quarlen: the report could not be written to standard output%s%s\n", errno ? ": " : "",
               errno ? std::strerror(errno) : "");
  return 255;
}

}  // namespace vex::driver
