// StreamReader: owns the session and the buffer that waits.
#include "gst/StreamReader.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using qo_host::AccessUnit;
using Place = qo_host::H264Frames::Place;

// Times have 32 bits, and those in front of the start have wrapped.
std::int64_t SignedMs(unsigned long long timeMs) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(timeMs));
}

// What lies in front of the start can't be told.
GstClockTime ToClockTime(std::int64_t timeMs) {
  return static_cast<GstClockTime>(std::max<std::int64_t>(timeMs, 0)) * GST_MSECOND;
}

bool HasOneOrder(const qo_host::Track& track) {
  constexpr unsigned int kDiv2 = GST_MAKE_FOURCC('D', 'I', 'V', '2');
  if (track.kind == qo_host::TrackKind::kAudio || track.codecTag == kDiv2) return true;
  switch (track.info.codec) {
    case kCodecMp42:
      return track.codecTag != GST_MAKE_FOURCC('M', '4', 'S', '2');
    case kCodecWmv1:
    case kCodecWmv2:
    case kCodecMp43:
    case kCodecDivx3:
    case kCodecMjpeg:
    case kCodecH263:
    case kCodecVp6:
    case kCodecVp7:
    case kCodecVp8:
    case kCodecTheora:
      return true;
    default:
      return false;
  }
}

GstMemory* MakeMemory(const unsigned char* data, std::size_t size) {
  GstMemory* const memory = gst_allocator_alloc(nullptr, size, nullptr);
  GstMapInfo map;
  if (gst_memory_map(memory, &map, GST_MAP_WRITE)) {
    std::memcpy(map.data, data, size);
    gst_memory_unmap(memory, &map);
  }
  return memory;
}

}  // namespace

StreamReader::StreamReader(std::unique_ptr<IDataSource> source)
    : session_({createParser, destroyParser}, std::move(source)),
      frames_([this](FrameQueue::Frame* frame) { return Read(frame); }) {}

StreamReader::~StreamReader() {
  Drop();
  if (parameterSets_ != nullptr) gst_memory_unref(parameterSets_);
}

std::unique_ptr<StreamReader> StreamReader::Open(std::unique_ptr<IDataSource> source,
                                                 const qo_host::StreamHeader& stream, int* status) {
  std::unique_ptr<StreamReader> reader(new StreamReader(std::move(source)));
  qo_host::OpenOptions options;
  options.streams = qo_host::StreamChoice::Only(stream);
  *status = reader->session_.Open(options);
  const qo_host::PresentedFile* const presented = reader->session_.presented();
  const bool isPlayed = *status >= 0 && presented != nullptr && presented->isPresented() &&
                        !reader->session_.tracks().empty();
  if (!isPlayed) return nullptr;
  reader->kind_ = reader->track().kind;
  reader->keepsOrder_ = HasOneOrder(reader->track());
  if (reader->track().info.codec == kCodecH264)
    reader->h264_ = std::make_unique<qo_host::H264Frames>(reader->track());
  const std::vector<unsigned char> sets = qo_host::H264ParameterSets(reader->track());
  if (!sets.empty()) reader->parameterSets_ = MakeMemory(sets.data(), sets.size());
  if (reader->kind_ == qo_host::TrackKind::kVideo) {
    reader->types_.emplace(reader->track());
    reader->frames_.LookAhead();
  }
  return reader;
}

unsigned long long StreamReader::durationMs() const {
  const unsigned long long fileMs = session_.durationMs();
  return fileMs == 0 ? 0 : fileMs + static_cast<unsigned long long>(frames_.delayMs());
}

