// Demuxer: seeks, and which streams play.
#include <algorithm>

#include "gst/Demuxer.h"

GST_DEBUG_CATEGORY_EXTERN(qoasfdemux_debug);
#define GST_CAT_DEFAULT qoasfdemux_debug

namespace {

// Audio begins this much earlier than it is to be heard: a decoder needs what comes
// before, and what it makes of that lies in front of the segment.
constexpr std::int64_t kAudioLeadMs = 200;

bool Has(GstSeekFlags flags, GstSeekFlags flag) { return (flags & flag) == flag; }

}  // namespace

struct Demuxer::SeekRequest {
  explicit SeekRequest(GstEvent* event) {
    gst_event_parse_seek(event, &rate, &format, &flags, &startType, &start, &stopType, &stop);
    seqnum = gst_event_get_seqnum(event);
  }
  bool Flushes() const { return Has(flags, GST_SEEK_FLAG_FLUSH); }

  gdouble rate = 1;
  GstFormat format = GST_FORMAT_UNDEFINED;
  GstSeekFlags flags = GST_SEEK_FLAG_NONE;
  GstSeekType startType = GST_SEEK_TYPE_NONE;
  gint64 start = 0;
  GstSeekType stopType = GST_SEEK_TYPE_NONE;
  gint64 stop = 0;
  guint32 seqnum = 0;
};

bool Demuxer::Seek(GstEvent* event) {
  const SeekRequest request(event);
  if (!CanSeek(request)) return false;
  if (!IsFirstTime(request)) return true;
  Interrupt(request);
  const TaskLock lock(&taskLock_);
  if (queue_ != nullptr) {
    queue_->Continue();
    queue_->AllowJumps();
  } else if (request.Flushes()) {
    GstEvent* const stop = gst_event_new_flush_stop(TRUE);
    gst_event_set_seqnum(stop, request.seqnum);
    gst_pad_push_event(sink_, stop);
  }
  if (!isOpen_) return false;
  flow_ = GST_FLOW_OK;
  Resume(request, Move(request));
  return true;
}

bool Demuxer::CanSeek(const SeekRequest& request) const {
  const Shown shown = GetShown();
  // Backwards the end has to be known: play begins there.
  const bool hasEnd = request.rate > 0 || GST_CLOCK_TIME_IS_VALID(shown.segment.duration);
  return shown.canSeek && request.format == GST_FORMAT_TIME && hasEnd;
}

// A bin hands a seek to all its sinks, each of which sends it here.
bool Demuxer::IsFirstTime(const SeekRequest& request) {
  const std::lock_guard<std::mutex> lock(shownLock_);
  const bool isFirst = request.seqnum != lastSeek_;
  lastSeek_ = request.seqnum;
  return isFirst;
}

// A read that waits upstream and a push that waits downstream end at once by a flush;
// without one, the push takes what time it takes.
void Demuxer::Interrupt(const SeekRequest& request) {
  if (!request.Flushes()) {
    gst_task_pause(task_);
    return;
  }
  GstEvent* const start = gst_event_new_flush_start();
  gst_event_set_seqnum(start, request.seqnum);
  const std::shared_ptr<QueueSource> queue = GetShown().queue;
  if (queue != nullptr) {
    queue->Interrupt();
  } else {
    gst_pad_push_event(sink_, gst_event_ref(start));
  }
  PushToAll(start);
  gst_task_pause(task_);
}

// Moves all streams, and returns the segment that begins there. Backwards each piece moves
// them.
GstSegment Demuxer::Move(const SeekRequest& request) {
  GstSegment segment = segment_;
  gboolean isMoved = FALSE;
  gst_segment_do_seek(&segment, request.rate, request.format, request.flags, request.startType,
                      static_cast<guint64>(request.start), request.stopType,
                      static_cast<guint64>(request.stop), &isMoved);
  // What the last unit brings may reach behind the duration, which that call doesn't let a stop do.
  const bool isBehind = request.rate > 0 && request.stopType == GST_SEEK_TYPE_SET &&
                        GST_CLOCK_TIME_IS_VALID(segment.duration) &&
                        request.stop > static_cast<gint64>(segment.duration);
  if (isBehind) segment.stop = static_cast<guint64>(request.stop);
  for (const auto& output : outputs_) {
    const bool skips = Has(request.flags, GST_SEEK_FLAG_TRICKMODE_KEY_UNITS);
    output->reader().SetKeyFramesOnly(skips && output->isVideo());
    output->SetSilent(!output->isVideo() && Has(request.flags, GST_SEEK_FLAG_TRICKMODE_NO_AUDIO));
  }
  if (segment.rate > 0) return MoveForward(request, segment);
  // From the end, or, where the request doesn't give one, from where play has got to.
  if (!GST_CLOCK_TIME_IS_VALID(segment.stop)) segment.stop = segment.duration;
  if (request.stopType != GST_SEEK_TYPE_NONE || segment.position > segment.stop)
    segment.position = segment.stop;
  segment.offset = segment.stop - segment.position;
  return segment;
}

