// The leak checker asks a program for what it may overlook by a function of this name.

// clang's OpenMP runtime never returns what it holds for teams when their size changes.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libomp.so\n";
}
