# Toolchain file: 64-bit Arm from another Debian machine, its programs run under an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++-12)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