GstSegment Demuxer::MoveForward(const SeekRequest& request, GstSegment segment) {
  const auto targetMs = static_cast<std::int64_t>(segment.position / GST_MSECOND);
  const std::optional<std::int64_t> landing = MoveVideo(request, targetMs, segment.stop);
  if (landing && Has(request.flags, GST_SEEK_FLAG_KEY_UNIT)) {
    segment.start = segment.position = segment.time =
        static_cast<GstClockTime>(*landing) * GST_MSECOND;
    MoveAudio(*landing);
  } else {
    MoveAudio(targetMs);
  }
  return segment;
}

// Moves each video stream to the key frame that the request is for, and tells the time
// where the first one is played from, in front of `stop`; nothing without video.
std::optional<std::int64_t> Demuxer::MoveVideo(const SeekRequest& request, std::int64_t targetMs,
                                               GstClockTime stop) {
  const bool mayFollow =
      Has(request.flags, GST_SEEK_FLAG_KEY_UNIT) && Has(request.flags, GST_SEEK_FLAG_SNAP_AFTER);
  std::optional<std::int64_t> landing;
  for (const auto& output : outputs_) {
    if (!output->isVideo() || !output->isSelected()) continue;
    StreamReader& reader = output->reader();
    if (!reader.Seek(targetMs) || !reader.Fill()) continue;
    std::int64_t found = std::min(reader.timeMs(), targetMs);
    if (mayFollow && found != targetMs) {
      const std::int64_t before = reader.timeMs();
      const bool isNearest = Has(request.flags, GST_SEEK_FLAG_SNAP_NEAREST);
      const bool follows = reader.SkipToKeyFrame(targetMs) && reader.Fill() &&
                           static_cast<GstClockTime>(reader.timeMs()) * GST_MSECOND < stop &&
                           (!isNearest || reader.timeMs() - targetMs < targetMs - before);
      if (follows) {
        found = reader.timeMs();
      } else {
        reader.Seek(targetMs);
      }
    }
    if (!landing) landing = std::max<std::int64_t>(found, 0);
  }
  return landing;
}

void Demuxer::MoveAudio(std::int64_t targetMs) {
  for (const auto& output : outputs_) {
    if (!output->isVideo() && output->isSelected())
      output->reader().Seek(std::max<std::int64_t>(targetMs - kAudioLeadMs, 0));
  }
}

void Demuxer::Resume(const SeekRequest& request, const GstSegment& segment) {
  if (request.Flushes()) {
    GstEvent* const stop = gst_event_new_flush_stop(TRUE);
    gst_event_set_seqnum(stop, request.seqnum);
    PushToAll(stop);
  }
  segment_ = segment;
  seqnum_ = request.seqnum;
  position_ = segment.position;
  Show();
  gst_flow_combiner_reset(combiner_);
  pieceStart_ = segment.position;
  for (const auto& output : outputs_) {
    output->BeginSegment(segment);
    if (segment.rate < 0) output->SetDone();
  }
  if (Has(request.flags, GST_SEEK_FLAG_SEGMENT)) {
    GstMessage* const message = gst_message_new_segment_start(
        GST_OBJECT(element_), GST_FORMAT_TIME, static_cast<gint64>(segment.position));
    gst_message_set_seqnum(message, request.seqnum);
    gst_element_post_message(element_, message);
  }
  if (isStreaming_) gst_task_start(task_);
}

bool Demuxer::SelectStreams(GstEvent* event) {
  GList* ids = nullptr;
  gst_event_parse_select_streams(event, &ids);
  {
    const std::lock_guard<std::mutex> lock(shownLock_);
    wanted_.clear();
    for (const GList* id = ids; id != nullptr; id = id->next)
      wanted_.emplace_back(static_cast<const char*>(id->data));
    hasWanted_ = true;
  }
  g_list_free_full(ids, g_free);
  return true;
}

// Selects what was asked for since the last unit.
void Demuxer::ApplySelection() {
  if (!hasWanted_) return;
  hasWanted_ = false;
  std::vector<std::string> wanted;
  {
    const std::lock_guard<std::mutex> lock(shownLock_);
    wanted = wanted_;
  }
  for (const auto& output : outputs_) {
    const bool isWanted = std::find(wanted.begin(), wanted.end(),
                                    gst_stream_get_stream_id(output->stream())) != wanted.end();
    if (isWanted && !output->isSelected()) JoinIn(output.get());
    output->SetSelected(isWanted);
  }
  PostSelection();
}

// Brings a stream that wasn't read to where the others are; backwards, with the next piece.
void Demuxer::JoinIn(Output* output) {
  if (segment_.rate < 0) return output->SetDone();
  if (queue_ != nullptr && !queue_->mayJump()) return;
  const auto nowMs = static_cast<std::int64_t>(segment_.position / GST_MSECOND);
  output->reader().Seek(nowMs);
  if (output->isVideo()) output->reader().SkipToKeyFrame(nowMs);
  output->SetDiscont();
}

void Demuxer::PostSelection() {
  GstMessage* const message = gst_message_new_streams_selected(GST_OBJECT(element_), collection_);
  for (const auto& output : outputs_) {
    if (output->isSelected()) gst_message_streams_selected_add(message, output->stream());
  }
  gst_element_post_message(element_, message);
}
