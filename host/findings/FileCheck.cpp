// FileCheck: brings the packets, mended in memory only to tell what is lost in them, and
// asks of each what it says.
#include "qo_host/FileCheck.h"

#include <algorithm>
#include <set>

#include "asf/format/SourceReader.h"
#include "host/findings/CheckFindings.h"
#include "host/presented/PacketMender.h"
#include "host/presented/Plan.h"
#include "host/repair/KeyFrameIndex.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/FileSource.h"

namespace qo_host {
namespace {

constexpr std::size_t kReadBytes = std::size_t{64} << 10;  // at once, unless a packet is longer

// To ask where the session stands may cost more than a unit.
constexpr unsigned int kCallsAtOnce = 16;

// Bytes. A longer index is none that a writer makes.
constexpr unsigned long long kMaxIndexBytes = 16ull << 20;

AsfLayout PacketLayout(const DataExtent& data, unsigned long long prerollMs) {
  AsfLayout layout;
  layout.packetLength = layout.minPacketLength = data.packetLength;
  layout.prerollMs = prerollMs;
  return layout;
}

PlayedStreams AllStreams() {
  PlayedStreams streams;
  streams.all = true;
  return streams;
}

}  // namespace

class FileCheck::Work {
 public:
  Work(const ParserSession& session, IDataSource* file)
      : session_(session), source_(file), fileSource_(dynamic_cast<FileSource*>(file)) {
    Prepare();
  }

  int Follow();
  int Finish(const std::vector<Finding>& told, std::vector<Finding>* findings);

 private:
  // Of the packets, made once their length is known.
  struct Packets {
    Packets(const DataExtent& data, unsigned long long prerollMs)
        : mender(PacketLayout(data, prerollMs), AllStreams(), &damage), check(prerollMs) {}
    Damage damage;
    PacketMender mender;
    PacketCheck check;
    std::vector<KeyFrameIndex> indexes;  // of the video streams, in the order of their numbers
  };

  void Prepare();
  bool IsWithin(unsigned long long number) const {
    return status_ >= 0 && packets_ && number < count_;
  }
  void LookAtBlock();
  int Read(unsigned long long offset, unsigned long long size, unsigned long long* got);
  void Look(unsigned long long number, const unsigned char* bytes, unsigned int present);

  std::vector<unsigned char> MisleadingIndexes();

