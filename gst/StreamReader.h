// The units of one stream, one after the other, as GStreamer's buffers.
#ifndef QO_GST_STREAMREADER_H
#define QO_GST_STREAMREADER_H

#include <gst/gst.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "gst/FrameQueue.h"
#include "gst/FrameTypes.h"
#include "gst/UnitBuffers.h"
#include "qo_host/ExactSeek.h"
#include "qo_host/H264.h"
#include "qo_host/ParserSession.h"

class StreamReader {
 public:
  // Opens a session in which `stream` (audio or video) of the file behind `source` (not
  // null) is the only one. Null where it can't be played; then `*status` (not null) says
  // why, as ParserSession::Open does, or is 0 where the file has no packets of any use.
  static std::unique_ptr<StreamReader> Open(std::unique_ptr<IDataSource> source,
                                            const qo_host::StreamHeader& stream, int* status);
  ~StreamReader();

  const qo_host::Track& track() const { return session_.tracks().front(); }
  // By the header, and up to the last frame that is shown later than it is decoded; 0: unknown.
  unsigned long long durationMs() const;
  const qo_host::Damage& damage() const { return session_.presented()->damage(); }

  // Has the next buffer waiting. False at the end, and where the source failed.
  bool Fill() { return frames_.Fill(); }
  // Of the buffer that waits, ms; negative in front of the presentation's start.
  std::int64_t timeMs() const { return frames_.front().shownMs; }
  bool isKeyFrame() const { return frames_.front().isKeyFrame; }
  // Whether units come in the order in which they are presented: all audio, and video
  // of codecs that have no other.
  bool keepsOrder() const { return keepsOrder_; }
  // How long each frame of video lasts, by the first ones, where they are equally far apart.
  // Otherwise, and for audio, GST_CLOCK_TIME_NONE.
  GstClockTime frameDuration() const { return frames_.frameDuration(); }
  // Hands the buffer that waits over: with its time, where units keep order with a duration
  // up to the next one's time; marked where it is no key frame, or lost fragments.
  GstBuffer* Take();

  // From here on nothing but key frames of video.
  void SetKeyFramesOnly(bool keyFramesOnly) { keyFramesOnly_ = keyFramesOnly; }

  // Video: to the last key frame that is shown at or before `timeMs`, or to the first where
  // there is none; audio: to the last unit. The buffer that waited is dropped. False where
  // the source failed: then nothing is right until the next seek.
  bool Seek(std::int64_t timeMs);
  // Goes on to the first key frame that is shown at or behind `timeMs`. False without one:
  // then reading is at its end.
  bool SkipToKeyFrame(std::int64_t timeMs);

 private:
  explicit StreamReader(std::unique_ptr<IDataSource> source);
  bool Read(FrameQueue::Frame* frame);
  const qo_host::AccessUnit* Next();
  const qo_host::AccessUnit* PeekKeyFrame();
  bool IsKeyFrame(const qo_host::AccessUnit& unit) const;
  bool CanBegin(const qo_host::AccessUnit& unit) const;
  void FillFrame(const qo_host::AccessUnit& first, FrameQueue::Frame* frame);
  void Join(unsigned long long timeMs, GstBuffer** buffer);
  GstClockTime TakeDuration(std::int64_t timeMs);
  void Drop();

  bool SeekToKeyFrame(std::int64_t timeMs);
  bool SeekAsFlagged(std::int64_t timeMs);
  std::optional<std::int64_t> FindKeyFrame(std::int64_t lastMs);
  void SeekPlainly(std::int64_t timeMs);

  qo_host::ParserSession session_;
  qo_host::TrackKind kind_ = qo_host::TrackKind::kAudio;
  std::unique_ptr<qo_host::ExactSeeker> seeker_;  // null before the first seek
  std::unique_ptr<qo_host::H264Frames> h264_;     // null: a unit is a buffer
  std::optional<FrameTypes> types_;               // video
  bool keepsOrder_ = true;
  GstMemory* parameterSets_ = nullptr;
  bool keyFramesOnly_ = false;
  UnitBuffers buffers_;
  FrameQueue frames_;
  GstBuffer* open_ = nullptr;                    // what the next one begins with; null without such
  GstClockTime duration_ = GST_CLOCK_TIME_NONE;  // of the last buffer for which it was known
  bool isFirst_ = true;                          // since opening or a seek
  bool isSameTime_ = false;                      // H.264: the next frame has this one's
};

#endif  // QO_GST_STREAMREADER_H
