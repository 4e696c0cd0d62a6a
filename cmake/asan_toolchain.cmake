# clang where it is installed, since its fuzzer shares the sanitizers; the default compiler otherwise.
find_program(clang_compiler clang++)
if(clang_compiler)
  set(CMAKE_CXX_COMPILER ${clang_compiler})
endif()
