# The vector library, with the same instruction sets in every target: their tables of functions must match the CPU level.
find_package(hwy REQUIRED)
add_library(kalvetra_vectors INTERFACE)
target_link_libraries(kalvetra_vectors INTERFACE hwy::hwy)
target_compile_definitions(kalvetra_vectors INTERFACE
  HWY_DISABLED_TARGETS=HWY_SSSE3  # no processor of interest stops there
  HWY_BROKEN_EMU128=0)            # its fallback is compiled and never run: below SSE4 the plain forms are
