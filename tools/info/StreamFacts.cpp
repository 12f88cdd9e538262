// Gathers what header, session and packets tell of a stream. No state.
#include "tools/info/StreamFacts.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "qo_host/CodecNames.h"
#include "qo_host/StreamCodec.h"
#include "qo_parser_asf/Codecs.h"

namespace tool {
namespace {

using qo_host::StreamHeader;
using qo_host::StreamKind;

// As it is, the file's first audio and first video stream are the tracks.
const qo_host::Track* TrackOf(Input* input, const StreamHeader& stream) {
  const bool isAudio = stream.kind == StreamKind::kAudio;
  if (!isAudio && stream.kind != StreamKind::kVideo) return nullptr;
  const qo_host::Track* const track =
      input->session().FindTrack(isAudio ? qo_host::TrackKind::kAudio : qo_host::TrackKind::kVideo);
  if (track == nullptr) return nullptr;
  if (track->stream) return *track->stream == stream.number ? track : nullptr;
  const auto& known = input->layout().streams;
  const bool isTrack = std::any_of(known.begin(), known.end(), [&](const auto& other) {
    return other.isTrack && other.number == stream.number && other.kind == stream.kind;
  });
  return isTrack && !stream.hidden ? track : nullptr;
}

std::optional<Ratio> MakeRatio(unsigned long long x, unsigned long long y) {
  if (x == 0 || y == 0) return std::nullopt;
  const unsigned long long divisor = std::gcd(x, y);
  constexpr unsigned long long kLargest = std::numeric_limits<unsigned int>::max();
  if (x / divisor > kLargest || y / divisor > kLargest) return std::nullopt;
  return Ratio{static_cast<unsigned int>(x / divisor), static_cast<unsigned int>(y / divisor)};
}

void AddPicture(const qo_host::FileHeader& header, DescribedStream* facts) {
  const StreamHeader& stream = *facts->header;
  if (!stream.video) return;
  facts->pixelAspect = MakeRatio(header.TagNumber(stream.number, "AspectRatioX"),
                                 header.TagNumber(stream.number, "AspectRatioY"));
  const Ratio pixel = facts->pixelAspect.value_or(Ratio{1, 1});
  facts->displayAspect = MakeRatio(1ull * std::abs(1ll * stream.video->width) * pixel.x,
                                   1ull * std::abs(1ll * stream.video->height) * pixel.y);
}

// What the first and last packets tell of a stream, and how fast all packets come.
struct Measured {
  const qo_host::StreamSample* sample;  // null: nothing
  double bitsPerSecond;                 // 0: not known
};

// What the header says first; a bitrate of 0 says nothing.
std::optional<Measurable<unsigned long long>> BitrateOf(const qo_host::FileHeader& header,
                                                        const StreamHeader& stream,
                                                        const Measured& measured) {
  const qo_host::ExtendedStream* const extended = header.Extended(stream.number);
  const unsigned long long stated[] = {
      stream.audio ? 8ull * stream.audio->averageBytesPerSecond : 0,
      extended != nullptr ? extended->bitsPerSecond : 0, header.Bitrate(stream.number).value_or(0)};
  for (const unsigned long long bitrate : stated) {
    if (bitrate != 0) return Measurable<unsigned long long>{bitrate, false};
  }
  if (measured.sample == nullptr || measured.bitsPerSecond == 0) return std::nullopt;
  const double bitrate = measured.sample->share * measured.bitsPerSecond;
  return Measurable<unsigned long long>{static_cast<unsigned long long>(bitrate), true};
}

std::optional<Measurable<double>> FrameRateOf(const qo_host::ExtendedStream* extended,
                                              const qo_host::StreamSample* sample) {
  constexpr double kPerSecond = 10000000;
  if (extended != nullptr && extended->averageTimePerFrame != 0) {
    return Measurable<double>{kPerSecond / static_cast<double>(extended->averageTimePerFrame),
                              false};
  }
  if (sample == nullptr || sample->spanMs == 0) return std::nullopt;
  return Measurable<double>{sample->objects * 1000.0 / sample->spanMs, true};
}

// The last object is as long as the first ones are on average.
void AddTimes(const qo_host::StreamSample& sample, DescribedStream* facts) {
  facts->startMs = sample.firstMs;
  if (!sample.firstMs || !sample.lastMs || *sample.lastMs < *sample.firstMs) return;
  const unsigned int step = sample.objects != 0 ? sample.spanMs / sample.objects : 0;
  facts->durationMs = *sample.lastMs - *sample.firstMs + step;
}

DescribedStream Gather(Input* input, const StreamHeader& stream, const Measured& measured) {
  const qo_host::FileHeader& header = input->header();
  const qo_host::Track* const track = TrackOf(input, stream);
  DescribedStream facts = {};
  facts.header = &stream;
  facts.tag = CodecTagText(stream);
  // That of a track is told by its data where the tag leaves it open.
  const bool isNamed = track != nullptr && track->info.codec != kCodecUnknown;
  facts.codec = isNamed ? qo_host::CodecName(track->info.codec) : CodecNameOf(stream);
  if (facts.codec.empty()) facts.codec = facts.tag;
  facts.profile = ProfileText(header, stream);
  facts.chosen = track != nullptr;
  const qo_host::ExtendedStream* const extended = header.Extended(stream.number);
  if (extended != nullptr) {
    facts.language = header.Language(extended->language);
    if (!extended->names.empty()) facts.name = extended->names.front().text;
  }
  const qo_host::StreamSample* const sample = measured.sample;
  facts.bitrate = BitrateOf(header, stream, measured);
  if (stream.kind == StreamKind::kVideo) facts.frameRate = FrameRateOf(extended, sample);
  AddPicture(header, &facts);
  if (sample != nullptr) AddTimes(*sample, &facts);
  return facts;
}

}  // namespace

std::vector<DescribedStream> GatherStreams(Input* input) {
  const qo_host::FileHeader& header = input->header();
  std::map<unsigned char, qo_host::StreamSample> samples;
  double bitsPerSecond = 0;
  if (header.isAsf) {
    const qo_host::AsfLayout layout = FindPackets(input->file(), header);
    input->CheckRead(SampleStreams(input->file(), layout, &samples).status);
    const double bytes = 1.0 * static_cast<double>(layout.PacketsInFile()) * layout.packetLength;
    const auto durationMs = static_cast<double>(input->session().durationMs());
    if (durationMs != 0) bitsPerSecond = bytes * 8000 / durationMs;
  }
  std::vector<DescribedStream> streams;
  for (const StreamHeader& stream : header.streams) {
    const auto found = samples.find(stream.number);
    const bool isThere = found != samples.end();
    streams.push_back(Gather(input, stream, {isThere ? &found->second : nullptr, bitsPerSecond}));
  }
  return streams;
}

}  // namespace tool
