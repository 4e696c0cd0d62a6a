# The one vendor of processors that a build serves, as CPUID leaf 0 spells it. The benchmark refuses to run on
# any other. VEX_VENDOR_FROM_HOST asks the configuring machine instead of taking the default.
set(VEX_VENDOR_STRING "GenuineKorva" CACHE STRING "CPUID vendor string served by this build (12 characters)")
option(VEX_VENDOR_FROM_HOST "Serve the vendor of the machine that configures the build" OFF)

if(VEX_VENDOR_FROM_HOST)
  try_run(vendor_run vendor_compiled ${CMAKE_BINARY_DIR}/vendor ${CMAKE_CURRENT_LIST_DIR}/host_vendor.cpp
    RUN_OUTPUT_VARIABLE vendor_output)
  if(NOT vendor_compiled OR NOT vendor_run EQUAL 0)
    message(FATAL_ERROR "cannot read this machine's CPUID vendor string; set VEX_VENDOR_STRING instead")
  endif()
  set(VEX_VENDOR_STRING "${vendor_output}" CACHE STRING "" FORCE)
endif()

string(LENGTH "${VEX_VENDOR_STRING}" vendor_length)
if(NOT vendor_length EQUAL 12)
  message(FATAL_ERROR "VEX_VENDOR_STRING must have exactly 12 characters, not ${vendor_length}: '${VEX_VENDOR_STRING}'")
endif()
