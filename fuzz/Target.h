// What a fuzz target defines: plays one input, which may end the process.
#ifndef QO_FUZZ_TARGET_H
#define QO_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#endif  // QO_FUZZ_TARGET_H
