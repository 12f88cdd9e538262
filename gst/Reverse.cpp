// Demuxer: playing backwards.
//
// Units can be decoded forward only, so the segment is cut into pieces, from one key frame
// of the first video stream to the next; without video, or in front of its first key
// frame, into seconds. The last one is handed out first. Within a piece all streams are in
// step, as in forward play; the first buffer of each is marked DISCONT, by which a decoder
// knows that it has the whole of the piece before and can hand on its pictures backwards.
#include <algorithm>

#include "gst/Demuxer.h"

namespace {

constexpr std::int64_t kPieceWithoutVideoMs = 1000;

}  // namespace

bool Demuxer::BeginPiece() {
  if (segment_.rate > 0) return false;
  const GstClockTime end = pieceStart_;
  // A sink without anything of this piece would hold up those that have some.
  for (const auto& output : outputs_) {
    const bool isLeftOut = output->isPieceEmpty() && output->position() < end;
    if (isLeftOut) output->PushGap(segment_, seqnum_, end);
  }
  if (end <= segment_.start) return false;
  const std::int64_t startMs = MoveToPiece(static_cast<std::int64_t>((end - 1) / GST_MSECOND));
  pieceStart_ = static_cast<GstClockTime>(startMs) * GST_MSECOND;
  for (const auto& output : outputs_) output->BeginPiece(pieceStart_);
  return true;
}

// Moves all streams to the piece that `lastMs` is in, and returns where that begins.
std::int64_t Demuxer::MoveToPiece(std::int64_t lastMs) {
  std::int64_t startMs = std::max<std::int64_t>(lastMs + 1 - kPieceWithoutVideoMs, 0);
  const auto isPlayed = [](const auto& output) { return output->isVideo() && output->isActive(); };
  const auto leader = std::find_if(outputs_.begin(), outputs_.end(), isPlayed);
  if (leader != outputs_.end()) {
    StreamReader& reader = (*leader)->reader();
    if (reader.Seek(lastMs) && reader.Fill() && reader.timeMs() <= lastMs)
      startMs = std::max<std::int64_t>(reader.timeMs(), 0);
  }
  for (auto output = outputs_.begin(); output != outputs_.end(); ++output) {
    if (output != leader && (*output)->isActive()) (*output)->reader().Seek(startMs);
  }
  return startMs;
}
