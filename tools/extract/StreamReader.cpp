// StreamReader: owns the frame that waits, and puts it together where it comes in parts.
#include "tools/extract/StreamReader.h"

#include <utility>

#include "qo_host/BorrowedSource.h"

namespace tool {
namespace {

using qo_host::TrackKind;
using Place = qo_host::H264Frames::Place;

// Units that make a larger one are frames of their own: only a file that means harm has
// them.
constexpr std::size_t kMaxFrameBytes = std::size_t{16} << 20;

std::uint64_t PrerollMs(const qo_host::ParserSession& session) {
  const qo_host::PresentedFile* const file = session.presented();
  const bool isKnown = file != nullptr && file->header().properties;
  return isKnown ? file->header().properties->prerollMs : 0;
}

// Times have 32 bits, and those in front of the start, by the preroll at most, have
// wrapped. A recording that has gone on for weeks has large ones as well.
std::int64_t SignedMs(unsigned long long timeMs, std::uint64_t prerollMs) {
  constexpr std::int64_t kWrap = std::int64_t{1} << 32;
  const auto time = static_cast<std::int64_t>(static_cast<std::uint32_t>(timeMs));
  return static_cast<std::uint64_t>(kWrap - time) <= prerollMs ? time - kWrap : time;
}

std::unique_ptr<qo_host::H264Frames> MakeH264(const qo_host::Track& track) {
  if (track.info.codec != kCodecH264) return nullptr;
  return std::make_unique<qo_host::H264Frames>(track);
}

}  // namespace

StreamReader::StreamReader(qo_host::ParserSession* session, TrackKind kind)
    : session_(session),
      track_(*session->FindTrack(kind)),
      prerollMs_(PrerollMs(*session)),
      h264_(MakeH264(track_)) {}

StreamReader::StreamReader(std::unique_ptr<qo_host::ParserSession> session)
    : owned_(std::move(session)),
      session_(owned_.get()),
      track_(owned_->tracks().front()),
      prerollMs_(PrerollMs(*owned_)),
      h264_(MakeH264(track_)) {}

std::unique_ptr<StreamReader> StreamReader::OpenBeside(const qo_host::ParserFactory& factory,
                                                       IDataSource* shared,
                                                       const qo_host::StreamHeader& stream) {
  auto session = std::make_unique<qo_host::ParserSession>(
      factory, std::make_unique<qo_host::BorrowedSource>(shared));
  qo_host::OpenOptions options;
  options.streams = qo_host::StreamChoice::Only(stream);
  if (session->Open(options) < 0 || session->tracks().empty()) return nullptr;
  return std::unique_ptr<StreamReader>(new StreamReader(std::move(session)));
}

const qo_host::StreamHeader* StreamReader::header() const {
  const qo_host::PresentedFile* const file = session_->presented();
  if (file == nullptr) return nullptr;
  return track_.kind == TrackKind::kAudio ? file->audio() : file->video();
}

StreamSetup StreamReader::setup() {
  return {session_->presented()->header(), *header(), track_, *Peek()};
}

const Frame* StreamReader::Peek() {
  if (!hasFrame_) hasFrame_ = Read();
  return hasFrame_ ? &frame_ : nullptr;
}

bool StreamReader::Read() {
  const qo_host::AccessUnit* const unit = session_->NextUnit(track_.kind);
  if (unit == nullptr) return false;
  frame_ = {unit->data, unit->size, SignedMs(unit->timeMs, prerollMs_), unit->isKeyFrame,
            unit->isIncomplete};
  if (h264_ != nullptr) Join(*unit);
  ++frames_;
  if (frame_.isIncomplete) ++incompleteFrames_;
  return true;
}

// Looking at the next unit overwrites this one. The file flags key frames by their times: of
// several frames of a time the first one is meant, and any that is IDR.
void StreamReader::Join(const qo_host::AccessUnit& first) {
  const unsigned long long timeMs = first.timeMs;
  h264_->Start();
  joined_.erase(joined_.begin(), joined_.end() - open_);
  open_ = 0;
  Append(first);
  frame_.isKeyFrame &= beganMs_ != timeMs || h264_->isIdr();
  beganMs_ = timeMs;
  const qo_host::AccessUnit* unit;
  bool isWhole = false;
  while ((unit = session_->PeekUnit(track_.kind)) != nullptr && unit->timeMs == timeMs &&
         joined_.size() + unit->size <= kMaxFrameBytes) {
    isWhole = !Append(*unit);
    if (isWhole) break;
    session_->NextUnit(track_.kind);
    frame_.isIncomplete |= unit->isIncomplete;
  }
  if (!isWhole) open_ = 0;
  frame_.data = joined_.data();
  frame_.size = joined_.size() - static_cast<std::size_t>(open_);
}

// False, and nothing done, where a frame begins with the unit.
bool StreamReader::Append(const qo_host::AccessUnit& unit) {
  const Place place = h264_->Take(unit.data, unit.size);
  if (place == Place::kNext) return false;
  joined_.insert(joined_.end(), unit.data, unit.data + unit.size);
  open_ = place == Place::kOpen ? open_ + static_cast<std::ptrdiff_t>(unit.size) : 0;
  return true;
}

}  // namespace tool
