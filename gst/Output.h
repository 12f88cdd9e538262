// A source pad, and the stream that comes out of it.
#ifndef QO_GST_OUTPUT_H
#define QO_GST_OUTPUT_H

#include <gst/gst.h>

#include <memory>
#include <optional>
#include <string>

#include "gst/StreamCaps.h"
#include "gst/StreamReader.h"

// Belongs to the streaming thread, but for what says otherwise.
class Output {
 public:
  // Makes the pad, for `element` to be added to. Nothing is kept of `facts`.
  Output(GstElement* element, std::unique_ptr<StreamReader> reader, const StreamFacts& facts);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  GstPad* pad() const { return pad_; }
  // Valid from any thread for as long as the pad is there.
  GstStream* stream() const { return stream_; }
  StreamReader& reader() { return *reader_; }
  bool isVideo() const { return isVideo_; }

  // Activates the pad and tells what comes; tags follow the segment.
  void Announce(guint groupId);
  void PushTags(GstStreamCollection* collection, GstTagList* fileTags);

  // In front of the next buffer `segment` goes out, and that buffer is marked as one that
  // follows no other.
  void BeginSegment(const GstSegment& segment);
  // Played backwards: what follows is read from `start` on, and up to the first buffer of
  // the piece before; see Demuxer::BeginPiece.
  void BeginPiece(GstClockTime start);
  bool isPieceEmpty() const { return !pieceStart_; }  // so far
  // A stream that is not selected, or silent for a segment, brings no buffers.
  void SetSelected(bool isSelected) { isSelected_ = isSelected; }
  bool isSelected() const { return isSelected_; }
  void SetSilent(bool isSilent) { isSilent_ = isSilent; }
  bool isActive() const { return isSelected_ && !isSilent_; }
  // Reading goes on elsewhere within the segment.
  void SetDiscont() { isDiscont_ = true; }

  // No unit of this segment, or of this piece of it, is left, or the next one lies behind
  // its end.
  bool isDone() const { return isDone_; }
  void SetDone() { isDone_ = true; }
  // Has a buffer waiting in front of that end. Otherwise it is done, or the source failed.
  bool HasBuffer();
  // Of the buffer that waits; stays what it was when it is pushed.
  GstClockTime bufferTime() const { return bufferTime_; }
  // How far the pad has got.
  GstClockTime position() const { return position_; }

  GstFlowReturn Push(const GstSegment& segment, guint32 seqnum);
  void Skip();  // drops the buffer that waits
  // The last push brought another flow than GST_FLOW_OK.
  void SetFlowOdd(bool isFlowOdd) { isFlowOdd_ = isFlowOdd; }
  bool isFlowOdd() const { return isFlowOdd_; }
  // Tells the pad that nothing comes before `until`.
  void PushGap(const GstSegment& segment, guint32 seqnum, GstClockTime until);
  void PushEos(const GstSegment& segment, guint32 seqnum);
  // Unless it has gone out since BeginSegment.
  void PushSegment(const GstSegment& segment, guint32 seqnum);

 private:
  void SetDuration(GstBuffer* buffer) const;

  const std::unique_ptr<StreamReader> reader_;
  const bool isVideo_;
  GstPad* pad_;
  GstStream* stream_;
  GstCaps* caps_;
  GstTagList* tags_;
  GstClockTime frameDuration_ = GST_CLOCK_TIME_NONE;
  unsigned int bytesPerSecond_ = 0;  // where a buffer's size says how long it lasts; otherwise 0
  bool isSelected_ = true;
  bool isSilent_ = false;
  bool needsSegment_ = true;
  bool isDiscont_ = true;
  bool isDone_ = false;
  bool isEosSent_ = false;
  bool isFlowOdd_ = false;
  GstClockTime bufferTime_ = 0;
  GstClockTime position_ = 0;
  GstClockTime end_ = GST_CLOCK_TIME_NONE;  // of the segment, or of the piece
  bool isLaterPlayed_ = false;              // what begins at that end, a key frame, has been played
  std::optional<GstClockTime> pieceStart_;  // of the first buffer pushed in the piece
};

#endif  // QO_GST_OUTPUT_H
