// All that a host does with a file, in any order, going on after errors; then the
// same through the read-ahead source; then a session seeks exactly, to times that the
// script gives. Input: the script's length, the script, the file.
#include "fuzz/Target.h"
#include "qo_host/ExactSeek.h"
#include "qo_host/MemorySource.h"
#include "testing/Check.h"
#include "testing/CheckingHost.h"

namespace {

// What an exact seek has found comes next.
void SeekExactly(Input script, std::string_view file) {
  qo_host::ParserSession session({createParser, destroyParser},
                                 std::make_unique<qo_host::MemorySource>(file.data(), file.size()));
  qo_host::OpenOptions options;
  options.asIs = script.Byte() % 2 != 0;
  if (session.Open(options) < 0) return;
  const auto leading = session.FindTrack(qo_host::TrackKind::kVideo) != nullptr
                           ? qo_host::TrackKind::kVideo
                           : qo_host::TrackKind::kAudio;
  qo_host::ExactSeeker seeker(&session);
  for (int k = 0; k < 3; ++k) {
    const qo_host::ExactSeek seek = seeker.Seek(script.Take<std::uint16_t>());
    CHECK(seek.problem != qo_host::ExactSeek::Problem::kSourceFailed);
    CHECK(seek.outcome != qo_host::ExactSeek::Outcome::kCancelled);
    if (seek.outcome != qo_host::ExactSeek::Outcome::kFound) continue;
    const qo_host::AccessUnit* const unit = session.NextUnit(leading);
    CHECK(unit != nullptr && unit->timeMs == seek.timeMs);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::size_t length = input.Byte();
  const Input script(input.TakeBytes(length));
  const std::string_view file = input.Rest();
  CompareReadAhead(script, file);
  SeekExactly(script, file);
  return 0;
}
