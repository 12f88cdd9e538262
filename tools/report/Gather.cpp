// Gather: play-out, packets, seeks, in this order. No state.
#include "tools/report/Gather.h"

#include <algorithm>

#include "qo_host/FileCheck.h"
#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"

namespace tool {
namespace {

// Passes over the file, for the progress bar.
constexpr unsigned long long kPasses = 2;

void Show(const Input& input, ProgressBar* bar, unsigned long long done, unsigned long long total) {
  if (IsInterrupted()) throw Failure(kExitCannotRun, input.path() + ": interrupted");
  bar->Show(done, total);
}

void JudgeByPlayOut(Input* input, ProgressBar* bar, Verdict* verdict) {
  const unsigned long long fileSize = input->layout().fileSize.value_or(0);
  qo_host::FileCheck check(input->session(), input->file());
  qo_host::Totals totals;
  while (const qo_host::AccessUnit* unit = input->session().NextUnit()) {
    totals.Add(*unit);
    input->CheckRead(check.Follow());
    unsigned long long position = 0;
    input->session().view()->GetPosition(&position);
    Show(*input, bar, position, kPasses * fileSize);
  }
  JudgePlayOut(input, totals, verdict);
  std::vector<qo_host::Finding> findings;
  input->CheckRead(check.Finish(verdict->findings, &findings));
  verdict->Add(findings);
}

// The stream that is played of a kind; otherwise the first described.
std::optional<unsigned char> StreamOf(Input* input, qo_host::StreamKind kind) {
  const bool isAudio = kind == qo_host::StreamKind::kAudio;
  const qo_host::Track* const track =
      input->session().FindTrack(isAudio ? qo_host::TrackKind::kAudio : qo_host::TrackKind::kVideo);
  if (track != nullptr && track->stream) return track->stream;
  for (const qo_host::StreamHeader& stream : input->header().streams) {
    if (stream.kind == kind) return stream.number;
  }
  return {};
}

Measures::Expectation Expected(Input* input, const PacketExtent& extent) {
  Measures::Expectation expected;
  expected.packets = extent.stated;
  expected.packetLength = extent.layout.packetLength;
  const qo_host::PresentedFile* const presented = input->session().presented();
  const bool isPresented = presented != nullptr && presented->isPresented();
  if (isPresented) expected.durationMs = input->session().durationMs();
  expected.audio = StreamOf(input, qo_host::StreamKind::kAudio);
  expected.video = StreamOf(input, qo_host::StreamKind::kVideo);
  expected.targetsMs = SeekTargetsMs(input->session().durationMs());
  return expected;
}

Measures Measured(Input* input, const PacketExtent& extent, ProgressBar* bar) {
  Measures measures(Expected(input, extent));
  for (const qo_host::StreamHeader& stream : input->header().streams) {
    measures.AddStream(stream.number, stream.kind);
  }
  const qo_host::PresentedFile* const presented = input->session().presented();
  ScanPackets(*input, extent, [&](const qo_host::Packet& packet) {
    const bool isDamaged =
        presented != nullptr && presented->damage().packets.count(packet.number) != 0;
    measures.Add(packet, isDamaged);
    Show(*input, bar, extent.count + packet.number, kPasses * extent.count);
    return true;
  });
  return measures;
}

}  // namespace

Gathered Gather(Input* input) {
  ProgressBar bar;
  Verdict verdict = OpenAndJudge(input);
  if (input->openStatus() == kParserOk) JudgeByPlayOut(input, &bar, &verdict);
  PacketExtent extent = FindPackets(input);
  Measures measures = Measured(input, extent, &bar);
  std::vector<SurveyedMode> seeks = SurveySeeks(input, measures.Targets());
  return {input, std::move(verdict), std::move(extent), std::move(measures), std::move(seeks)};
}

}  // namespace tool
