# Compiles for AArch64 with SVE; ctest runs what it made by sverun.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_C_FLAGS_INIT -march=armv8.2-a+sve)
set(CMAKE_CROSSCOMPILING_EMULATOR sverun CACHE STRING "What runs the tests")
