# The vector library, with the same instruction sets in every target: their tables of functions must match the CPU level.
add_library(kalvetra_vectors INTERFACE)
if(EMSCRIPTEN)  # WebAssembly's vectors are chosen when compiling: the headers suffice
  find_path(KALVETRA_HWY_HEADERS hwy/highway.h REQUIRED)
  target_include_directories(kalvetra_vectors SYSTEM INTERFACE ${KALVETRA_HWY_HEADERS})
else()
  find_package(hwy REQUIRED)
  target_link_libraries(kalvetra_vectors INTERFACE hwy::hwy)
endif()
target_compile_definitions(kalvetra_vectors INTERFACE
  # Those without a CPU level. No processor of interest stops at SSSE3; Arm's long vectors are left to NEON.
  "HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_SVE|HWY_SVE2|HWY_SVE_256|HWY_SVE2_128)"
  # NEON is in every 64-bit Arm. Asking at run time would also compile its functions for the crypto instructions, and
  # GCC refuses to mix those with the constructors of the standard library and its own.
  TOOLCHAIN_MISS_SYS_AUXV_H
  # Highway distrusts its fallback without vector instructions under some compilers. The exact key never runs it, as it
  # has plain forms; the deep key does wherever there is no better level, and its pinned frames would show a fault.
  HWY_BROKEN_EMU128=0)
