// Matroska: a head made of the ASF header, clusters of frames as they come, and at the
// end, where the file can be written over, an index of its key frames.
#include <ebml/EbmlVoid.h>
#include <matroska/KaxBlock.h>
#include <matroska/KaxCluster.h>
#include <matroska/KaxClusterData.h>
#include <matroska/KaxCues.h>
#include <matroska/KaxCuesData.h>
#include <matroska/KaxInfoData.h>
#include <matroska/KaxSeekHead.h>
#include <matroska/KaxSegment.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>

#include "tools/extract/MatroskaHead.h"
#include "tools/extract/Writer.h"

namespace tool {
namespace {

using libebml::GetChild;

// A cluster ends with the frame that passes one of these, and at a key frame that is
// late enough: seeks go to clusters.
constexpr std::size_t kMaxClusterBytes = std::size_t{4} << 20;
constexpr std::int64_t kMaxClusterMs = 5000;
constexpr std::int64_t kMinClusterMs = 1000;
// Times in a cluster have 16 bits and a sign.
constexpr std::int64_t kMaxDistanceMs = std::numeric_limits<std::int16_t>::max();

// The library's way to an output. Nothing that was written is read again.
class OutputCallback final : public libebml::IOCallback {
 public:
  explicit OutputCallback(OutputFile* file) : file_(file) {}

  std::uint32_t read(void*, std::size_t) override { return 0; }
  void setFilePointer(std::int64_t offset, libebml::seek_mode mode) override {
    const std::uint64_t from = mode == libebml::seek_beginning ? 0
                               : mode == libebml::seek_current ? position_
                                                               : end_;
    position_ = from + static_cast<std::uint64_t>(offset);
  }
  std::size_t write(const void* data, std::size_t size) override {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    if (position_ == end_) {
      file_->Write(bytes, size);
    } else {
      file_->WriteAt(position_, bytes, size);
    }
    position_ += size;
    end_ = std::max(end_, position_);
    return size;
  }
  std::uint64_t getFilePointer() override { return position_; }
  void close() override {}

 private:
  OutputFile* const file_;
  std::uint64_t position_ = 0;
  std::uint64_t end_ = 0;
};

// A key frame that a seek may start from.
struct Cue {
  std::uint64_t timeMs;
  std::uint64_t cluster;  // its position in the segment
};

struct TrackState {
  libmatroska::KaxTrackEntry* entry;  // of the writer's
  bool hasLengths;
  std::int64_t lastMs = 0;
  std::int64_t stepMs = 0;  // from the frame before to the last
};

class MatroskaWriter final : public Writer {
 public:
  MatroskaWriter(OutputFile* file, const StreamList& streams);
  void Write(std::size_t stream, const Frame& frame) override;
  void Finish() override;

 private:
  void AddTracks(const StreamList& streams);
  void WriteHead(const qo_host::FileHeader& header);
  bool BelongsToNext(const Frame& frame, std::int64_t timeMs, bool leads) const;
  void BeginCluster(std::int64_t timeMs);
  void AddBlock(const TrackState& track, const Frame& frame, std::int64_t timeMs);
  void FlushCluster();
  void WriteCues();
  void WriteDuration();

  const bool isSeekable_;
  OutputCallback output_;
  std::vector<unsigned char> streams_;  // the numbers in the ASF file, by track
  std::vector<TrackState> tracks_;
  std::size_t leader_ = 0;  // the track whose key frames seeks go to

  libmatroska::KaxSegment segment_;
  libebml::EbmlVoid placeForSeekHead_;
  libmatroska::KaxSeekHead seekHead_;
  libmatroska::KaxInfo info_;
  libmatroska::KaxTracks entries_;

