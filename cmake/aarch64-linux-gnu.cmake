# 64-bit Arm, built by Debian's cross compiler and run by QEMU's user mode
# emulation. Libraries of the target that Debian's cross packages lack come from
# the folder in the build tree into which scripts/test-arm64 unpacks them.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
cmake_path(SET arm64_root NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/arm64/root)
set(CMAKE_FIND_ROOT_PATH ${arm64_root})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
