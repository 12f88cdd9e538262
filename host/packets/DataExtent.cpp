// The search for a file's data: by sizes where they hold, by GUIDs where they don't.
#include "host/packets/DataExtent.h"

#include <algorithm>
#include <cstring>

#include "asf/format/Arithmetic.h"
#include "asf/format/PacketFields.h"
#include "asf/format/Records.h"
#include "asf/format/SourceReader.h"
#include "qo_host/PacketReader.h"

namespace qo_host {
namespace {

// Bytes. An index of two days at an entry a second fits.
constexpr unsigned long long kTailBytes = 1ull << 20;

// Objects that are looked at behind the header, and behind the data: a file has a few.
constexpr int kMaxObjects = 256;

constexpr std::size_t kMaxIndexes = 0x80;  // one for each stream number

bool IsIndex(std::optional<AsfObjectId> id) {
  return IsOneOf(id, {ID_SIMPLE_INDEX_OBJECT, ID_INDEX_OBJECT, ID_MEDIA_OBJECT_INDEX_OBJECT,
                      ID_TIMECODE_INDEX_OBJECT});
}

class DataFinder {
 public:
  DataFinder(IDataSource* source, const FileHeader& header) : reader_(source), header_(header) {
    unsigned long long size = 0;
    if (source->GetSize(&size) == 0) extent_.fileSize = size;
    fileEnd_ = extent_.fileSize.value_or(kNowhere);
  }

  DataExtent Find() {
    FindDataObject();
    FindPacketLength();
    FindEnd();
    FindIndexes();
    return extent_;
  }

 private:
  struct Object {
    std::optional<AsfObjectId> id;
    unsigned long long size;
  };

  // False where no whole object header lies there.
  bool ReadObject(unsigned long long offset, Object* object) {
    asf_object_header header;
    unsigned long long got = 0;
    const bool isRead = reader_.ReadAt(offset, &header, sizeof(header), &got) == 0;
    if (!isRead || got < sizeof(header)) return false;
    *object = {LookupGuid(header.objectId), header.objectSize};
    return true;
  }
  bool Fits(const Object& object, unsigned long long offset) const {
    return object.size >= sizeof(asf_object_header) && offset <= fileEnd_ &&
           object.size <= fileEnd_ - offset;
  }

  // The header may end too early: the data object is where walking on leads to it.
  void FindDataObject() {
    const bool isWhole = header_.bytes.size() < kMaxFileHeaderBytes;
    const unsigned long long first = isWhole ? header_.bytes.size() : header_.statedSize;
    unsigned long long offset = first;
    Object object;
    for (int i = 0; i < kMaxObjects && ReadObject(offset, &object); ++i) {
      if (object.id == ID_DATA_OBJECT) {
        dataStart_ = offset;
        extent_.statedSize = object.size;
        extent_.isAsStated = offset == header_.statedSize;
        break;
      }
      if (!Fits(object, offset)) break;
      offset += object.size;
    }
    if (extent_.statedSize == 0) dataStart_ = first;
    extent_.packetsStart = SaturatingAdd(dataStart_, sizeof(asf_data_object));
  }

  // Where the header leaves it open, that which packet 0 states.
  void FindPacketLength() {
    if (!header_.properties) return;
    const unsigned int min = header_.properties->minPacketLength;
    const unsigned int max = header_.properties->maxPacketLength;
    extent_.packetLength = min;
    if (min == max && min != 0) return;
    unsigned char bytes[kPacketHeaderBytes];
    unsigned long long got = 0;
    if (reader_.ReadAt(extent_.packetsStart, bytes, sizeof(bytes), &got) < 0 || got == 0) return;
    AsfLayout layout;
    layout.minPacketLength = min;
    Packet packet = {};
    PacketReader(layout, PacketView::kStated).Read(bytes, got, &packet);
    const unsigned int bound = max == 0 ? packet.statedLength : max;
    extent_.packetLength = BoundedPacketLength(packet.statedLength, min, bound);
  }

  void FindEnd() {
    const unsigned long long end = SaturatingAdd(dataStart_, extent_.statedSize);
    if (extent_.statedSize > sizeof(asf_data_object) && end <= fileEnd_ && IsEnd(end)) {
      extent_.packetsEnd = end;
      return;
    }
    extent_.isAsStated = false;
    extent_.packetsEnd = fileEnd_;
    if (fileEnd_ != kNowhere && extent_.packetLength != 0) CutIndexOff();
  }

