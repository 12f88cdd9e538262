// Output: owns the reader, and a reference to the pad.
#include "gst/Output.h"

#include <algorithm>

#include "gst/Tags.h"

namespace {

// Of units sampled at a constant rate.
unsigned int ConstantRate(const StreamFacts& facts) {
  switch (facts.track.info.codec) {
    case kCodecPcm:
    case kCodecMuLaw:
      return facts.stream.audio ? facts.stream.audio->averageBytesPerSecond : 0;
    default:
      return 0;
  }
}

std::string PadName(const StreamFacts& facts) {
  const bool isVideo = facts.track.kind == qo_host::TrackKind::kVideo;
  return (isVideo ? "video_" : "audio_") + std::to_string(facts.stream.number);
}

// An element that begins to flush may refuse an event in front of a buffer, and the
// framework takes that for an error, of caps for a failed negotiation.
bool IsPeerFlushing(GstPad* pad) {
  GstPad* const peer = gst_pad_get_peer(pad);
  if (peer == nullptr) return false;
  const bool isFlushing = GST_PAD_IS_FLUSHING(peer);
  gst_object_unref(peer);
  return isFlushing;
}

// A frame that comes first but is shown behind others may still be in front of the end.
constexpr GstClockTime kReordering = GST_SECOND;

}  // namespace

Output::Output(GstElement* element, std::unique_ptr<StreamReader> reader, const StreamFacts& facts)
    : reader_(std::move(reader)),
      isVideo_(facts.track.kind == qo_host::TrackKind::kVideo),
      caps_(MakeStreamCaps(facts)),
      tags_(MakeStreamTags(facts, caps_)),
      frameDuration_(FrameDuration(facts)),
      bytesPerSecond_(ConstantRate(facts)) {
  GstElementClass* const type = GST_ELEMENT_GET_CLASS(element);
  GstPadTemplate* const pattern =
      gst_element_class_get_pad_template(type, isVideo_ ? "video_%u" : "audio_%u");
  pad_ = gst_pad_new_from_template(pattern, PadName(facts).c_str());
  gst_object_ref_sink(pad_);
  gst_pad_use_fixed_caps(pad_);
  gchar* const id = gst_pad_create_stream_id_printf(pad_, element, "%03u", facts.stream.number);
  stream_ = gst_stream_new(id, caps_, isVideo_ ? GST_STREAM_TYPE_VIDEO : GST_STREAM_TYPE_AUDIO,
                           GST_STREAM_FLAG_NONE);
  g_free(id);
  gst_stream_set_tags(stream_, tags_);
}

Output::~Output() {
  gst_caps_unref(caps_);
  gst_tag_list_unref(tags_);
  gst_object_unref(stream_);
  gst_object_unref(pad_);
}

void Output::Announce(guint groupId) {
  gst_pad_set_active(pad_, TRUE);
  GstEvent* const start = gst_event_new_stream_start(gst_stream_get_stream_id(stream_));
  gst_event_set_group_id(start, groupId);
  gst_event_set_stream(start, stream_);
  gst_pad_push_event(pad_, start);
  gst_pad_push_event(pad_, gst_event_new_caps(caps_));
}

void Output::PushTags(GstStreamCollection* collection, GstTagList* fileTags) {
  gst_pad_push_event(pad_, gst_event_new_stream_collection(collection));
  gst_pad_push_event(pad_, gst_event_new_tag(gst_tag_list_ref(tags_)));
  gst_pad_push_event(pad_, gst_event_new_tag(gst_tag_list_ref(fileTags)));
}

void Output::BeginSegment(const GstSegment& segment) {
  needsSegment_ = isDiscont_ = true;
  isDone_ = isEosSent_ = false;
  position_ = segment.position;
  end_ = segment.rate < 0 ? segment.position : segment.stop;
  isLaterPlayed_ = false;
  pieceStart_.reset();
}

void Output::BeginPiece(GstClockTime start) {
  if (pieceStart_) {
    end_ = *pieceStart_;
    isLaterPlayed_ = true;
  }
  pieceStart_.reset();
  isDiscont_ = true;
  isDone_ = false;
  position_ = start;
}

bool Output::HasBuffer() {
  if (!reader_->Fill()) return false;
  bufferTime_ =
      static_cast<GstClockTime>(std::max<std::int64_t>(reader_->timeMs(), 0)) * GST_MSECOND;
  if (!GST_CLOCK_TIME_IS_VALID(end_) || bufferTime_ < end_) return true;
  const bool isPieceOver = isLaterPlayed_ && reader_->isKeyFrame();
  return !reader_->keepsOrder() && !isPieceOver && bufferTime_ < end_ + kReordering;
}

void Output::SetDuration(GstBuffer* buffer) const {
  if (bytesPerSecond_ != 0) {
    GST_BUFFER_DURATION(buffer) =
        gst_util_uint64_scale(gst_buffer_get_size(buffer), GST_SECOND, bytesPerSecond_);
  } else if (GST_CLOCK_TIME_IS_VALID(frameDuration_) &&
             (!reader_->keepsOrder() || !GST_BUFFER_DURATION_IS_VALID(buffer))) {
    GST_BUFFER_DURATION(buffer) = frameDuration_;
  }
}

GstFlowReturn Output::Push(const GstSegment& segment, guint32 seqnum) {
  PushSegment(segment, seqnum);
  GstBuffer* const buffer = reader_->Take();
  SetDuration(buffer);
  if (isDiscont_) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
  // What follows an object that lost something doesn't continue it.
  isDiscont_ = GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_CORRUPTED);
  position_ = std::max(position_, bufferTime_);
  if (!pieceStart_) pieceStart_ = bufferTime_;
  const GstFlowReturn flow = gst_pad_push(pad_, buffer);
  const bool isRefused = flow == GST_FLOW_ERROR || flow == GST_FLOW_NOT_NEGOTIATED;
  return isRefused && IsPeerFlushing(pad_) ? GST_FLOW_FLUSHING : flow;
}

void Output::Skip() {
  gst_buffer_unref(reader_->Take());
  isDiscont_ = true;
}

void Output::PushGap(const GstSegment& segment, guint32 seqnum, GstClockTime until) {
  PushSegment(segment, seqnum);
  GstEvent* const gap = gst_event_new_gap(position_, until - position_);
  gst_event_set_seqnum(gap, seqnum);
  gst_pad_push_event(pad_, gap);
  position_ = until;
}

void Output::PushEos(const GstSegment& segment, guint32 seqnum) {
  if (isEosSent_) return;
  isEosSent_ = true;
  PushSegment(segment, seqnum);
  GstEvent* const eos = gst_event_new_eos();
  gst_event_set_seqnum(eos, seqnum);
  gst_pad_push_event(pad_, eos);
}

void Output::PushSegment(const GstSegment& segment, guint32 seqnum) {
  if (!needsSegment_) return;
  needsSegment_ = false;
  GstEvent* const event = gst_event_new_segment(&segment);
  gst_event_set_seqnum(event, seqnum);
  gst_pad_push_event(pad_, event);
}
