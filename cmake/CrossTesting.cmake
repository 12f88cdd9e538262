# Tests on a machine that cannot run the target's programs itself: GoogleTest
# built from Debian's sources, programs started through the emulator. Elsewhere
# the system's GoogleTest, and programs as they are.
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)

# The environment of a test that builds a project of its own for the same target.
set(build_environment "CXX=${CMAKE_CXX_COMPILER}" "CXXFLAGS=${CMAKE_CXX_FLAGS}"
  "CMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}" "EMULATOR=${emulator}")

# Stores in `result` the path by which a test or another program starts that of
# `target`: one word, although the emulator may come first.
function(program_path target result)
  set(path $<TARGET_FILE:${target}>)
  if(emulator)
    set(start ${CMAKE_CURRENT_BINARY_DIR}/emulated/${target})
    file(GENERATE OUTPUT ${start} CONTENT "#!/bin/sh\nexec ${emulator} ${path} \"$@\"\n"
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    set(path ${start})
  endif()
  set(${result} ${path} PARENT_SCOPE)
endfunction()

if(CMAKE_CROSSCOMPILING)
  set(INSTALL_GTEST OFF)
  set(CMAKE_POLICY_DEFAULT_CMP0069 NEW)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  foreach(library gtest gtest_main gmock gmock_main)
    target_compile_options(${library} PRIVATE -w)
  endforeach()
else()
  find_package(GTest REQUIRED)
endif()
