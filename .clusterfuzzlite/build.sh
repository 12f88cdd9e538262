#!/bin/bash -eu
# Builds each fuzz target with its corpus and dictionary into $OUT. The compiler,
# its flags and the engine come from the environment.
for target in open host_session packet source exports; do
  # shellcheck disable=SC2086  # flags are words
  $CXX $CXXFLAGS -std=c++17 -I. -Iinclude \
    fuzz/"$target".cpp fuzz/Harness.cpp tests/AsfBuilder.cpp asf/*.cpp asf/format/*.cpp plugin/*.cpp \
    host/MemorySource.cpp host/CachedSource.cpp host/ReadAheadSource.cpp \
    -Wl,--wrap=__lsan_ignore_object $LIB_FUZZING_ENGINE -o "$OUT/$target"
  zip -jqr "$OUT/${target}_seed_corpus.zip" fuzz/corpus/"$target"
  cp fuzz/asf.dict "$OUT/$target.dict"
done
