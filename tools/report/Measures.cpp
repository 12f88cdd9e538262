// Measures: sorts what each packet says into bins. Owns them all.
#include "tools/report/Measures.h"

#include <algorithm>

namespace tool {
namespace {

constexpr long long kNarrowestBinMs = 100;

// Objects that jump further ahead than this, and behind the end that is expected, carry a
// time that came of damage: one of them would press all others into a single bin.
constexpr long long kLongestJumpMs = 600000;

// Preroll is removed from the times by a subtraction in 32 bits.
long long TimeOf(const qo_host::Payload& payload) {
  return std::max(0, static_cast<int>(payload.timeMs));
}

}  // namespace

void Span::Add(long long value) {
  const bool isFirst = !any();
  least = isFirst ? value : std::min(least, value);
  greatest = isFirst ? value : std::max(greatest, value);
}

Measures::Measures(const Expectation& expectation)
    : expectation_(expectation), binMs_(kNarrowestBinMs) {
  const unsigned long long packets = std::max(expectation.packets, 1ull);
  places_.resize(static_cast<std::size_t>(std::min<unsigned long long>(packets, kPlaces)));
  for (std::size_t i = 0; i < places_.size(); ++i) places_[i].first = packets * i / places_.size();
  startsBetween_.resize(expectation.targetsMs.size() + 1);
}

void Measures::AddStream(unsigned char number, qo_host::StreamKind kind) {
  StreamMeasure& stream = streams_[number];
  stream.kind = kind;
  stream.bytesOver.resize(kBins);
  stream.longestKeyDistanceOver.resize(kBins);
  stream.timesAt.resize(places_.size());
}

void Measures::Add(const qo_host::Packet& packet, bool isDamaged) {
  const auto behind = std::upper_bound(
      places_.begin(), places_.end(), packet.number,
      [](unsigned long long number, const Place& place) { return number < place.first; });
  const auto at = static_cast<std::size_t>(behind - places_.begin() - 1);
  Place& place = places_[at];
  ++packets_;
  ++place.packets;
  if (!packet.hasErrorCorrection) ++withoutErrorCorrection_;
  const bool isBad = isDamaged || packet.fault != qo_host::PacketFault::kNone;
  if (isBad) {
    ++damaged_;
    ++place.damaged;
    if (damagedList_.size() < kDamagedListed) damagedList_.push_back({packet.number, packet.fault});
  } else {
    place.bytes += expectation_.packetLength;
    place.padding += std::min(packet.padding, expectation_.packetLength);
  }
  for (const qo_host::Payload& payload : packet.payloads) {
    const auto stream = streams_.find(payload.stream);
    if (stream != streams_.end()) {
      AddPayload(payload, at, &stream->second);
    } else if (!isBad) {
      undescribedBytes_ += payload.present;
    }
  }
  if (audioMs_ && videoMs_) place.audioAhead.Add(*audioMs_ - *videoMs_);
}

void Measures::AddPayload(const qo_host::Payload& payload, std::size_t place,
                          StreamMeasure* measure) {
  StreamMeasure& stream = *measure;
  const long long timeMs = TimeOf(payload);
  const std::optional<std::size_t> bin = BinOf(timeMs);
  stream.bytes += payload.present;
  if (payload.offset == 0) ++stream.objects;
  if (!bin) {
    stream.astrayBytes += payload.present;
    return;
  }
  stream.bytesOver[*bin] += payload.present;
  if (payload.offset != 0) return;
  stream.times.Add(timeMs);
  stream.timesAt[place].Add(timeMs);
  if (payload.keyFrame) AddKeyFrame(timeMs, *bin, &stream);
  AddObject(payload.stream, payload.keyFrame, timeMs, &stream);
}

void Measures::AddKeyFrame(long long timeMs, std::size_t bin, StreamMeasure* stream) {
  ++stream->keyFrames;
  if (stream->lastKeyMs && timeMs > *stream->lastKeyMs) {
    const long long distanceMs = timeMs - *stream->lastKeyMs;
    long long& longest = stream->longestKeyDistanceOver[bin];
    longest = std::max(longest, distanceMs);
    stream->longestKeyDistanceMs = std::max(stream->longestKeyDistanceMs, distanceMs);
    stream->keyDistanceSumMs += static_cast<unsigned long long>(distanceMs);
    ++stream->keyDistances;
  }
  stream->lastKeyMs = timeMs;
}

void Measures::AddObject(unsigned char number, bool isKey, long long timeMs,
                         StreamMeasure* stream) {
  if (number == expectation_.audio) audioMs_ = timeMs;
  if (number == expectation_.video) videoMs_ = timeMs;
  const bool isJudged = number == (expectation_.video ? expectation_.video : expectation_.audio);
  if (!isJudged || (stream->kind == qo_host::StreamKind::kVideo && !isKey)) return;
  const std::vector<unsigned long long>& targets = expectation_.targetsMs;
  const auto next =
      std::lower_bound(targets.begin(), targets.end(), static_cast<unsigned long long>(timeMs));
  startsBetween_[static_cast<std::size_t>(next - targets.begin())].Add(timeMs);
}

std::optional<std::size_t> Measures::BinOf(long long timeMs) {
  const bool isExpected = static_cast<unsigned long long>(timeMs) <= expectation_.durationMs;
  if (!isExpected && timeMs > topMs_.value_or(timeMs) + kLongestJumpMs) return {};
  topMs_ = std::max(topMs_.value_or(0), timeMs);
  while (timeMs / binMs_ >= static_cast<long long>(kBins)) DoubleBins();
  return static_cast<std::size_t>(timeMs / binMs_);
}

void Measures::DoubleBins() {
  binMs_ *= 2;
  for (auto& [number, stream] : streams_) {
    for (std::size_t i = 0; i < kBins; ++i) {
      const bool isThere = 2 * i < kBins;
      std::vector<unsigned long long>& bytes = stream.bytesOver;
      std::vector<long long>& longest = stream.longestKeyDistanceOver;
      bytes[i] = isThere ? bytes[2 * i] + bytes[2 * i + 1] : 0;
      longest[i] = isThere ? std::max(longest[2 * i], longest[2 * i + 1]) : 0;
    }
  }
}

std::vector<SeekTarget> Measures::Targets() const {
  std::vector<SeekTarget> targets(expectation_.targetsMs.size());
  std::optional<long long> before, after;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    targets[i].timeMs = expectation_.targetsMs[i];
    if (startsBetween_[i].any()) before = std::max(before.value_or(0), startsBetween_[i].greatest);
    targets[i].before = before;
  }
  for (std::size_t i = targets.size(); i-- > 0;) {
    const Span& behind = startsBetween_[i + 1];
    if (behind.any()) after = std::min(after.value_or(behind.least), behind.least);
    const auto timeMs = static_cast<long long>(targets[i].timeMs);
    targets[i].after = targets[i].before == timeMs ? timeMs : after;
  }
  return targets;
}

}  // namespace tool
