# 64-bit Arm Android by the NDK's own toolchain file, with what this project pins:
# the interface of Android 10 and a C++ library inside the parser, so that the
# host's own doesn't matter.
if(NOT EXISTS "$ENV{ANDROID_NDK_ROOT}/build/cmake/android.toolchain.cmake")
  message(FATAL_ERROR "ANDROID_NDK_ROOT is '$ENV{ANDROID_NDK_ROOT}': "
    "no Android NDK there. Install one and set the variable to its folder, see docs/android.md.")
endif()
set(ANDROID_ABI arm64-v8a)
set(ANDROID_PLATFORM android-29)
set(ANDROID_STL c++_static)
include($ENV{ANDROID_NDK_ROOT}/build/cmake/android.toolchain.cmake)
# The NDK's toolchain file doesn't tell CMake which NDK it is, and CMake takes one of
# an unknown version for an old one, whose linker for link-time optimisation was gold.
if(NOT DEFINED CMAKE_ANDROID_NDK_VERSION)
  set(CMAKE_ANDROID_NDK_VERSION ${ANDROID_NDK_MAJOR}.${ANDROID_NDK_MINOR})
endif()
