// The checks of single packets and payloads against those in front of them.
#include "host/findings/PacketCheck.h"

#include <algorithm>

namespace qo_host {
namespace {

// A second without sound is heard.
constexpr long long kAudioJumpMs = 1000;

// Pictures may stand still for long, and nothing be sent meanwhile; where sound goes on
// they jump nowhere.
constexpr long long kJumpMs = 10000;

// A sending time in front of the file's first has wrapped to one that is later by more.
constexpr long long kWrappedMs = 1ll << 31;

// Where long steps are usual, none of them is a jump.
constexpr long long kUnusual = 4;

bool IsUnusual(long long step, long long limit, long long longest) {
  return step > limit && longest > 0 && step / kUnusual > longest;
}

void Note(unsigned long long packet, long long beforeMs, long long timeMs, Occurrence* occurrence) {
  if (occurrence->count++ != 0) return;
  occurrence->packet = packet;
  occurrence->beforeMs = beforeMs;
  occurrence->timeMs = timeMs;
}

}  // namespace

ObjectTimes::Step ObjectTimes::Add(long long timeMs, long long playedMs, long long* beforeMs) {
  if (!any_) {
    any_ = true;
    topMs_ = timeMs;
  }
  if (IsBackwards(timeMs)) {
    *beforeMs = settledMs_;
    Restart(timeMs);
    return Step::kBackwards;
  }
  const long long step = timeMs - topMs_;
  if (step <= 0) return Step::kUsual;
  const long long before = kind_ == StreamKind::kVideo ? std::max(topMs_, playedMs) : topMs_;
  const long long limit = kind_ == StreamKind::kAudio ? kAudioJumpMs : kJumpMs;
  topMs_ = timeMs;
  if (IsPlayed() && IsUnusual(timeMs - before, limit, longestMs_)) {
    *beforeMs = before;
    return Step::kJump;
  }
  stepMs_ = step;
  longestMs_ = std::max(longestMs_, step);
  return Step::kUsual;
}

bool ObjectTimes::IsBackwards(long long timeMs) {
  if (isSettled_ && timeMs < settledMs_) return true;
  const bool isFull = recentCount_ == kReordered;
  if (kind_ != StreamKind::kAudio && !isFull) {
    recent_[recentCount_++] = timeMs;
    return false;
  }
  const long long settled = kind_ == StreamKind::kAudio ? timeMs : recent_[oldest_];
  recent_[oldest_] = timeMs;
  oldest_ = (oldest_ + 1) % kReordered;
  settledMs_ = isSettled_ ? std::max(settledMs_, settled) : settled;
  isSettled_ = true;
  return false;
}

void ObjectTimes::Restart(long long timeMs) {
  isSettled_ = false;
  recentCount_ = oldest_ = 0;
  topMs_ = timeMs;
}

void PacketCheck::Add(const Packet& packet, bool isCut) {
  const bool hasFailed = packet.fault != PacketFault::kNone;
  if (hasFailed && !isCut) {
    if (failed_.count == 0) fault_ = packet.fault;
    Note(number_, 0, 0, &failed_);
  }
  if (!hasFailed && !packet.hasErrorCorrection) ++misread_;
  const long long playedMs = playedMs_;
  for (const Payload& payload : packet.payloads) {
    streams_[payload.stream].hasPayload = true;
    if (!hasFailed) AddPayload(payload);
  }
  // What a packet that makes no sense says of times makes none either.
  if (!hasFailed && AddSending(packet.sendTimeMs, playedMs_ - playedMs)) AddLateness(packet);
  ++number_;
}

// False: its time makes no sense. Where presentation times jump as well, nothing is
// amiss with it.
bool PacketCheck::AddSending(long long timeMs, long long gainedMs) {
  const long long step = timeMs - sentMs_;
  const bool isBackwards = isSent_ && step < 0;
  const bool isJump = isSent_ && gainedMs < step / 2 && IsUnusual(step, kJumpMs, longestSendingMs_);
  if (isBackwards) Note(number_, sentMs_, timeMs, &sendBackwards_);
  if (isJump) Note(number_, sentMs_, timeMs, &sendJump_);
  if (isSent_ && !isJump) longestSendingMs_ = std::max(longestSendingMs_, step);
  isSent_ = true;
  sentMs_ = timeMs;
  return !isBackwards && !isJump;
}

// Times have 32 bits, preroll included.
long long PacketCheck::TimeOf(const Payload& payload) const {
  const unsigned int withPreroll = payload.timeMs + static_cast<unsigned int>(prerollMs_);
  return withPreroll - static_cast<long long>(prerollMs_);
}

void PacketCheck::AddPayload(const Payload& payload) {
  StreamFacts& facts = streams_[payload.stream];
  const unsigned long long end = payload.offset + 0ull + payload.size;
  if (payload.objectSize != 0 && end > payload.objectSize) {
    Note(number_, 0, TimeOf(payload), &facts.overrun);
  }
  if (payload.offset == 0) AddObject(payload, &facts);
}

void PacketCheck::AddObject(const Payload& payload, StreamFacts* facts) {
  long long beforeMs = 0;
  const long long timeMs = TimeOf(payload);
  const ObjectTimes::Step step = facts->times.Add(timeMs, playedMs_, &beforeMs);
  facts->isAstray = step != ObjectTimes::Step::kUsual;
  if (step == ObjectTimes::Step::kBackwards) Note(number_, beforeMs, timeMs, &facts->backwards);
  if (step == ObjectTimes::Step::kJump) Note(number_, beforeMs, timeMs, &facts->jump);
  if (!facts->times.IsPlayed()) return;
  const bool restarts = step == ObjectTimes::Step::kBackwards;
  playedMs_ = restarts ? timeMs : std::max(playedMs_, timeMs);
}

void PacketCheck::AddLateness(const Packet& packet) {
  for (const Payload& payload : packet.payloads) {
    const long long due = TimeOf(payload) + static_cast<long long>(prerollMs_);
    const long long late = packet.sendTimeMs - due;
    const bool isWrapped = late >= kWrappedMs;
    if (late <= lateMs_ || isWrapped || streams_[payload.stream].isAstray) continue;
    lateMs_ = late;
    latePacket_ = number_;
    lateStream_ = payload.stream;
  }
}

}  // namespace qo_host
