# One place for the flags of every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# Two plug-ins in one host must not share symbols.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_OBJCXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

# The keyer promises the same bytes on every compiler: no fused multiply-add, no fast-math, ever.
add_compile_options(-ffp-contract=off)
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-restrict)  # GCC 12 warns of std::string's own operator+ (its bug 105651)
endif()

if(KALVETRA_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "The fuzz targets need clang's libFuzzer; configure with CXX=clang++-16")
  endif()
  set(KALVETRA_SANITIZE ON)
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()

if(KALVETRA_SANITIZE)
  set(sanitizers -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_options(${sanitizers} -O1 -g1)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    # With SSE4 as the floor the vector library leaves its emulation out, which takes minutes to compile when watched.
    add_compile_options(-march=x86-64-v2 -DHWY_DISABLE_PCLMUL_AES)
  endif()
  add_link_options(${sanitizers})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)  # false alarms in the standard library under the sanitizers
  endif()
endif()

# For code that does no work on pixels: under the sanitizers half the time to compile. Fuzzers run longer than that.
set(KALVETRA_NO_PIXELS)
if(KALVETRA_SANITIZE AND NOT KALVETRA_FUZZ)
  set(KALVETRA_NO_PIXELS -O0)
endif()

if(KALVETRA_SANITIZE_THREADS)
  add_compile_options(-fsanitize=thread -O1 -g1)
  add_link_options(-fsanitize=thread)
endif()
