# Cross-compilation for the camera's processor with Debian's aarch64 g++. VCA_SYSROOT, if set, is a
# folder with the libraries of an arm64 system, which the reference host needs; the library alone
# needs none.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# GCC remarks on an ABI change of its version 10 at every call that passes a record of two doubles.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
# CMake tries out the compiler in projects of their own, which read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VCA_SYSROOT)
if(VCA_SYSROOT)
    set(CMAKE_SYSROOT ${VCA_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
endif()
