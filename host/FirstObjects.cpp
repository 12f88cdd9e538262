// A walk over the first packets that keeps one object of each stream.
#include "host/FirstObjects.h"

#include <algorithm>

#include "asf/format/Limits.h"
#include "host/BorrowedSource.h"
#include "host/PacketWalk.h"

namespace host {
namespace {

constexpr unsigned long long kSearchedBytes = 1ull << 20;
constexpr std::size_t kObjects = 3;  // of each stream

class Collector {
 public:
  Collector(IDataSource* source, const AsfLayout& layout, const std::vector<unsigned char>& wanted)
      : source_(source), layout_(layout) {
    for (unsigned char stream : wanted) found_[stream];
  }

  // False once there is enough.
  bool Visit(const Packet& packet) {
    const unsigned long long start = layout_.PacketPosition(packet.number);
    for (const Payload& payload : packet.payloads) Add(payload, start + payload.position);
    const bool isDone = std::all_of(found_.begin(), found_.end(), [](const auto& entry) {
      return entry.second.sizes.size() >= kObjects;
    });
    return !isDone && start - layout_.packetsStart < kSearchedBytes;
  }

  std::map<unsigned char, FirstObjects> Take() { return std::move(found_); }

 private:
  // A stream's object in the making.
  struct Making {
    unsigned int held = 0;  // bytes
    unsigned int size = 0;
    bool isFirst = false;
  };

  void Add(const Payload& payload, unsigned long long position) {
    const auto entry = found_.find(payload.stream);
    if (entry == found_.end()) return;
    FirstObjects& objects = entry->second;
    Making& making = making_[payload.stream];
    if (payload.offset == 0) {
      making = {0, payload.objectSize, objects.first.empty()};
    } else if (payload.offset != making.held) {
      making = {};
    }
    if (making.isFirst) Keep(position, payload.present, &objects.first);
    making.held += payload.present;
    if (making.held != making.size) return;
    objects.sizes.push_back(making.size);
    objects.isWhole |= making.isFirst;
    making = {};
  }

  void Keep(unsigned long long position, unsigned int size, std::vector<unsigned char>* bytes) {
    if (size > kMaxAllocBytes - bytes->size()) return;
    const std::size_t before = bytes->size();
    bytes->resize(before + size);
    unsigned long long got = size;
    if (source_.ReadAt(position, bytes->data() + before, &got) < 0) got = 0;
    bytes->resize(before + std::min<std::size_t>(static_cast<std::size_t>(got), size));
  }

  BorrowedSource source_;
  const AsfLayout& layout_;
  std::map<unsigned char, FirstObjects> found_;
  std::map<unsigned char, Making> making_;
};

}  // namespace

std::map<unsigned char, FirstObjects> FindFirstObjects(IDataSource* source, const AsfLayout& layout,
                                                       const std::vector<unsigned char>& wanted) {
  Collector collector(source, layout, wanted);
  WalkPackets(source, layout, [&](const Packet& packet) { return collector.Visit(packet); });
  return collector.Take();
}

}  // namespace host
