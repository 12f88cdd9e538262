// StreamReader: owns the session and the buffer that waits.
#include "gst/StreamReader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

using qo_host::AccessUnit;
using Place = qo_host::H264Frames::Place;

// Times have 32 bits, and those in front of the start have wrapped.
std::int64_t SignedMs(unsigned long long timeMs) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(timeMs));
}

// More than ten seconds is nothing that a frame lasts, and less than ten ms no frame of
// a stream that is reordered.
constexpr std::int64_t kLongestMs = 10'000;
constexpr std::int64_t kShortestMs = 10;

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
    : session_({createParser, destroyParser}, std::move(source)) {}

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
  return reader;
}

bool StreamReader::Fill() {
  if (buffer_ != nullptr) return true;
  const AccessUnit* const unit = Next();
  if (unit == nullptr) return false;
  buffer_ = buffers_.Make(unit->data, unit->size);
  if (open_ != nullptr) buffer_ = gst_buffer_append(open_, buffer_);
  open_ = nullptr;
  timeMs_ = SignedMs(unit->timeMs);
  // What the parser lets pass after a seek is a key frame, whatever the file flags.
  isKeyFrame_ = unit->isKeyFrame || isFirst_ || keyFramesOnly_;
  isFirst_ = false;
  if (unit->isIncomplete) GST_BUFFER_FLAG_SET(buffer_, GST_BUFFER_FLAG_CORRUPTED);
  if (h264_ != nullptr) FillFrame(*unit);
  return true;
}

// The file flags key frames by their times: of several frames of a time the first one is
// meant, and any that is IDR.
void StreamReader::FillFrame(const AccessUnit& first) {
  h264_->Start();
  h264_->Take(first.data, first.size);
  isKeyFrame_ &= !isSameTime_ || h264_->isIdr();
  const bool needsSets = parameterSets_ != nullptr && isKeyFrame_ &&
                         !qo_host::StartsWithH264Parameters(first.data, first.size);
  Join(first.timeMs);
  if (needsSets) gst_buffer_prepend_memory(buffer_, gst_memory_ref(parameterSets_));
}

// Puts what follows into the buffer, up to the next frame.
void StreamReader::Join(unsigned long long timeMs) {
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
    buffer_ = gst_buffer_append(buffer_, open);
    open = nullptr;
  }
  if (open != nullptr) buffer_ = gst_buffer_append(buffer_, open);
}

const AccessUnit* StreamReader::Next() {
  if (keyFramesOnly_ && PeekKeyFrame() == nullptr) return nullptr;
  return session_.NextUnit(kind_);
}

// A unit that has been looked at, to see where a frame ends, waits whatever it is.
const AccessUnit* StreamReader::PeekKeyFrame() {
  const AccessUnit* const unit = session_.PeekUnit(kind_, true);
  if (unit == nullptr || unit->isKeyFrame || h264_ == nullptr) return unit;
  session_.NextUnit(kind_);
  return session_.PeekUnit(kind_, true);
}

GstBuffer* StreamReader::Take() {
  GstBuffer* const buffer = buffer_;
  buffer_ = nullptr;
  GST_BUFFER_PTS(buffer) =
      static_cast<GstClockTime>(std::max<std::int64_t>(timeMs_, 0)) * GST_MSECOND;
  if (!isKeyFrame_) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
  GST_BUFFER_DURATION(buffer) = TakeDuration();
  return buffer;
}

// Up to the next unit; of the last one, as long as the one before. Where units are
// reordered, the shortest distance of two so far.
GstClockTime StreamReader::TakeDuration() {
  const AccessUnit* const next = session_.PeekUnit(kind_, keyFramesOnly_);
  std::int64_t ms = next != nullptr ? SignedMs(next->timeMs) - timeMs_ : 0;
  if (!keepsOrder_) ms = std::abs(ms);
  if (ms < (keepsOrder_ ? 1 : kShortestMs) || ms > kLongestMs) return duration_;
  const GstClockTime duration = static_cast<GstClockTime>(ms) * GST_MSECOND;
  duration_ = keepsOrder_ ? duration : std::min(duration_, duration);
  return duration_;
}

void StreamReader::Drop() {
  gst_clear_buffer(&buffer_);
  gst_clear_buffer(&open_);
  isSameTime_ = false;
}

bool StreamReader::Seek(std::int64_t timeMs) {
  Drop();
  isFirst_ = true;
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
  Drop();
  isFirst_ = true;
  const AccessUnit* unit;
  while ((unit = PeekKeyFrame()) != nullptr && SignedMs(unit->timeMs) < timeMs)
    session_.NextUnit(kind_);
  return unit != nullptr;
}