  // Whether the data may be taken to end there: with the file, where an object stands,
  // or after as many packets as the header counts.
  bool IsEnd(unsigned long long end) {
    Object object;
    if (end == fileEnd_ || fileEnd_ == kNowhere) return true;
    if (ReadObject(end, &object) && Fits(object, end) && object.id) return true;
    const unsigned long long count = header_.properties ? header_.properties->dataPackets : 0;
    return SaturatingMultiply(count, extent_.packetLength) == end - extent_.packetsStart;
  }

  // An index stands where a packet would begin.
  void CutIndexOff() {
    const unsigned long long length = extent_.packetLength;
    const unsigned long long start = std::min(extent_.packetsStart, fileEnd_);
    LoadTail(start);
    unsigned long long offset = start + (tailStart_ - start + length - 1) / length * length;
    for (; offset < fileEnd_ && offset - tailStart_ < tail_.size(); offset += length) {
      if (!IsIndex(GuidAt(offset - tailStart_))) continue;
      Object object;
      if (!ReadObject(offset, &object) || !Fits(object, offset)) continue;
      extent_.packetsEnd = offset;
      return;
    }
  }

  void FindIndexes() {
    if (fileEnd_ == kNowhere) return;
    unsigned long long offset = extent_.packetsEnd;
    Object object;
    for (int i = 0; i < kMaxObjects && offset < fileEnd_; ++i) {
      if (!ReadObject(offset, &object) || !Fits(object, offset)) break;
      if (object.id == ID_SIMPLE_INDEX_OBJECT) AddIndex(offset);
      offset += object.size;
    }
    if (extent_.indexes.empty() && offset < fileEnd_) SearchIndexes(offset);
  }

  // For those that no walk from object to object leads to.
  void SearchIndexes(unsigned long long from) {
    LoadTail(from);
    const guid& id = GuidOf(ID_SIMPLE_INDEX_OBJECT);
    auto at = tail_.cbegin();
    while ((at = std::search(at, tail_.cend(), std::begin(id.bytes), std::end(id.bytes))) !=
           tail_.cend()) {
      AddIndex(tailStart_ + static_cast<unsigned long long>(at - tail_.cbegin()));
      ++at;
    }
  }

  void AddIndex(unsigned long long offset) {
    asf_simple_index_image index;
    unsigned long long got = 0;
    if (reader_.ReadAt(offset, &index, sizeof(index), &got) < 0 || got < sizeof(index)) return;
    const unsigned long long size =
        sizeof(index) + sizeof(asf_simple_index_entry) * 1ull * index.entryCount;
    if (size > fileEnd_ - offset || extent_.indexes.size() == kMaxIndexes) return;
    extent_.indexes.push_back({offset, size});
  }

  // The file's last bytes, none in front of `from`.
  void LoadTail(unsigned long long from) {
    tailStart_ = std::max(from, fileEnd_ - std::min(fileEnd_, kTailBytes));
    tail_.resize(static_cast<std::size_t>(fileEnd_ - std::min(fileEnd_, tailStart_)));
    unsigned long long got = 0;
    if (reader_.ReadAt(tailStart_, tail_.data(), tail_.size(), &got) < 0) got = 0;
    tail_.resize(static_cast<std::size_t>(got));
  }
  std::optional<AsfObjectId> GuidAt(unsigned long long at) const {
    guid id;
    if (at > tail_.size() || tail_.size() - at < sizeof(id)) return std::nullopt;
    std::memcpy(&id, tail_.data() + at, sizeof(id));
    return LookupGuid(id);
  }

  // A packet's error correction data and fields, as long as they can be.
  static constexpr std::size_t kPacketHeaderBytes = 1 + 15 + 2 + 3 * 4 + kTimesBytes;

  SourceReader reader_;
  const FileHeader& header_;
  unsigned long long fileEnd_;  // kNowhere: not known
  unsigned long long dataStart_ = 0;
  std::vector<unsigned char> tail_;
  unsigned long long tailStart_ = 0;
  DataExtent extent_;
};

}  // namespace

unsigned long long DataExtent::PacketCount() const {
  if (packetLength == 0 || packetsEnd <= packetsStart) return 0;
  return std::min(kMaxPackets, (packetsEnd - packetsStart - 1) / packetLength + 1);
}

DataExtent FindData(IDataSource* source, const FileHeader& header) {
  return DataFinder(source, header).Find();
}

}  // namespace qo_host
