// ParserSession: opening, describing, playing out and the plain seek. It owns
// the parser, the source, a delivery buffer per kind and copies of what the
// parser said about the file.
#include "host/ParserSession.h"

#include <algorithm>
#include <utility>

namespace host {
namespace {

// Index of a kind in what is kept per kind, and the order in which both are sought.
constexpr TrackKind kKinds[] = {TrackKind::kVideo, TrackKind::kAudio};

}  // namespace

const char* TrackKindName(TrackKind kind) { return kind == TrackKind::kVideo ? "video" : "audio"; }

ParserSession::ParserSession(const ParserLibrary& library, std::unique_ptr<IDataSource> source)
    : source_(std::move(source)), parser_(library.MakeParser()) {}

ParserSession::~ParserSession() {
  if (parser_) parser_->Close();
}

int ParserSession::Open(std::optional<int> mode) {
  if (!parser_) return kParserOutOfRange;
  const int status = mode ? parser_->OpenEx(source_.get(), *mode) : parser_->Open(source_.get());
  if (status < 0) return status;
  Describe();
  ReadTags();
  unsigned long durationMs = 0;
  parser_->GetDurationMs(&durationMs);
  durationMs_ = durationMs;
  return kParserOk;
}

std::string ParserSession::StatusText(int status) {
  switch (status) {
    case kParserOk:
      return "no error";
    case kParserMalformed:
      return "the header is malformed";
    case kParserOutOfRange:
      return "a size in the header is out of range, or memory ran out";
    case kParserUnsupported:
      return "the content is encrypted";
    case kParserEndOfStream:
      return "the data ends, or the source failed badly";
    case kParserInternal:
      return "the data makes no sense to the parser";
    default:
      return "reading failed with status " + std::to_string(status);
  }
}

const Track* ParserSession::FindTrack(TrackKind kind) const { return LaneOf(kind).track; }

void ParserSession::Describe() {
  const unsigned int count = parser_->GetTrackCount();
  for (unsigned int index = 0; index < count; ++index) {
    const TrackInfo* info = parser_->GetTrackInfo(index);
    if (info == nullptr) continue;
    Track track{index, static_cast<TrackKind>(info->trackType), *info, std::nullopt, {}};
    const AsfTrackExt* bitmap = parser_->getExtraInterface();
    if (track.kind == TrackKind::kVideo && bitmap != nullptr && bitmap->valid != 0) {
      track.bitmap = *bitmap;
    }
    // Telling AC-3 from E-AC-3 reads packets: a short file's audio then stands at its end.
    if (info->codec == kCodecAc3 || info->codec == kCodecEac3) parser_->Seek(0, kTrackAudio, 0);
    tracks_.push_back(std::move(track));
  }
  for (Track& track : tracks_) {
    Lane& lane = LaneOf(track.kind);
    lane.track = &track;
    lane.unit.kind = track.kind;
    // Left as it comes: a unit fills what it needs.
    lane.buffer.reset(new unsigned char[kMaxAccessUnitBytes]);
    ReadConfig(lane.buffer.get(), &track);
  }
}

// Through the delivery buffer, which any configuration fits. For VC-1 the parser
// takes from it what its key frame test needs.
void ParserSession::ReadConfig(unsigned char* buffer, Track* track) {
  unsigned long size = 0;
  const int status = track->kind == TrackKind::kVideo
                         ? parser_->GetVideoConfig(buffer, &size, kMaxAccessUnitBytes)
                         : parser_->GetAudioConfig(buffer, &size, kMaxAccessUnitBytes);
  if (status == kParserOk) track->config.assign(buffer, buffer + size);
}

void ParserSession::ReadTags() {
  const meta_info* info = parser_->GetMetaInfo();
  if (info == nullptr) return;
  for (unsigned int i = 0; i < info->count; ++i) {
    const meta_descriptor& descriptor = info->descriptors[i];
    if (auto tag = MakeTag(descriptor)) tags_.push_back(std::move(*tag));
    if (descriptor.key == META_ALBUM_ART) picture_ = MakePicture(descriptor);
  }
}

const AccessUnit* ParserSession::NextUnit() {
  Lane* first = nullptr;
  for (const TrackKind kind : kKinds) {
    Lane& lane = LaneOf(kind);
    if (!Fill(kind)) continue;
    if (first == nullptr || lane.unit.timeMs < first->unit.timeMs) first = &lane;
  }
  return first != nullptr ? HandOut(*first) : nullptr;
}

const AccessUnit* ParserSession::NextUnit(TrackKind kind) {
  return Fill(kind) ? HandOut(LaneOf(kind)) : nullptr;
}

const AccessUnit* ParserSession::HandOut(Lane& lane) {
  lane.pending = false;
  return &lane.unit;
}

// Reads the next unit of a kind unless one is waiting. False at the end.
bool ParserSession::Fill(TrackKind kind, bool keyFrameOnly) {
  Lane& lane = LaneOf(kind);
  if (lane.pending) return true;
  if (lane.track == nullptr || lane.endStatus != kParserOk) return false;
  unsigned long size = 0;
  unsigned long timeMs = 0;
  unsigned char* const buffer = lane.buffer.get();
  const int status =
      kind == TrackKind::kVideo
          ? parser_->GetVideoData(buffer, &size, &timeMs, kMaxAccessUnitBytes, keyFrameOnly)
          : parser_->GetAudioData(buffer, &size, &timeMs, kMaxAccessUnitBytes);
  lane.endStatus = status;
  lane.pending = status == kParserOk;
  lane.unit.data = buffer;
  lane.unit.size = size;
  lane.unit.timeMs = timeMs;
  return lane.pending;
}

int ParserSession::EndStatus(TrackKind kind) const {
  const Lane& lane = LaneOf(kind);
  return lane.pending ? kParserOk : lane.endStatus;
}

void ParserSession::Restart(TrackKind kind) {
  Lane& lane = LaneOf(kind);
  lane.pending = false;
  lane.endStatus = kParserOk;
}

void ParserSession::Rewind() {
  for (const TrackKind kind : kKinds) {
    if (LaneOf(kind).track == nullptr) continue;
    parser_->Seek(0, static_cast<int>(kind), 0);
    Restart(kind);
  }
}

SeekStatus ParserSession::Seek(unsigned long long timeMs, int seekMode, int modeFlags) {
  SeekStatus status;
  status.video = SeekTrack(TrackKind::kVideo, timeMs, modeFlags, 0, seekMode);
  status.audio = SeekTrack(TrackKind::kAudio, timeMs, modeFlags, 0, seekMode);
  return status;
}

int ParserSession::SeekTrack(TrackKind kind, unsigned long long timeMs, int modeFlags,
                             unsigned long long offset, int seekMode) {
  if (LaneOf(kind).track == nullptr) return kParserOk;
  const int status = parser_->SeekEx(static_cast<unsigned long>(timeMs), static_cast<int>(kind),
                                     modeFlags, 0, offset, seekMode);
  if (status >= 0) Restart(kind);
  return status;
}

}  // namespace host
