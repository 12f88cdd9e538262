// Opening a file and streaming it. Seeking and queries have sources of their own.
#include "gst/Demuxer.h"

#include <gst/base/gstbytereader.h>
#include <gst/pbutils/pbutils.h>

#include <algorithm>

#include "gst/QoAsfDemux.h"
#include "gst/Tags.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/StatusText.h"

GST_DEBUG_CATEGORY_EXTERN(qoasfdemux_debug);
#define GST_CAT_DEFAULT qoasfdemux_debug

namespace {

using qo_host::EncryptionKind;
using qo_host::StreamHeader;
using qo_host::StreamKind;

// A session keeps the header, which may be large and hold many streams.
constexpr unsigned long long kMaxHeaderBytesInSessions = 256ull << 20;

// How far a pad may fall behind the others before it is told that nothing comes.
constexpr GstClockTime kLargestGap = GST_SECOND;

// What a seek that doesn't flush waits for at most.
constexpr int kUnitsInARound = 16;

bool IsPlayable(const StreamHeader& stream) {
  return stream.kind == StreamKind::kAudio || stream.kind == StreamKind::kVideo;
}

}  // namespace

Demuxer::Demuxer(GstElement* element, GstPad* sink)
    : element_(element), sink_(sink), combiner_(gst_flow_combiner_new()) {
  g_rec_mutex_init(&taskLock_);
  task_ = gst_task_new([](gpointer self) { static_cast<Demuxer*>(self)->Run(); }, this, nullptr);
  gst_task_set_lock(task_, &taskLock_);
  gst_segment_init(&segment_, GST_FORMAT_TIME);
}

Demuxer::~Demuxer() {
  Reset();
  gst_object_unref(task_);
  gst_flow_combiner_free(combiner_);
  g_rec_mutex_clear(&taskLock_);
}

void Demuxer::Start(GstPadMode mode) {
  const TaskLock lock(&taskLock_);
  Reset();
  flow_ = GST_FLOW_OK;
  if (mode == GST_PAD_MODE_PUSH) queue_ = std::make_shared<QueueSource>(sink_, &flow_);
  if (mode == GST_PAD_MODE_PULL) pull_ = std::make_unique<PadSource>(sink_, &flow_);
  isStreaming_ = true;
  gst_task_start(task_);
}

void Demuxer::Stop() {
  if (queue_ != nullptr) queue_->Shut();
  {
    // A seek under way starts the task as its last step.
    const TaskLock lock(&taskLock_);
    isStreaming_ = false;
    gst_task_stop(task_);
  }
  gst_task_join(task_);
}

void Demuxer::Reset() {
  const TaskLock taskLock(&taskLock_);
  {
    const std::lock_guard<std::mutex> lock(shownLock_);
    shown_ = Shown();
    hasWanted_ = false;
  }
  for (const auto& output : outputs_) {
    gst_flow_combiner_remove_pad(combiner_, output->pad());
    gst_element_remove_pad(element_, output->pad());
  }
  outputs_.clear();
  pull_.reset();
  queue_.reset();
  header_ = {};
  if (collection_ != nullptr) gst_object_unref(collection_);
  collection_ = nullptr;
  gst_segment_init(&segment_, GST_FORMAT_TIME);
  isOpen_ = false;
  hasToldOfDistance_ = false;
  lastDamaged_.reset();
}

std::unique_ptr<IDataSource> Demuxer::MakeSource() const {
  if (queue_ != nullptr) return queue_->MakeReader();
  return std::make_unique<qo_host::BorrowedSource>(pull_.get());
}

void Demuxer::Run() {
  if (isOpen_) {
    // A task that comes round costs as much as a small unit.
    for (int units = 0; units < kUnitsInARound && Step(); ++units) {
    }
    return;
  }
  // Whoever plugs elements into each other holds the pad until it is done with this one, and
  // hears of no error before.
  if (queue_ == nullptr) {
    GST_PAD_STREAM_LOCK(sink_);
    GST_PAD_STREAM_UNLOCK(sink_);
  }
  if (OpenFile()) return;
  gst_task_pause(task_);
  if (queue_ != nullptr) queue_->Close(flow_ == GST_FLOW_OK ? GST_FLOW_ERROR : flow_.load());
}

// A failure of the source, or of the first stream that can't be played; nothing where the
// header says enough.
std::optional<int> Demuxer::ReadFile() {
  // Reading begins at the file's beginning several times: this source stays there, so
  // that what has been pushed does too.
  const std::unique_ptr<IDataSource> beginning = MakeSource();
  int status = qo_host::ReadFileHeader(MakeSource().get(), &header_);
  if (status < 0) return status;
  if (queue_ != nullptr) queue_->LearnUpstream();
  if (!CheckHeader()) return std::nullopt;
  OpenStreams(&status);
  // A pad that never brings anything holds up whoever waits for all of them.
  const auto isEmpty = [](const auto& output) { return !output->HasBuffer(); };
  outputs_.erase(std::remove_if(outputs_.begin(), outputs_.end(), isEmpty), outputs_.end());
  return status;
}

