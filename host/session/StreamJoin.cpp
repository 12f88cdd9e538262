// StreamJoin: a seek, as an exact one, but for where audio begins.
#include "host/session/StreamJoin.h"

#include <algorithm>
#include <utility>

namespace qo_host {

int StreamJoin::GoTo(unsigned long long timeMs) {
  AsfLayout layout;
  const int status = ReadLayout(view_, &layout);
  if (status < 0) return status;
  target_ = SignedMs(layout, timeMs);
  near_.emplace(view_, std::move(layout));
  return kParserOk;
}

int StreamJoin::JoinVideo() {
  if (session_->FindTrack(TrackKind::kVideo) == nullptr) return kParserOk;
  UnitFinder finder(&*near_, session_, view_);
  const auto point = finder.FindVideo(target_);
  if (!point || !finder.StartAtKeyFrame(*point)) session_->Rewind(TrackKind::kVideo);
  return StatusOf(finder);
}

int StreamJoin::JoinAudio() {
  if (session_->FindTrack(TrackKind::kAudio) == nullptr) return kParserOk;
  UnitFinder finder(&*near_, session_, view_);
  finder.FindAudio(target_ - 1);
  const auto isEarly = [this](const AccessUnit* unit) {
    return unit != nullptr && SignedMs(near_->layout(), unit->timeMs) < target_;
  };
  while (finder.IsSure() && isEarly(session_->PeekUnit(TrackKind::kAudio))) {
    session_->NextUnit(TrackKind::kAudio);
  }
  return StatusOf(finder);
}

int StreamJoin::StatusOf(const UnitFinder& finder) const {
  if (view_->failure() < 0) return view_->failure();
  if (finder.IsSure() || finder.status() < 0) return finder.status();
  return near_->overflowed() ? kParserOutOfRange : near_->result().status;
}

}  // namespace qo_host
