// FrameQueue: owns the buffers of the frames that wait.
#include "gst/FrameQueue.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

// What is looked at of the beginning, to learn what the times are.
constexpr std::size_t kFramesAhead = 16;
constexpr std::size_t kBytesAhead = 1 << 20;

// No codec has more B-frames in a row.
constexpr std::size_t kMostBidirectional = 16;

}  // namespace

void FrameQueue::LookAhead() {
  std::size_t bytes = 0;
  while (waiting_.size() < kFramesAhead && bytes < kBytesAhead && Read())
    bytes += gst_buffer_get_size(waiting_.back().buffer);
  LearnTimes();
  LearnDuration();
}

// The first B-frame behind another frame is shown before that: where it has the greater time,
// times are those of decoding.
void FrameQueue::LearnTimes() {
  const auto ascends = [](const Frame& before, const Frame& frame) {
    return before.type != FrameType::kBidirectional && frame.type == FrameType::kBidirectional &&
           frame.fileMs > before.fileMs;
  };
  hasDecodingTimes_ =
      std::adjacent_find(waiting_.begin(), waiting_.end(), ascends) != waiting_.end();
  if (!hasDecodingTimes_) return;
  for (const Frame& frame : waiting_) {
    delay_ = std::max(delay_, CountLater(frame));
    Remember(frame);
  }
  past_.clear();
}

void FrameQueue::LearnDuration() {
  std::vector<std::int64_t> times;
  for (const Frame& frame : waiting_) times.push_back(frame.fileMs);
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  constexpr std::size_t kFewest = 4;
  if (times.size() < kFewest) return;
  const auto count = static_cast<std::int64_t>(times.size() - 1);
  const std::int64_t all = times.back() - times.front();
  const auto isUneven = [&](std::int64_t before, std::int64_t time) {
    return std::abs((time - before) * count - all) > count;
  };
  if (all > count * kLongestFrameMs) return;
  if (std::adjacent_find(times.begin(), times.end(), isUneven) != times.end()) return;
  frameDuration_ = static_cast<GstClockTime>(all) * GST_MSECOND / static_cast<GstClockTime>(count);
}

// 0 where it isn't known.
std::int64_t FrameQueue::FrameMs() const {
  const bool isKnown = GST_CLOCK_TIME_IS_VALID(frameDuration_);
  return static_cast<std::int64_t>(isKnown ? frameDuration_ / GST_MSECOND : 0);
}

bool FrameQueue::Fill() {
  if (waiting_.empty() && !Read()) return false;
  if (hasDecodingTimes_ && !isFrontTimed_) waiting_.front().shownMs = ShownMs();
  isFrontTimed_ = true;
  return true;
}

FrameQueue::Frame FrameQueue::Take() {
  const Frame frame = waiting_.front();
  waiting_.pop_front();
  isFrontTimed_ = false;
  if (hasDecodingTimes_) Remember(frame);
  return frame;
}

std::optional<std::int64_t> FrameQueue::nextFileMs() const {
  return waiting_.empty() ? std::nullopt : std::optional(waiting_.front().fileMs);
}

void FrameQueue::Clear() {
  for (const Frame& frame : waiting_) gst_buffer_unref(frame.buffer);
  waiting_.clear();
  past_.clear();
  isFrontTimed_ = false;
}

// The next frame, behind those that wait.
bool FrameQueue::Read() {
  Frame frame;
  if (!read_(&frame)) return false;
  frame.shownMs = frame.fileMs;
  if (!frame.order) frame.order = NextOrder(frame.type);
  waiting_.push_back(frame);
  return true;
}

bool FrameQueue::IsShownBefore(const Frame& a, const Frame& b) {
  return static_cast<std::int16_t>(*a.order - *b.order) < 0;
}

// B-frames are shown in their order, in front of the frame that they follow.
std::uint16_t FrameQueue::NextOrder(FrameType type) {
  constexpr std::uint16_t kStep = 2 * kMostBidirectional;
  if (type == FrameType::kBidirectional) return nextOrder_++;
  nextOrder_ = static_cast<std::uint16_t>((nextOrder_ / kStep + 1) * kStep);
  return static_cast<std::uint16_t>(nextOrder_ + kStep - 1);
}

// Of the first frame. Frames are decoded in the rhythm in which they are shown, as much
// earlier as it takes for each to be there in time.
std::int64_t FrameQueue::ShownMs() {
  const Frame& frame = waiting_.front();
  // Key frames alone don't tell of the B-frames between them.
  if (frame.isAlone) return frame.fileMs + delayMs();
  const std::ptrdiff_t place =
      std::max<std::ptrdiff_t>(CountEarlier() + delay_ - CountLater(frame), 0);
  while (static_cast<std::ptrdiff_t>(waiting_.size()) <= place && Read()) {
  }
  const std::ptrdiff_t last = static_cast<std::ptrdiff_t>(waiting_.size()) - 1;
  return waiting_.begin()[std::min(place, last)].fileMs +
         std::max<std::ptrdiff_t>(place - last, 0) * FrameMs();
}

// How many are decoded behind the first frame that waits and shown before it. All are
// B-frames, in front of any other.
std::ptrdiff_t FrameQueue::CountEarlier() {
  const Frame& frame = waiting_.front();
  std::ptrdiff_t count = 0;
  for (std::size_t i = 1; i <= kMostBidirectional && (i < waiting_.size() || Read()) &&
                          waiting_[i].type == FrameType::kBidirectional;
       ++i) {
    if (IsShownBefore(waiting_[i], frame)) ++count;
  }
  return count;
}

// How many have been decoded before the frame and are shown behind it.
std::ptrdiff_t FrameQueue::CountLater(const Frame& frame) const {
  if (frame.type != FrameType::kBidirectional) return 0;
  return std::count_if(past_.begin(), past_.end(),
                       [&](const Frame& before) { return IsShownBefore(frame, before); });
}

void FrameQueue::Remember(const Frame& frame) {
  if (frame.type != FrameType::kBidirectional) past_.clear();
  if (past_.size() == kMostBidirectional) past_.pop_front();
  past_.push_back(frame);
  past_.back().buffer = nullptr;
}