bool Demuxer::OpenFile() {
  const std::optional<int> status = ReadFile();
  if (!status) return false;
  const GstFlowReturn flow = flow_;
  if (flow != GST_FLOW_OK) {
    outputs_.clear();
    if (flow != GST_FLOW_FLUSHING) GST_ELEMENT_FLOW_ERROR(element_, flow);
    return false;
  }
  if (outputs_.empty()) return PostRefusal(*status), false;
  ExposeStreams();
  return true;
}

bool Demuxer::CheckHeader() {
  if (flow_ != GST_FLOW_OK) return true;
  if (!header_.isAsf) {
    GST_ELEMENT_ERROR(element_, STREAM, WRONG_TYPE, ("This is no ASF file."), (nullptr));
    return false;
  }
  const auto isContent = [](const auto& entry) { return entry.kind == EncryptionKind::kContent; };
  if (std::any_of(header_.encryptions.begin(), header_.encryptions.end(), isContent)) {
    GST_ELEMENT_ERROR(element_, STREAM, DECRYPT, ("This file is encrypted."),
                      ("content encryption"));
    return false;
  }
  if (std::none_of(header_.streams.begin(), header_.streams.end(), IsPlayable)) {
    GST_ELEMENT_ERROR(element_, STREAM, DEMUX, ("This file has neither audio nor video."),
                      (nullptr));
    return false;
  }
  return true;
}

bool Demuxer::IsWorthASession(std::size_t sessions) const {
  return sessions < 2 || (sessions + 1) * header_.bytes.size() <= kMaxHeaderBytesInSessions;
}

// `*status`: of the first stream that can't be played.
void Demuxer::OpenStreams(int* status) {
  bool seen[256] = {};
  for (const StreamHeader& stream : header_.streams) {
    if (!IsPlayable(stream) || seen[stream.number] || !IsWorthASession(outputs_.size())) continue;
    seen[stream.number] = true;
    int opened = 0;
    auto reader = StreamReader::Open(MakeSource(), stream, &opened);
    if (flow_ != GST_FLOW_OK) return;
    if (reader == nullptr) {
      GST_WARNING_OBJECT(element_, "stream %u can't be played: status %d", stream.number, opened);
      if (*status == 0) *status = opened;
      continue;
    }
    const StreamFacts facts{header_, stream, reader->track(), reader->frameDuration()};
    outputs_.push_back(std::make_unique<Output>(element_, std::move(reader), facts));
  }
}

void Demuxer::PostRefusal(int status) {
  const std::string reason = status < 0 ? qo_host::StatusText(qo_host::Action::kOpen, status)
                                        : "there are no packets that could be played";
  GST_ELEMENT_ERROR(element_, STREAM, DEMUX, ("This file can't be played: %s.", reason.c_str()),
                    ("status %d", status));
}

void Demuxer::ExposeStreams() {
  GstEvent* const upstream = gst_pad_get_sticky_event(sink_, GST_EVENT_STREAM_START, 0);
  guint group = 0;
  if (upstream == nullptr || !gst_event_parse_group_id(upstream, &group))
    group = gst_util_group_id_next();
  if (upstream != nullptr) gst_event_unref(upstream);

  unsigned long long durationMs = 0;
  collection_ = gst_stream_collection_new(nullptr);
  for (const auto& output : outputs_) {
    durationMs = std::max(durationMs, output->reader().durationMs());
    gst_stream_collection_add_stream(collection_, GST_STREAM(gst_object_ref(output->stream())));
  }
  if (durationMs != 0) segment_.duration = durationMs * GST_MSECOND;
  seqnum_ = gst_util_seqnum_next();
  gst_element_post_message(element_,
                           gst_message_new_stream_collection(GST_OBJECT(element_), collection_));
  GstTagList* const tags = MakeFileTags(header_);
  for (const auto& output : outputs_) {
    SetSourceFunctions(output->pad());
    output->BeginSegment(segment_);
    output->Announce(group);
    output->PushSegment(segment_, seqnum_);
    output->PushTags(collection_, tags);
    gst_element_add_pad(element_, output->pad());
    gst_flow_combiner_add_pad(combiner_, output->pad());
  }
  gst_tag_list_unref(tags);
  gst_element_no_more_pads(element_);
  // Pictures in it may be large, and all has been said.
  header_ = {};
  isOpen_ = true;
  Show();
}

void Demuxer::Show() {
  const std::lock_guard<std::mutex> lock(shownLock_);
  shown_.segment = segment_;
  shown_.canSeek = queue_ == nullptr || queue_->canSeek();
  shown_.queue = queue_;
  shown_.pads.clear();
  for (const auto& output : outputs_) {
    shown_.pads.emplace_back(GST_PAD(gst_object_ref(output->pad())), gst_object_unref);
  }
}

