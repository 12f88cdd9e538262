// Gather: play-out, packets, seeks, in this order. No state.
#include "tools/report/Gather.h"

#include <algorithm>

#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"

namespace tool {
namespace {

// Passes over the file, for the progress bar.
constexpr unsigned long long kPasses = 2;

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

Measures Measured(Input* input, const PacketExtent& extent, const Watch& watch) {
  Measures measures(Expected(input, extent));
  for (const qo_host::StreamHeader& stream : input->header().streams) {
    measures.AddStream(stream.number, stream.kind);
  }
  const qo_host::PresentedFile* const presented = input->session().presented();
  ScanPackets(*input, extent, [&](const qo_host::Packet& packet) {
    const bool isDamaged =
        presented != nullptr && presented->damage().packets.count(packet.number) != 0;
    measures.Add(packet, isDamaged);
    return watch(packet.number * extent.layout.packetLength);
  });
  return measures;
}

}  // namespace

Gathered Gather(Input* input) {
  ProgressBar bar(ProgressBar::Measure::kBytes);
  unsigned long long size = 0;
  if (input->file()->GetSize(&size) != 0) size = 0;  // then there is no bar
  const auto pass = [&](unsigned int number) -> Watch {
    return [&bar, size, number](unsigned long long done) {
      bar.Show(number * size + done, kPasses * size);
      return !IsInterrupted();
    };
  };
  PlayOut played = Judge(input, pass(0));
  PacketExtent extent = FindPackets(input);
  Measures measures = Measured(input, extent, pass(1));
  std::vector<SurveyedMode> seeks = SurveySeeks(input, measures.Targets());
  return {input, std::move(played), std::move(extent), std::move(measures), std::move(seeks)};
}

}  // namespace tool
