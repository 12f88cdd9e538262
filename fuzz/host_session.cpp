// All that a host does with a file, in any order, going on after errors; then the
// same through the read-ahead source. Input: the script's length, the script, the
// file.
#include "fuzz/Harness.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::size_t length = input.Byte();
  const fuzz::Input script(input.TakeBytes(length));
  fuzz::CompareReadAhead(script, input.Rest());
  return 0;
}
