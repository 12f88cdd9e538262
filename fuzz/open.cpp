// Opening and describing: every path through the header and what lies behind the
// data. Input: a debug level, an open mode, the file.
#include "fuzz/Harness.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const fuzz::Input script(input.TakeBytes(2));
  const std::string_view file = input.Rest();
  fuzz::Source source(file);
  fuzz::PlayScript(script, file.size(), &source, &source);
  return 0;
}
