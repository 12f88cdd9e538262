// Hostile packets behind a valid header. Input: the script's length, the script,
// the file's parameters, its packets.
#include "fuzz/Files.h"
#include "fuzz/Target.h"
#include "testing/CheckingHost.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::size_t length = input.Byte();
  const Input script(input.TakeBytes(length));
  constexpr int kOneLayout = 1;
  const Bytes file = fuzz::MakeFile(&input, kOneLayout);
  CompareReadAhead(script, file);
  return 0;
}
