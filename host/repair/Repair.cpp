// Repair, in these steps:
//
// 1. The plan of the file is made, as for playing: where its packets lie, how long they
//    are, how long it lasts. What a plan refuses is past mending.
// 2. Every packet is looked at (Survey). One that is right stays as it is, byte for
//    byte; of one that is not, all payloads that are whole are written anew. Key
//    frames are noted. Where error correction data finds no room in a packet, all
//    packets grow by what it needs at most.
// 3. Each video stream gets the simple index that the file has for it, or, where that
//    leads astray, a new one. They come right behind the packets, in the order of the
//    streams' numbers; other objects that stand behind the data follow.
// 4. The header is put together from what it holds, with the sizes, counts and duration
//    that follow from all this.
// 5. What differs from the file are the findings.
// 6. All is written, from the first byte to the last, each packet mended once more on
//    its way (Write).
#include "qo_host/Repair.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "asf/format/Arithmetic.h"
#include "asf/format/PacketFields.h"
#include "asf/format/SourceReader.h"
#include "host/header/FileProperties.h"
#include "host/header/KnownGuid.h"
#include "host/presented/Plan.h"
#include "host/repair/KeyFrameIndex.h"
#include "host/repair/RepairedHeader.h"
#include "qo_host/BorrowedSource.h"

namespace qo_host {
namespace {

constexpr std::size_t kReadBytes = std::size_t{64} << 10;  // at once, unless a packet is longer

// Bytes. A longer index is none that a writer makes.
constexpr unsigned long long kMaxIndexBytes = 16ull << 20;

AsfLayout PacketLayout(const Plan& plan, const FileHeader& header) {
  AsfLayout layout;
  layout.packetLength = layout.minPacketLength = plan.data.packetLength;
  layout.prerollMs = header.properties->prerollMs;
  return layout;
}

// Indexes by byte offsets, which hold only while packets stay where they are.
bool HasOffsets(std::optional<AsfObjectId> id) {
  return IsOneOf(id, {ID_INDEX_OBJECT, ID_MEDIA_OBJECT_INDEX_OBJECT, ID_TIMECODE_INDEX_OBJECT});
}

}  // namespace

class Repair::Work {
 public:
  explicit Work(IDataSource* source) : source_(source) {}

  RepairStatus Survey(const Progress& progress);
  RepairStatus Write(const Sink& sink, const Progress& progress);

  const PresentedFile* file() const { return file_.get(); }
  const std::vector<RepairFinding>& findings() const { return findings_; }
  const Damage& damage() const { return damage_; }

 private:
  // What stands behind the packets: made bytes, or those of the file where there are
  // none.
  struct Piece {
    std::vector<unsigned char> made;
    FileExtent copied;
  };
  using Visit = std::function<bool(const PacketMender& mender, unsigned long long number,
                                   unsigned char* bytes, bool isRight)>;

  const DataExtent& data() const { return file_->plan().data; }
  unsigned long long DataSize() const;
  unsigned int WrittenLength() const { return data().packetLength + growth_; }
  void Note(RepairNote note, unsigned long long value = 0) { findings_.push_back({note, value}); }

  // The media object through which the file is cut.
  struct TornObject {
    unsigned char stream;
    unsigned int number;
    unsigned long long packet;  // that it begins in
    unsigned int size;          // bytes that there are of it
  };
  void NoteTorn(const Packet& packet, const std::vector<PayloadGroup>& kept);
  void FitTorn(const PacketMender& mender, unsigned long long number, unsigned char* bytes) const;

  RepairStatus VisitPackets(const Progress& progress, Damage* damage, const Visit& visit);
  RepairStatus SurveyPackets(const Progress& progress);
  bool NeedsRoom(const PacketMender& mender, const unsigned char* bytes);
  bool Read(const FileExtent& extent, std::vector<unsigned char>* bytes);