bool Demuxer::Step() {
  ApplySelection();
  Output* const next = NextOutput();
  if (flow_ != GST_FLOW_OK) return StopFor(flow_), false;
  if (next == nullptr && BeginPiece()) return true;
  if (next == nullptr) return Finish(), false;
  if (segment_.rate > 0) CoverGaps(next->bufferTime());
  WarnOfDamage(next->reader());
  if (!next->isActive()) return next->Skip(), true;
  GstFlowReturn flow = next->Push(segment_, seqnum_);
  segment_.position = next->bufferTime();
  position_.store(segment_.position, std::memory_order_relaxed);
  if (flow == GST_FLOW_OK && !next->isFlowOdd()) return true;
  next->SetFlowOdd(flow != GST_FLOW_OK);
  flow = gst_flow_combiner_update_pad_flow(combiner_, next->pad(), flow);
  if (flow == GST_FLOW_OK) return true;
  StopFor(flow);
  return false;
}

// Null where all are done, or the source failed.
Output* Demuxer::NextOutput() {
  Output* next = nullptr;
  for (const auto& output : outputs_) {
    if (output->isDone() || !IsRead(*output)) continue;
    if (!output->HasBuffer()) {
      if (flow_ != GST_FLOW_OK) return nullptr;
      EndOutput(output.get());
    } else if (next == nullptr || output->bufferTime() < next->bufferTime()) {
      next = output.get();
    }
  }
  return next;
}

// What can't be sought in is read whether it plays or not, so that it is where the others
// are when it is to play.
bool Demuxer::IsRead(const Output& output) const {
  return output.isActive() || (queue_ != nullptr && !queue_->mayJump());
}

void Demuxer::EndOutput(Output* output) {
  output->SetDone();
  const bool mayGoOn = segment_.rate < 0 || (segment_.flags & GST_SEGMENT_FLAG_SEGMENT) != 0;
  if (!mayGoOn) output->PushEos(segment_, seqnum_);
  if (queue_ == nullptr || !queue_->isTooFarApart() || hasToldOfDistance_) return;
  hasToldOfDistance_ = true;
  GST_ELEMENT_WARNING(element_, STREAM, DEMUX,
                      ("A part of this file can't be played as it comes in: its streams lie too "
                       "far apart."),
                      (nullptr));
}

void Demuxer::CoverGaps(GstClockTime now) {
  for (const auto& output : outputs_) {
    if (!output->isDone() && output->position() + kLargestGap < now)
      output->PushGap(segment_, seqnum_, now);
  }
}

// All streams read the same packets: each is told of once.
void Demuxer::WarnOfDamage(const StreamReader& reader) {
  const auto& packets = reader.damage().packets;
  if (packets.empty()) return;
  const unsigned long long last = packets.rbegin()->first;
  if (lastDamaged_ && last <= *lastDamaged_) return;
  lastDamaged_ = last;
  GST_ELEMENT_WARNING(element_, STREAM, DEMUX, ("The file is damaged; play goes on."),
                      ("packet %llu can't be read to its end, %zu so far", last, packets.size()));
}

void Demuxer::Finish() {
  gst_task_pause(task_);
  if (queue_ != nullptr) queue_->Close(GST_FLOW_EOS);
  if ((segment_.flags & GST_SEGMENT_FLAG_SEGMENT) == 0) {
    for (const auto& output : outputs_) output->PushEos(segment_, seqnum_);
    return;
  }
  const GstClockTime stop =
      GST_CLOCK_TIME_IS_VALID(segment_.stop) ? segment_.stop : segment_.duration;
  const auto end = static_cast<gint64>(segment_.rate < 0 ? segment_.start : stop);
  GstMessage* const message =
      gst_message_new_segment_done(GST_OBJECT(element_), GST_FORMAT_TIME, end);
  gst_message_set_seqnum(message, seqnum_);
  gst_element_post_message(element_, message);
  GstEvent* const done = gst_event_new_segment_done(GST_FORMAT_TIME, end);
  gst_event_set_seqnum(done, seqnum_);
  PushToAll(done);
}

// Flushing says nothing more; EOS, that none wants more of the segment; a flow that fails is
// an error, and then the end for all.
void Demuxer::StopFor(GstFlowReturn flow) {
  gst_task_pause(task_);
  GST_DEBUG_OBJECT(element_, "streaming stops: %s", gst_flow_get_name(flow));
  if (flow == GST_FLOW_FLUSHING) return;
  if (flow == GST_FLOW_EOS) return Finish();
  if (queue_ != nullptr) queue_->Close(flow);
  GST_ELEMENT_FLOW_ERROR(element_, flow);
  for (const auto& output : outputs_) output->PushEos(segment_, seqnum_);
}

// Also while the task runs.
void Demuxer::PushToAll(GstEvent* event) {
  const Shown shown = GetShown();
  for (const auto& pad : shown.pads) gst_pad_push_event(pad.get(), gst_event_ref(event));
  gst_event_unref(event);
}
