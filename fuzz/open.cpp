// Opening and describing: every path through the header and what lies behind the
// data. Input: a debug level, an open mode, the file.
#include "fuzz/Target.h"
#include "testing/CheckingHost.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const Input script(input.TakeBytes(2));
  const std::string_view file = input.Rest();
  FaultySource source(file);
  MeteredSource metered(&source);
  PlayScript(script, &metered);
  return 0;
}
