// A walk over the first packets that keeps one object of each stream.
#include "host/packets/FirstObjects.h"

#include <algorithm>

#include "qo_host/BorrowedSource.h"
#include "qo_host/PacketWalk.h"

namespace qo_host {
namespace {

constexpr unsigned long long kSearchedBytes = 1ull << 20;

class Collector {
 public:
  Collector(IDataSource* source, const AsfLayout& layout, const std::vector<WantedObjects>& wanted)
      : source_(source), layout_(layout), wanted_(wanted) {}

  // False once there is enough.
  bool Visit(const Packet& packet) {
    const unsigned long long start = layout_.PacketPosition(packet.number);
    for (const Payload& payload : packet.payloads) Add(payload, start + payload.position);
    const bool isDone = std::all_of(wanted_.begin(), wanted_.end(), [this](const auto& wanted) {
      return found_[wanted.stream].sizes.size() >= wanted.objects;
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
    bool any = false;  // one has begun
  };

  void Add(const Payload& payload, unsigned long long position) {
    const auto wanted = std::find_if(wanted_.begin(), wanted_.end(), [&](const auto& entry) {
      return entry.stream == payload.stream;
    });
    if (wanted == wanted_.end()) return;
    FirstObjects& objects = found_[payload.stream];
    Making& making = making_[payload.stream];
    if (payload.offset == 0) {
      making = {0, payload.objectSize, !making.any, true};
    } else if (payload.offset != making.held) {
      making = {0, 0, false, making.any};
    }
    if (making.isFirst) {
      const std::size_t room = wanted->bytes - objects.first.size();
      Keep(position, std::min<std::size_t>(room, payload.present), &objects.first);
    }
    making.held += payload.present;
    if (making.held != making.size) return;
    objects.sizes.push_back(making.size);
    objects.isWhole |= making.isFirst;
    making = {0, 0, false, true};
  }

  void Keep(unsigned long long position, std::size_t size, std::vector<unsigned char>* bytes) {
    if (size == 0) return;
    const std::size_t before = bytes->size();
    bytes->resize(before + size);
    unsigned long long got = size;
    if (source_.ReadAt(position, bytes->data() + before, &got) < 0) got = 0;
    bytes->resize(before + std::min(static_cast<std::size_t>(got), size));
  }

  BorrowedSource source_;
  const AsfLayout& layout_;
  const std::vector<WantedObjects>& wanted_;
  std::map<unsigned char, FirstObjects> found_;
  std::map<unsigned char, Making> making_;
};

}  // namespace

std::map<unsigned char, FirstObjects> FindFirstObjects(IDataSource* source, const AsfLayout& layout,
                                                       const std::vector<WantedObjects>& wanted) {
  Collector collector(source, layout, wanted);
  WalkPackets(source, layout, [&](const Packet& packet) { return collector.Visit(packet); });
  return collector.Take();
}

}  // namespace qo_host
