// All that a host does with a file, in any order, going on after errors; then the
// same through the read-ahead source. Input: the script's length, the script, the
// file.
#include "fuzz/Target.h"
#include "testing/CheckingHost.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::size_t length = input.Byte();
  const Input script(input.TakeBytes(length));
  CompareReadAhead(script, input.Rest());
  return 0;
}