  void PlaceIndexes();
  std::vector<unsigned char> FittingIndex(std::size_t rank);
  void PlaceOthers();
  bool IsTorn(unsigned long long offset);
  bool IsTailKept() const;
  unsigned long long TailSize() const;
  void MakeHead();
  void NoteHead();
  void NoteProperties(const asf_file_properties_object& made);
  bool WritePiece(const Sink& sink, const Piece& piece, RepairStatus* status);

  IDataSource* const source_;
  std::unique_ptr<PresentedFile> file_;
  Damage damage_;
  std::vector<KeyFrameIndex> indexes_;  // of the video streams, in the order of their numbers
  // Packets that the last object of each stream begins in, by stream number.
  std::array<unsigned long long, kStreamNumberMask + 1> begins_ = {};
  std::optional<TornObject> torn_;
  unsigned long long anew_ = 0;         // packets that are not right
  unsigned int growth_ = 0;             // of each packet, bytes
  std::vector<unsigned char> written_;  // a packet
  std::vector<unsigned char> head_;     // all in front of packet 0
  std::vector<Piece> tail_;
  std::vector<RepairFinding> findings_;
};

RepairStatus Repair::Work::Survey(const Progress& progress) {
  findings_.clear();
  if (PresentedFile::Make(source_, {}, &file_) < 0) return RepairStatus::kReadFailed;
  const Plan& plan = file_->plan();
  if (!plan.isPresented || !plan.data.fileSize) return RepairStatus::kPastMending;
  const RepairStatus status = SurveyPackets(progress);
  if (status != RepairStatus::kGood) return status;
  tail_.clear();
  PlaceIndexes();
  PlaceOthers();
  if (!IsTailKept()) Note(RepairNote::kTrailing);
  MakeHead();
  NoteHead();
  return findings_.empty() ? RepairStatus::kGood : RepairStatus::kMendable;
}

bool Repair::Work::Read(const FileExtent& extent, std::vector<unsigned char>* bytes) {
  BorrowedSource borrowed(source_);
  unsigned long long got = 0;
  bytes->resize(static_cast<std::size_t>(extent.size));
  return SourceReader(&borrowed).ReadAt(extent.offset, bytes->data(), extent.size, &got) == 0 &&
         got == extent.size;
}

// Calls `visit` with each packet, filled up where the file ends in it.
RepairStatus Repair::Work::VisitPackets(const Progress& progress, Damage* damage,
                                        const Visit& visit) {
  PlayedStreams streams;
  streams.all = true;
  PacketMender mender(PacketLayout(file_->plan(), file_->header()), streams, damage);
  const unsigned int length = data().packetLength;
  const unsigned long long count = data().PacketCount();
  const unsigned long long atOnce = std::max<unsigned long long>(1, kReadBytes / length);
  std::vector<unsigned char> bytes;
  for (unsigned long long number = 0; number < count; ++number) {
    const unsigned long long start = data().packetsStart + number * length;
    if (number % atOnce == 0) {
      if (progress && !progress(number, count)) return RepairStatus::kCancelled;
      const unsigned long long left = data().packetsEnd - start;
      if (!Read({start, std::min(atOnce * length, left)}, &bytes)) return RepairStatus::kReadFailed;
    }
    const unsigned long long present =
        std::min<unsigned long long>(length, data().packetsEnd - start);
    const auto at = static_cast<std::size_t>(number % atOnce * length);
    bytes.resize(std::max<std::size_t>(bytes.size(), at + length));
    const bool isRight = mender.Look(number, bytes.data() + at, static_cast<unsigned int>(present));
    if (!visit(mender, number, bytes.data() + at, isRight)) return RepairStatus::kWriteFailed;
  }
  mender.Finish();
  return RepairStatus::kGood;
}

RepairStatus Repair::Work::SurveyPackets(const Progress& progress) {
  const FileHeader& header = file_->header();
  std::vector<unsigned char> videos;
  for (const StreamHeader& stream : header.streams) {
    if (stream.kind == StreamKind::kVideo) videos.push_back(stream.number);
  }
  std::sort(videos.begin(), videos.end());
  indexes_.clear();
  for (const unsigned char video : videos)
    indexes_.emplace_back(video, header.properties->prerollMs);
  damage_ = {};
  begins_ = {};
  torn_.reset();
  anew_ = 0;
  growth_ = 0;
  const auto survey = [this](const PacketMender& mender, unsigned long long number,
                             unsigned char* bytes, bool isRight) {
    for (const PayloadGroup& group : mender.kept()) {
      for (std::size_t i = group.first; i < group.first + group.count; ++i) {
        const Payload& payload = mender.packet().payloads[i];
        for (KeyFrameIndex& index : indexes_) index.Add(number, payload);
        if (payload.offset == 0) begins_[payload.stream] = number;
      }
    }
    NoteTorn(mender.packet(), mender.kept());
    if (isRight) return true;
    ++anew_;
    if (growth_ == 0 && NeedsRoom(mender, bytes)) growth_ = kErrorCorrectionBytes;
    return true;
  };
  const RepairStatus status = VisitPackets(progress, &damage_, survey);
  if (anew_ != 0) Note(RepairNote::kPackets, anew_);
  if (growth_ != 0) Note(RepairNote::kPacketsGrow, growth_);
  return status;
}

// Of a payload that the file ends in, what is there is kept.
void Repair::Work::NoteTorn(const Packet& packet, const std::vector<PayloadGroup>& kept) {
  if (kept.empty()) return;
  const Payload& last = packet.payloads[kept.back().first];
  if (kept.back().count != 1 || last.present == last.size) return;
  torn_ = {last.stream, last.objectNumber, begins_[last.stream], last.offset + last.present};
}

// Makes the torn object one that ends where the file does: a reader that waits for the
// rest would never hand it out.
void Repair::Work::FitTorn(const PacketMender& mender, unsigned long long number,
                           unsigned char* bytes) const {
  if (!torn_ || number < torn_->packet) return;
  const Packet& packet = mender.packet();
  for (const PayloadGroup& group : mender.kept()) {
    const Payload& payload = packet.payloads[group.first];
    const bool isOfTorn = payload.stream == torn_->stream && payload.objectNumber == torn_->number;
    if (isOfTorn) SetObjectSize(packet, payload, torn_->size, bytes);
  }
}

bool Repair::Work::NeedsRoom(const PacketMender& mender, const unsigned char* bytes) {
  written_.resize(data().packetLength);
  const WrittenPacket written =
      WritePacket(mender.packet(), bytes, mender.kept(), data().packetLength, written_.data());
  return written.isShort || written.kept < mender.kept().size();
}

void Repair::Work::PlaceIndexes() {
  const std::vector<FileExtent>& had = data().indexes;
  // A stream without key frames needs one only as a place in the order.
  std::size_t needed = indexes_.size();
  while (needed != 0 && indexes_[needed - 1].IsEmpty()) --needed;
  for (std::size_t rank = 0; rank < std::max(needed, had.size()); ++rank) {
    if (rank >= indexes_.size() ||
        (rank < had.size() && indexes_[rank].Agrees(FittingIndex(rank)))) {
      tail_.push_back({{}, had[rank]});
      continue;
    }
    Note(rank < had.size() ? RepairNote::kIndexWrong : RepairNote::kIndexMissing,
         indexes_[rank].stream());
    tail_.push_back({indexes_[rank].Make(FormatGuid(file_->header().properties->fileId)), {}});
  }
}

// The file's index at that place; empty where it is too long or can't be read.
std::vector<unsigned char> Repair::Work::FittingIndex(std::size_t rank) {
  std::vector<unsigned char> bytes;
  const FileExtent& extent = data().indexes[rank];
  if (extent.size > kMaxIndexBytes || !Read(extent, &bytes)) bytes.clear();
  return bytes;
}

// Objects between header and data, those behind it that are no simple index, and loose bytes behind
// them. A torn object is of no use to anyone.
void Repair::Work::PlaceOthers() {
  const unsigned long long headerEnd = file_->header().bytes.size();
  const unsigned long long dataStart = data().packetsStart - sizeof(asf_data_object);
  if (data().statedSize != 0 && dataStart > headerEnd) {
    tail_.push_back({{}, {headerEnd, dataStart - headerEnd}});
  }
  const unsigned long long end = *data().fileSize;
  unsigned long long offset = data().packetsEnd;
  asf_object_header object;
  while (offset < end) {
    std::vector<unsigned char> bytes;
    if (end - offset < sizeof(object) || !Read({offset, sizeof(object)}, &bytes)) break;
    std::memcpy(&object, bytes.data(), sizeof(object));
    if (object.objectSize < sizeof(object) || object.objectSize > end - offset) break;
    const auto id = LookupGuid(object.objectId);
    const bool isStale = growth_ != 0 && HasOffsets(id);
    if (id != ID_SIMPLE_INDEX_OBJECT && !isStale)
      tail_.push_back({{}, {offset, object.objectSize}});
    offset += object.objectSize;
  }
  if (offset < end && !IsTorn(offset)) tail_.push_back({{}, {offset, end - offset}});
}

bool Repair::Work::IsTorn(unsigned long long offset) {
  guid id;
  BorrowedSource borrowed(source_);
  unsigned long long got = 0;
  return SourceReader(&borrowed).ReadAt(offset, &id, sizeof(id), &got) == 0 && LookupGuid(id);
}

// Whether all behind the packets is what stands there already.
bool Repair::Work::IsTailKept() const {
  unsigned long long offset = data().packetsEnd;
  for (const Piece& piece : tail_) {
    if (!piece.made.empty()) return true;  // found already
    if (piece.copied.offset != offset) return false;
    offset += piece.copied.size;
  }
  return offset == *data().fileSize;
}

unsigned long long Repair::Work::TailSize() const {
  unsigned long long size = 0;
  for (const Piece& piece : tail_)
    size += piece.made.empty() ? piece.copied.size : piece.made.size();
  return size;
}

unsigned long long Repair::Work::DataSize() const {
  return sizeof(asf_data_object) + data().PacketCount() * WrittenLength();
}

// The header, and the head of the data object: the file's own, where it has one, with
// size and count.
void Repair::Work::MakeHead() {
  HeaderFacts facts;
  facts.packetLength = WrittenLength();
  facts.packetCount = data().PacketCount();
  facts.playDuration = file_->plan().playDuration;
  facts.tailSize = DataSize() + TailSize();
  head_ = RepairHeader(file_->header(), facts);

  asf_data_object head = {{}, FormatGuid(file_->header().properties->fileId), 0, 0x101};
  std::vector<unsigned char> bytes;
  const bool hasHead = data().statedSize != 0;
  if (hasHead && Read({data().packetsStart - sizeof(head), sizeof(head)}, &bytes)) {
    std::memcpy(&head, bytes.data(), sizeof(head));
  }
  head.header = {GuidOf(ID_DATA_OBJECT), DataSize()};
  head.dataPackets = facts.packetCount;
  const auto* const fields = reinterpret_cast<const unsigned char*>(&head);
  head_.insert(head_.end(), fields, fields + sizeof(head));
}

void Repair::Work::NoteHead() {
  std::vector<unsigned char> had;
  if (data().packetsStart == head_.size() && Read({0, head_.size()}, &had) && had == head_) return;
  const std::size_t before = findings_.size();
  asf_file_properties_object made = {};
  for (std::size_t at = sizeof(asf_header_object); at + sizeof(made) <= head_.size();) {
    asf_object_header object;
    std::memcpy(&object, head_.data() + at, sizeof(object));
    if (LookupGuid(object.objectId) == ID_FILE_PROPERTIES_OBJECT) {
      std::memcpy(&made, head_.data() + at, sizeof(made));
      break;
    }
    at += object.objectSize;
  }
  NoteProperties(made);
  const std::size_t size = head_.size() - sizeof(asf_data_object);
  if (had.size() != head_.size() ||
      std::memcmp(had.data() + size, head_.data() + size, sizeof(asf_data_object)) != 0) {
    Note(RepairNote::kDataObject);
  }
  const bool isHeaderRead = IsReadAsMeant(file_->header());
  if (!isHeaderRead || findings_.size() == before) Note(RepairNote::kHeaderObjects);
}

void Repair::Work::NoteProperties(const asf_file_properties_object& made) {
  const FileProperties& had = *file_->header().properties;
  const bool isLength =
      had.minPacketLength == made.minPacketSize && had.maxPacketLength == made.maxPacketSize;
  if (had.fileSize != made.fileSize) Note(RepairNote::kFileSize, had.fileSize);
  if (had.dataPackets != made.dataPackets) Note(RepairNote::kPacketCount, had.dataPackets);
  if (!isLength) Note(RepairNote::kPacketLength, had.minPacketLength);
  if (had.playDuration != made.playDuration)
    Note(RepairNote::kDuration, had.playDuration / kTicksPerMs);
  if ((had.flags & kBroadcast) != 0) Note(RepairNote::kBroadcast);
  if (had.maxBitrate != made.maxBitrate) Note(RepairNote::kBitrate);
}

RepairStatus Repair::Work::Write(const Sink& sink, const Progress& progress) {
  if (!sink(head_.data(), head_.size())) return RepairStatus::kWriteFailed;
  written_.resize(WrittenLength());
  const auto write = [&](const PacketMender& mender, unsigned long long number,
                         unsigned char* bytes, bool isRight) {
    FitTorn(mender, number, bytes);
    if (isRight && growth_ == 0) return sink(bytes, WrittenLength());
    WritePacket(mender.packet(), bytes, mender.kept(), WrittenLength(), written_.data());
    return sink(written_.data(), written_.size());
  };
  Damage known;
  RepairStatus status = VisitPackets(progress, &known, write);
  for (const Piece& piece : tail_) {
    if (status != RepairStatus::kGood || !WritePiece(sink, piece, &status)) break;
  }
  return status;
}

bool Repair::Work::WritePiece(const Sink& sink, const Piece& piece, RepairStatus* status) {
  if (!piece.made.empty()) {
    if (!sink(piece.made.data(), piece.made.size())) *status = RepairStatus::kWriteFailed;
    return *status == RepairStatus::kGood;
  }
  FileExtent left = piece.copied;
  std::vector<unsigned char> bytes;
  while (left.size != 0 && *status == RepairStatus::kGood) {
    const unsigned long long size = std::min<unsigned long long>(left.size, kReadBytes);
    if (!Read({left.offset, size}, &bytes))
      *status = RepairStatus::kReadFailed;
    else if (!sink(bytes.data(), bytes.size()))
      *status = RepairStatus::kWriteFailed;
    left = {left.offset + size, left.size - size};
  }
  return *status == RepairStatus::kGood;
}

Repair::Repair(IDataSource* source) : work_(std::make_unique<Work>(source)) {}

Repair::~Repair() = default;

RepairStatus Repair::Survey(const Progress& progress) { return work_->Survey(progress); }

RepairStatus Repair::Write(const Sink& sink, const Progress& progress) {
  return work_->Write(sink, progress);
}

const PresentedFile* Repair::file() const { return work_->file(); }

const std::vector<RepairFinding>& Repair::findings() const { return work_->findings(); }

const Damage& Repair::damage() const { return work_->damage(); }

}  // namespace qo_host
