# Compile options shared by every target.
option(QUARLEN_STATIC "Link the program with no shared library at all" OFF)
option(QUARLEN_TESTS "Build the tests" ON)
option(QUARLEN_BENCHES "Build the benchmarks of bench/" ON)
set(QUARLEN_SANITIZE "" CACHE STRING "Sanitizers to compile with, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# The rates are the product: release builds use -O3 and keep debug names for perf. No fast-math, no
# contraction, no -march: a fused multiply-add happens only where the source writes one.
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -g1")

if(QUARLEN_STATIC)
  set(CMAKE_FIND_LIBRARY_SUFFIXES .a)  # the OpenMP runtime's archive, not its shared library
endif()
find_package(OpenMP REQUIRED COMPONENTS CXX)

add_library(vex_options INTERFACE)
target_include_directories(vex_options INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
target_compile_definitions(vex_options INTERFACE VEX_VENDOR_STRING="${VEX_VENDOR_STRING}")
target_compile_options(vex_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Werror -ffp-contract=off -fno-math-errno)
target_link_libraries(vex_options INTERFACE OpenMP::OpenMP_CXX ${CMAKE_DL_LIBS})
if(QUARLEN_SANITIZE)
  target_compile_options(vex_options INTERFACE -fsanitize=${QUARLEN_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(vex_options INTERFACE -fsanitize=${QUARLEN_SANITIZE})
endif()
