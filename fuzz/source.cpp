// A byte source that misbehaves. Input: the number of faults, then 3 bytes each
// (calls since the last one, kind); the script's length, the script, the file.
#include "fuzz/Faults.h"
#include "fuzz/Target.h"
#include "testing/CheckingHost.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const fuzz::FaultPlan plan = fuzz::TakeFaults(&input);
  const std::size_t length = input.Byte();
  const Input script(input.TakeBytes(length));
  const std::string_view file = input.Rest();
  FaultySource source(file);
  MeteredSource metered(&source);
  for (const auto& [at, fault] : plan) source.Plan(at, fault);
  PlayScript(script, &metered);
  return 0;
}