bool StreamReader::Read(FrameQueue::Frame* frame) {
  const AccessUnit* const unit = Next();
  if (unit == nullptr) return false;
  frame->buffer = buffers_.Make(unit->data, unit->size);
  if (open_ != nullptr) frame->buffer = gst_buffer_append(open_, frame->buffer);
  open_ = nullptr;
  frame->fileMs = SignedMs(unit->timeMs);
  frame->isAlone = keyFramesOnly_;
  if (types_) frame->type = types_->Of(unit->data, unit->size);
  // What the parser lets pass after a seek is a key frame, if its bits don't say otherwise.
  frame->isKeyFrame = (unit->isKeyFrame || isFirst_ || keyFramesOnly_) && CanBegin(*unit);
  isFirst_ = false;
  if (unit->isIncomplete) GST_BUFFER_FLAG_SET(frame->buffer, GST_BUFFER_FLAG_CORRUPTED);
  if (h264_ != nullptr) FillFrame(*unit, frame);
  return true;
}

// Some files flag every frame.
bool StreamReader::IsKeyFrame(const AccessUnit& unit) const {
  return unit.isKeyFrame && CanBegin(unit);
}

// Whether a decoder can begin with it, for all that its bits say.
bool StreamReader::CanBegin(const AccessUnit& unit) const {
  if (!types_) return true;
  const FrameType type = types_->Of(unit.data, unit.size);
  return type == FrameType::kIntra || type == FrameType::kUnknown;
}

// The file flags key frames by their times: of several frames of a time the first one is
// meant, and any that is IDR.
void StreamReader::FillFrame(const AccessUnit& first, FrameQueue::Frame* frame) {
  h264_->Start();
  h264_->Take(first.data, first.size);
  frame->isKeyFrame &= !isSameTime_ || h264_->isIdr();
  frame->order = h264_->order();
  if (h264_->isBidirectional()) frame->type = FrameType::kBidirectional;
  const bool needsSets = parameterSets_ != nullptr && frame->isKeyFrame &&
                         !qo_host::StartsWithH264Parameters(first.data, first.size);
  Join(first.timeMs, &frame->buffer);
  if (needsSets) gst_buffer_prepend_memory(frame->buffer, gst_memory_ref(parameterSets_));
}

// Puts what follows into the buffer, up to the next frame.
void StreamReader::Join(unsigned long long timeMs, GstBuffer** buffer) {
  isSameTime_ = false;
  GstBuffer* open = nullptr;
  const AccessUnit* unit;
  while ((unit = session_.PeekUnit(kind_)) != nullptr && unit->timeMs == timeMs) {
    const Place place = h264_->Take(unit->data, unit->size);
    if (place == Place::kNext) {
      isSameTime_ = true;
      open_ = open;
      return;
    }
    session_.NextUnit(kind_);
    if (open == nullptr) open = gst_buffer_new();
    gst_buffer_append_memory(open, MakeMemory(unit->data, unit->size));
    if (place == Place::kOpen) continue;
    *buffer = gst_buffer_append(*buffer, open);
    open = nullptr;
  }
  if (open != nullptr) *buffer = gst_buffer_append(*buffer, open);
}

const AccessUnit* StreamReader::Next() {
  if (keyFramesOnly_ && PeekKeyFrame() == nullptr) return nullptr;
  return session_.NextUnit(kind_);
}

// A unit that has been looked at, to see where a frame ends, waits whatever it is.
const AccessUnit* StreamReader::PeekKeyFrame() {
  const AccessUnit* unit;
  while ((unit = session_.PeekUnit(kind_, true)) != nullptr && !IsKeyFrame(*unit))
    session_.NextUnit(kind_);
  return unit;
}

GstBuffer* StreamReader::Take() {
  const FrameQueue::Frame frame = frames_.Take();
  GstBuffer* const buffer = frame.buffer;
  GST_BUFFER_PTS(buffer) = ToClockTime(frame.shownMs);
  if (frames_.hasDecodingTimes()) GST_BUFFER_DTS(buffer) = ToClockTime(frame.fileMs);
  if (!frame.isKeyFrame) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
  if (keepsOrder_) GST_BUFFER_DURATION(buffer) = TakeDuration(frame.fileMs);
  return buffer;
}

