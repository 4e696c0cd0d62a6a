// Prints the 12-character vendor string of the processor it runs on; used while a build is configured.
#include <cpuid.h>

#include <cstdio>
#include <cstring>

int main() {
  unsigned eax = 0, words[3] = {};
  __cpuid(0, eax, words[0], words[2], words[1]);  // the string is EBX, EDX, ECX
  char vendor[13] = {};
  std::memcpy(vendor, words, 12);
  std::fputs(vendor, stdout);
}