  const ParserSession& session_;
  BorrowedSource source_;
  FileSource* const fileSource_;  // the same, where it is one; otherwise null
  int status_ = 0;
  FileHeader own_;
  const FileHeader* header_ = &own_;
  DataExtent data_;
  unsigned long long viewStart_ = 0;  // of packet 0 in what the session reads
  std::unique_ptr<Packets> packets_;  // null where there are none to look at
  unsigned long long count_ = 0;
  unsigned long long next_ = 0;
  unsigned long long calls_ = 0;  // of Follow
  std::vector<unsigned char> block_;
};

void FileCheck::Work::Prepare() {
  const PresentedFile* const presented = session_.presented();
  const bool isPresented = presented != nullptr && presented->isPresented();
  if (presented != nullptr) {
    header_ = &presented->header();
  } else {
    status_ = ReadFileHeader(&source_, &own_);
  }
  if (status_ < 0 || !header_->properties) return;
  data_ = isPresented ? presented->plan().data : FindData(&source_, *header_);
  viewStart_ = data_.packetsStart;
  if (isPresented && !presented->plan().presentation.header.empty()) {
    viewStart_ = presented->plan().presentation.header.size();
  }
  count_ = data_.PacketCount();
  if (count_ == 0 || data_.packetLength > kMaxPacketLength) return;
  const unsigned long long prerollMs = header_->properties->prerollMs;
  packets_ = std::make_unique<Packets>(data_, prerollMs);
  std::set<unsigned char> videos;
  ForEachStream(*header_, [&](const StreamHeader& stream) {
    packets_->check.SetKind(stream.number, stream.kind);
    if (stream.kind == StreamKind::kVideo) videos.insert(stream.number);
  });
  for (const unsigned char video : videos) packets_->indexes.emplace_back(video, prerollMs);
}

int FileCheck::Work::Follow() {
  if (++calls_ % kCallsAtOnce != 0) return status_;
  unsigned long long position = 0;
  BorrowedSource(session_.view()).GetPosition(&position);
  if (position < viewStart_ || data_.packetLength == 0) return status_;
  const unsigned long long number = (position - viewStart_) / data_.packetLength;
  while (next_ < number && IsWithin(next_)) LookAtBlock();
  return status_;
}

void FileCheck::Work::LookAtBlock() {
  const unsigned int length = data_.packetLength;
  const unsigned long long start = data_.packetsStart + next_ * length;
  const unsigned long long atOnce = std::max<unsigned long long>(1, kReadBytes / length) * length;
  block_.resize(static_cast<std::size_t>(atOnce));
  unsigned long long got = 0;
  status_ = Read(start, std::min(atOnce, data_.packetsEnd - start), &got);
  if (status_ < 0) return;
  if (got == 0) count_ = next_;  // a source that doesn't know its size has ended
  for (std::size_t at = 0; at < got; at += length) {
    Look(next_++, block_.data() + at,
         static_cast<unsigned int>(std::min<unsigned long long>(length, got - at)));
  }
}

// Past the windows of a file: each byte is read once.
int FileCheck::Work::Read(unsigned long long offset, unsigned long long size,
                          unsigned long long* got) {
  if (fileSource_ == nullptr) {
    return SourceReader(&source_).ReadAt(offset, block_.data(), size, got);
  }
  *got = size;
  const int status = fileSource_->ReadStraight(offset, block_.data(), got);
  *got = std::min(*got, size);
  return std::min(status, 0);
}

void FileCheck::Work::Look(unsigned long long number, const unsigned char* bytes,
                           unsigned int present) {
  Packets& packets = *packets_;
  packets.mender.Look(number, bytes, present);
  const Packet& packet = packets.mender.packet();
  packets.check.Add(packet, present < data_.packetLength);
  for (const PayloadGroup& group : packets.mender.kept()) {
    for (std::size_t i = group.first; i < group.first + group.count; ++i) {
      for (KeyFrameIndex& index : packets.indexes) index.Add(number, packet.payloads[i]);
    }
  }
}

int FileCheck::Work::Finish(const std::vector<Finding>& told, std::vector<Finding>* findings) {
  while (IsWithin(next_)) LookAtBlock();
  if (status_ < 0 || !packets_) return status_;
  packets_->mender.Finish();
  const CheckedFile checked{session_,        *header_,         data_,
                            packets_->check, packets_->damage, MisleadingIndexes()};
  for (Finding& finding : FindingsOf(checked)) {
    const bool isTold = std::any_of(told.begin(), told.end(), [&](const Finding& other) {
      return other.code == finding.code && !other.stream && !finding.stream;
    });
    if (!isTold) findings->push_back(finding);
  }
  return 0;
}

// There is one for each video stream, in the order of their numbers.
std::vector<unsigned char> FileCheck::Work::MisleadingIndexes() {
  std::vector<unsigned char> streams;
  const std::size_t count = std::min(packets_->indexes.size(), data_.indexes.size());
  for (std::size_t rank = 0; rank < count; ++rank) {
    const FileExtent& extent = data_.indexes[rank];
    const KeyFrameIndex& index = packets_->indexes[rank];
    std::vector<unsigned char> bytes(
        static_cast<std::size_t>(std::min(extent.size, kMaxIndexBytes)));
    unsigned long long got = 0;
    const int status =
        SourceReader(&source_).ReadAt(extent.offset, bytes.data(), bytes.size(), &got);
    if (status >= 0 && got == extent.size && !index.Agrees(bytes)) {
      streams.push_back(index.stream());
    }
  }
  return streams;
}

FileCheck::FileCheck(const ParserSession& session, IDataSource* file)
    : work_(std::make_unique<Work>(session, file)) {}

FileCheck::~FileCheck() = default;

int FileCheck::Follow() { return work_->Follow(); }

int FileCheck::Finish(const std::vector<Finding>& told, std::vector<Finding>* findings) {
  return work_->Finish(told, findings);
}

}  // namespace qo_host
