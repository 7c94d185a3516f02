# The target kalvetra_gnustep: what a file of Objective-C++ needs to compile and link with GNUstep's Foundation.
if(NOT TARGET kalvetra_gnustep)
  add_library(kalvetra_gnustep INTERFACE)
  # CMake passes no language standard for Objective-C++ to GCC.
  target_compile_options(kalvetra_gnustep INTERFACE
    $<$<COMPILE_LANGUAGE:OBJCXX>:-std=c++20 -fexceptions -fobjc-exceptions -fno-strict-aliasing
      -fconstant-string-class=NSConstantString -fobjc-call-cxx-cdtors -pthread -Wno-restrict>)
  target_compile_definitions(kalvetra_gnustep INTERFACE
    GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_RUNTIME=1 _NATIVE_OBJC_EXCEPTIONS)
  target_include_directories(kalvetra_gnustep SYSTEM INTERFACE /usr/include/GNUstep)
  target_link_libraries(kalvetra_gnustep INTERFACE gnustep-base objc)
endif()
