#!/bin/bash -eu
# Builds each fuzz target with its corpus and dictionary into $OUT. The compiler,
# its flags and the engine come from the environment.
for source in fuzz/[a-z]*.cpp; do
  target=$(basename "$source" .cpp)
  # shellcheck disable=SC2086  # flags are words
  $CXX $CXXFLAGS -std=c++17 -I. -Iinclude \
    "$source" testing/*.cpp asf/*.cpp asf/format/*.cpp plugin/*.cpp host/*.cpp \
    -Wl,--wrap=__lsan_ignore_object $LIB_FUZZING_ENGINE -ldl -o "$OUT/$target"
  zip -jqr "$OUT/${target}_seed_corpus.zip" fuzz/corpus/"$target"
  cp fuzz/asf.dict "$OUT/$target.dict"
done