  std::unique_ptr<libmatroska::KaxCluster> cluster_;  // null before the first frame
  std::int64_t clusterMs_ = 0;
  std::size_t clusterBytes_ = 0;
  std::optional<std::uint64_t> clusterCueMs_;
  std::vector<Cue> cues_;  // at most one a cluster
  ByteVector converted_;
};

MatroskaWriter::MatroskaWriter(OutputFile* file, const StreamList& streams)
    : isSeekable_(file->canWriteAt()), output_(file) {
  AddTracks(streams);
  WriteHead(streams.front().header);
}

void MatroskaWriter::AddTracks(const StreamList& streams) {
  bool hasVideo = false;
  for (const StreamSetup& setup : streams) {
    const auto number = static_cast<unsigned int>(tracks_.size() + 1);
    if (!hasVideo && setup.track.kind == qo_host::TrackKind::kVideo) {
      hasVideo = true;
      leader_ = tracks_.size();
    }
    const MatroskaCodec codec = MatroskaCodecOf(setup);
    auto& entry = libebml::AddNewChild<libmatroska::KaxTrackEntry>(entries_);
    FillTrack(setup, codec, number, &entry);
    entry.SetGlobalTimecodeScale(kTimestampScale);
    tracks_.push_back({&entry, codec.hasLengths});
    streams_.push_back(setup.stream.number);
  }
}

void MatroskaWriter::WriteHead(const qo_host::FileHeader& header) {
  libebml::EbmlHead head;
  FillEbmlHead(&head);
  head.Render(output_, true);  // also what is as readers assume
  constexpr int kSizeBytes = 8;
  segment_.SetSizeInfinite(true);
  segment_.WriteHead(output_, kSizeBytes);
  constexpr std::uint64_t kSeekHeadBytes = 160;  // more than six places take
  placeForSeekHead_.SetSize(kSeekHeadBytes);
  if (isSeekable_) placeForSeekHead_.Render(output_);
  FillInfo(header, &info_);
  if (isSeekable_) {
    auto& duration = GetChild<libmatroska::KaxDuration>(info_);
    duration.SetPrecision(libebml::EbmlFloat::FLOAT_64);
    duration.SetValue(1);
  }
  const auto write = [this](libebml::EbmlMaster* element) {
    element->Render(output_);
    seekHead_.IndexThis(*element, segment_);
  };
  write(&info_);
  write(&entries_);
  libmatroska::KaxChapters chapters;
  FillChapters(header, &chapters);
  libmatroska::KaxAttachments attachments;
  FillAttachments(header, &attachments);
  libmatroska::KaxTags tags;
  FillTags(header, streams_, &tags);
  if (!header.markers.empty()) write(&chapters);
  for (libebml::EbmlMaster* const element : {static_cast<libebml::EbmlMaster*>(&attachments),
                                             static_cast<libebml::EbmlMaster*>(&tags)}) {
    if (element->ListSize() != 0) write(element);
  }
}

void MatroskaWriter::Write(std::size_t stream, const Frame& frame) {
  TrackState& track = tracks_[stream];
  const std::int64_t timeMs = std::max<std::int64_t>(frame.timeMs, 0);
  const bool leads = stream == leader_ && frame.isKeyFrame;
  if (cluster_ == nullptr || BelongsToNext(frame, timeMs, leads)) BeginCluster(timeMs);
  if (leads && !clusterCueMs_) clusterCueMs_ = static_cast<std::uint64_t>(timeMs);
  AddBlock(track, frame, timeMs);
  track.stepMs = std::max<std::int64_t>(timeMs - track.lastMs, 0);
  track.lastMs = std::max(track.lastMs, timeMs);
}

bool MatroskaWriter::BelongsToNext(const Frame& frame, std::int64_t timeMs, bool leads) const {
  const std::int64_t distance = timeMs - clusterMs_;
  return distance > kMaxClusterMs || -distance > kMaxDistanceMs ||
         clusterBytes_ + frame.size > kMaxClusterBytes || (leads && distance >= kMinClusterMs);
}

void MatroskaWriter::BeginCluster(std::int64_t timeMs) {
  FlushCluster();
  const auto time = static_cast<std::uint64_t>(timeMs);
  cluster_ = std::make_unique<libmatroska::KaxCluster>();
  cluster_->SetParent(segment_);
  cluster_->InitTimecode(time, kTimestampScale);
  GetChild<libmatroska::KaxClusterTimecode>(*cluster_).SetValue(time);
  clusterMs_ = timeMs;
}

void MatroskaWriter::AddBlock(const TrackState& track, const Frame& frame, std::int64_t timeMs) {
  const unsigned char* data = frame.data;
  std::size_t size = frame.size;
  if (track.hasLengths) {
    PutLengths(frame, &converted_);
    data = converted_.data();
    size = converted_.size();
  }
  if (size == 0) return;  // H.264 without a NAL unit
  // The cluster takes the block, and the block the buffer, which copies the bytes.
  auto* const block = new libmatroska::KaxSimpleBlock;
  cluster_->PushElement(*block);
  block->SetParent(*cluster_);
  auto* const buffer = new libmatroska::DataBuffer(const_cast<unsigned char*>(data),
                                                   static_cast<std::uint32_t>(size), nullptr, true);
  block->AddFrame(*track.entry, static_cast<std::uint64_t>(timeMs) * kTimestampScale, *buffer,
                  libmatroska::LACING_NONE);
  block->SetKeyframe(frame.isKeyFrame);
  clusterBytes_ += size;
}

void MatroskaWriter::FlushCluster() {
  if (cluster_ == nullptr) return;
  // The library's Render for clusters wants blocks of its own making.
  cluster_->libebml::EbmlElement::Render(output_);
  if (clusterCueMs_) cues_.push_back({*clusterCueMs_, cluster_->GetPosition()});
  cluster_.reset();
  clusterBytes_ = 0;
  clusterCueMs_.reset();
}

void MatroskaWriter::WriteCues() {
  if (cues_.empty()) return;
  libmatroska::KaxCues cues;
  cues.SetGlobalTimecodeScale(kTimestampScale);
  for (const Cue& cue : cues_) {
    auto& point = libebml::AddNewChild<libmatroska::KaxCuePoint>(cues);
    GetChild<libmatroska::KaxCueTime>(point).SetValue(cue.timeMs);
    auto& place = GetChild<libmatroska::KaxCueTrackPositions>(point);
    GetChild<libmatroska::KaxCueTrack>(place).SetValue(leader_ + 1);
    GetChild<libmatroska::KaxCueClusterPosition>(place).SetValue(cue.cluster);
  }
  cues.Render(output_);
  seekHead_.IndexThis(cues, segment_);
}

// Up to the end of the last frame, which lasts as long as the one before it.
void MatroskaWriter::WriteDuration() {
  std::int64_t endMs = 0;
  for (const TrackState& track : tracks_) endMs = std::max(endMs, track.lastMs + track.stepMs);
  auto& duration = GetChild<libmatroska::KaxDuration>(info_);
  duration.SetValue(static_cast<double>(endMs));
  duration.OverwriteData(output_);
}

void MatroskaWriter::Finish() {
  FlushCluster();
  if (!isSeekable_) return;
  WriteCues();
  const std::uint64_t end = output_.getFilePointer();
  placeForSeekHead_.ReplaceWith(seekHead_, output_);
  WriteDuration();
  if (segment_.ForceSize(end - segment_.GetElementPosition() - segment_.HeadSize()))
    segment_.OverwriteHead(output_);
}

}  // namespace

WriterPointer MakeMatroskaWriter(OutputFile* file, const StreamList& streams) {
  return std::make_unique<MatroskaWriter>(file, streams);
}

}  // namespace tool
