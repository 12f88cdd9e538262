# In place of an NDK's toolchain file: tells CMake what that tells it, but takes
# clang and lld of this machine, its C++ library, the headers beside this file and
# the libraries that tests/check-android makes. The environment variable
# NDK_STANDIN_TARGET names the machine to build for, as clang does.
set(CMAKE_SYSTEM_NAME Android)
set(CMAKE_SYSTEM_VERSION 1)  # CMake's own support for Android stays out of the way
set(ANDROID_NDK_MAJOR 25)
set(ANDROID_NDK_MINOR 2)
set(ANDROID TRUE)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "$ENV{NDK_STANDIN_TARGET}")
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_CXX_COMPILER_TARGET $ENV{NDK_STANDIN_TARGET})
find_program(CMAKE_AR llvm-ar-14 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-14 REQUIRED)
find_program(CMAKE_STRIP llvm-strip-14 REQUIRED)
add_compile_options(-g)
include_directories(SYSTEM ${CMAKE_CURRENT_LIST_DIR}/../../include)
add_link_options(-fuse-ld=lld -Wl,--no-undefined -L${CMAKE_CURRENT_LIST_DIR}/../../lib)
