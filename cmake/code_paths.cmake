# Instruction flags of the code paths: the units of a path get these and nothing above them. The program starts
# on any x86-64; only a kernel that CPUID allows is ever called.
set(flags_def -msse3)
set(flags_cnr_def -msse3)
set(flags_mc3 -msse4.2)
set(flags_avx2 -mavx2 -mfma)
set(flags_avx512 -mavx512f -mavx512dq -mavx512bw -mavx512vl -mfma -mprefer-vector-width=512)

foreach(path def cnr_def mc3 avx2 avx512)
  foreach(source IN LISTS vex_sources)
    if(source MATCHES "/blas/${path}/[^/]*\\.cpp$" OR source MATCHES "/lapack/small/${path}\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "${flags_${path}}")
    endif()
  endforeach()
endforeach()

# The kernels are all pointer arithmetic in unrolled loops: with a check on every step clang takes minutes for one
# of these units, and a build of them is the whole time of a test run. What a wrong step would touch is still
# checked, by a call instead of inline code.
if(QUARLEN_SANITIZE MATCHES address AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  foreach(source IN LISTS vex_sources)
    if(source MATCHES "/blas/(def|cnr_def|mc3|avx2|avx512)/" OR source MATCHES "/lapack/small/")
      set_property(SOURCE ${source} APPEND PROPERTY COMPILE_OPTIONS
        -fno-sanitize=null,alignment,object-size,pointer-overflow
        -mllvm -asan-instrumentation-with-call-threshold=0)
    endif()
  endforeach()
endif()
