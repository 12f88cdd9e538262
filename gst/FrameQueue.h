// Frames of a stream that have been read and not yet taken, and the times at which they are
// shown. Where frames are stored in another order than they are shown in, a file has either
// those times or the times of decoding: the queue tells which, and makes the ones of the others.
#ifndef QO_GST_FRAMEQUEUE_H
#define QO_GST_FRAMEQUEUE_H

#include <gst/gst.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>

#include "gst/FrameTypes.h"

class FrameQueue {
 public:
  // More than ten seconds is nothing that a frame lasts.
  static constexpr std::int64_t kLongestFrameMs = 10'000;

  struct Frame {
    GstBuffer* buffer = nullptr;  // in the queue the queue's
    std::int64_t fileMs = 0;      // its time in the file
    std::int64_t shownMs = 0;     // set by the queue
    bool isKeyFrame = false;
    bool isAlone = false;  // what lies between it and other key frames isn't read
    FrameType type = FrameType::kUnknown;
    // Frames not far apart are shown by the order of these, which go round; nothing where
    // its bits don't tell.
    std::optional<std::uint16_t> order = std::nullopt;
  };
  // Stores the next frame. False at the end, and where the source failed.
  using ReadFrame = std::function<bool(Frame* frame)>;

  explicit FrameQueue(ReadFrame read) : read_(std::move(read)) {}
  ~FrameQueue() { Clear(); }
  FrameQueue(const FrameQueue&) = delete;
  FrameQueue& operator=(const FrameQueue&) = delete;

  // Reads the first frames, which tell what the times are. In front of them nothing has been read.
  void LookAhead();
  bool hasDecodingTimes() const { return hasDecodingTimes_; }  // in the file
  // How long each frame lasts, by the first ones, where they are equally far apart. Otherwise
  // GST_CLOCK_TIME_NONE.
  GstClockTime frameDuration() const { return frameDuration_; }
  // How much later than it is decoded a frame is shown at most; 0 where that isn't known.
  std::int64_t delayMs() const { return delay_ * FrameMs(); }

  // Has the next frame, with its time. False where there is none.
  bool Fill();
  const Frame& front() const { return waiting_.front(); }  // behind a Fill that was true
  // Hands it and its buffer over.
  Frame Take();
  // The time in the file of the next one, if that has been read.
  std::optional<std::int64_t> nextFileMs() const;
  // What has been read is dropped, and reading goes on elsewhere.
  void Clear();

 private:
  bool Read();
  void LearnTimes();
  void LearnDuration();
  std::int64_t FrameMs() const;
  static bool IsShownBefore(const Frame& a, const Frame& b);
  std::uint16_t NextOrder(FrameType type);
  std::int64_t ShownMs();
  std::ptrdiff_t CountEarlier();
  std::ptrdiff_t CountLater(const Frame& frame) const;
  void Remember(const Frame& frame);

  const ReadFrame read_;
  bool hasDecodingTimes_ = false;
  std::ptrdiff_t delay_ = 0;  // of presentation behind decoding, in frames
  GstClockTime frameDuration_ = GST_CLOCK_TIME_NONE;
  std::deque<Frame> waiting_;  // the first one is the next to be taken
  bool isFrontTimed_ = false;
  std::deque<Frame> past_;       // those taken since the last one that is no B-frame, with it;
                                 // they have no buffers
  std::uint16_t nextOrder_ = 0;  // of a B-frame, where its bits don't tell its place
};

#endif  // QO_GST_FRAMEQUEUE_H