// Up to the next unit; of the last one, as long as the one before.
GstClockTime StreamReader::TakeDuration(std::int64_t timeMs) {
  std::int64_t ms = 0;
  if (const auto nextMs = frames_.nextFileMs()) {
    ms = *nextMs - timeMs;
  } else if (const AccessUnit* const next = session_.PeekUnit(kind_, keyFramesOnly_)) {
    ms = SignedMs(next->timeMs) - timeMs;
  }
  if (ms >= 1 && ms <= FrameQueue::kLongestFrameMs)
    duration_ = static_cast<GstClockTime>(ms) * GST_MSECOND;
  return duration_;
}

void StreamReader::Drop() {
  frames_.Clear();
  gst_clear_buffer(&open_);
  isSameTime_ = false;
  isFirst_ = true;
}

bool StreamReader::Seek(std::int64_t timeMs) {
  if (!SeekToKeyFrame(timeMs)) return false;
  // Some are shown later than their time says.
  const bool isLate = frames_.hasDecodingTimes() && Fill() && frames_.front().shownMs > timeMs;
  return !isLate || SeekToKeyFrame(frames_.front().fileMs - 1);
}

// The same by the file's times. Where the flag of the frame found is wrong, what lies in
// front of it is searched, from ever further back.
bool StreamReader::SeekToKeyFrame(std::int64_t timeMs) {
  if (!SeekAsFlagged(timeMs)) return false;
  const AccessUnit* const unit = session_.PeekUnit(kind_);
  if (unit == nullptr || CanBegin(*unit)) return true;
  for (std::int64_t back = 500; back < timeMs; back *= 2) {
    if (!SeekAsFlagged(timeMs - back)) return false;
    const std::optional<std::int64_t> found = FindKeyFrame(timeMs);
    if (found) return SeekAsFlagged(*found);
  }
  session_.Rewind();
  return true;
}

// The time of the last one from here on, at or before `lastMs`.
std::optional<std::int64_t> StreamReader::FindKeyFrame(std::int64_t lastMs) {
  std::optional<std::int64_t> found;
  const AccessUnit* unit;
  while ((unit = session_.PeekUnit(kind_)) != nullptr && SignedMs(unit->timeMs) <= lastMs) {
    if (IsKeyFrame(*unit)) found = SignedMs(unit->timeMs);
    session_.NextUnit(kind_);
  }
  return found;
}

// As the file flags key frames.
bool StreamReader::SeekAsFlagged(std::int64_t timeMs) {
  Drop();
  if (seeker_ == nullptr) seeker_ = std::make_unique<qo_host::ExactSeeker>(&session_);
  const auto target = static_cast<unsigned long long>(std::max<std::int64_t>(timeMs, 0));
  const qo_host::ExactSeek seek = seeker_->Seek(target);
  if (seek.outcome != qo_host::ExactSeek::Outcome::kFailed) return true;
  if (seek.problem == qo_host::ExactSeek::Problem::kSourceFailed) return false;
  SeekPlainly(timeMs);
  return true;
}

// By the parser's index or estimate, from ever further in front, until what comes first
// is early enough.
void StreamReader::SeekPlainly(std::int64_t timeMs) {
  for (std::int64_t back = 0; back < timeMs; back = 2 * back + 1000) {
    session_.Seek(static_cast<unsigned long long>(timeMs - back), kSeekPreviousSync);
    const AccessUnit* const unit = session_.PeekUnit(kind_, true);
    if (unit != nullptr && SignedMs(unit->timeMs) <= timeMs) return;
  }
  session_.Rewind();
}

bool StreamReader::SkipToKeyFrame(std::int64_t timeMs) {
  // Where key frames are shown later than their time says, frame by frame.
  while (frames_.hasDecodingTimes() && Fill()) {
    if (isKeyFrame() && frames_.front().shownMs >= timeMs) return true;
    gst_buffer_unref(Take());
  }
  Drop();
  const AccessUnit* unit;
  while ((unit = PeekKeyFrame()) != nullptr && SignedMs(unit->timeMs) < timeMs)
    session_.NextUnit(kind_);
  return unit != nullptr;
}
