// A file as the kit presents it, from any source, under any script; from an honest
// one, what is presented is presented as it is. Input: the audio and the video stream
// (0: the first), the faults as for fuzz/source, the script's length, the script, the
// file.
#include "fuzz/Faults.h"
#include "fuzz/Target.h"
#include "testing/Check.h"
#include "testing/CheckingHost.h"
#include "testing/HeapMeter.h"
#include "testing/PresentedBytes.h"

namespace {

// Bytes. Of a plan: the header twice, with records for what is in it; the first
// objects and the file's last bytes; the windows that these were read through.
constexpr std::size_t kPlanHeapPerByte = 64;
constexpr std::size_t kPlanHeap = 16 << 20;

std::optional<unsigned char> TakeStream(Input* input) {
  const std::uint8_t number = input->Byte();
  return number != 0 ? std::optional<unsigned char>(number) : std::nullopt;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  qo_host::StreamChoice choice;
  choice.audio = TakeStream(&input);
  choice.video = TakeStream(&input);
  const fuzz::FaultPlan plan = fuzz::TakeFaults(&input);
  const std::size_t length = input.Byte();
  const Input script(input.TakeBytes(length));
  const std::string_view file = input.Rest();

  FaultySource source(file);
  for (const auto& [at, fault] : plan) source.Plan(at, fault);
  std::unique_ptr<qo_host::PresentedFile> presented;
  const std::size_t before = HeapBytes();
  ResetHeapPeak();
  if (qo_host::PresentedFile::Make(&source, choice, &presented) == 0 && presented->isPresented()) {
    CHECK(HeapPeak() <= before + kPlanHeapPerByte * file.size() + kPlanHeap);
    const std::unique_ptr<IDataSource> view = presented->MakeSource();
    PlayScript(script, view.get(), file.size());
  }
  if (!plan.empty()) return 0;
  qo_host::Plan chosen;
  const std::optional<std::string> once = PresentedBytes(file, choice, &chosen);
  if (chosen.audio || chosen.video) CHECK(!once || PresentedBytes(*once, {}) == once);
  return 0;
}
