// UnitPlaces: a walk over packets that stays ahead of the units, which are matched with the
// objects by their times and sizes.
#include "qo_host/UnitPlaces.h"

#include <array>
#include <deque>

#include "qo_host/PacketWalk.h"

namespace qo_host {
namespace {

constexpr unsigned int kPacketsAtOnce = 16;
constexpr std::size_t kMaxObjects = std::size_t{1} << 16;

// Ms. By how much objects of one time lie apart in a file: no writer buffers more.
constexpr unsigned long long kSpreadMs = 20000;

// A media object that begins in a packet.
struct Begun {
  unsigned int timeMs;
  unsigned int size;  // bytes
  UnitPlace place;
};

// A track's objects in file order, from the one that its units come from.
struct Queue {
  std::optional<unsigned char> stream;
  std::deque<Begun> objects;
  unsigned long long used = 0;  // bytes of the first that have been handed out
};

}  // namespace

class UnitPlaces::Work {
 public:
  Work(const ParserSession& session, IDataSource* file) : file_(file) {
    const PresentedFile* const presented = session.presented();
    if (presented == nullptr || !presented->isPresented()) return;
    layout_ = FindPackets(file, presented->header());
    for (const Track& track : session.tracks()) QueueOf(track.kind).stream = track.stream;
  }

  std::optional<UnitPlace> Find(const AccessUnit& unit) {
    Queue& queue = QueueOf(unit.kind);
    if (!queue.stream) return std::nullopt;
    if (!hasBegun_) next_ = FirstNear(unit.timeMs);
    hasBegun_ = true;
    if (!IsWithinFirst(unit, &queue) && !GoTo(unit, &queue)) return std::nullopt;
    queue.used += unit.size;
    return queue.objects.front().place;
  }

 private:
  Queue& QueueOf(TrackKind kind) { return queues_[kind == TrackKind::kVideo ? 0 : 1]; }

  // Whether the unit goes on with the object of the one before. Parts of an audio object have
  // times of their own.
  bool IsWithinFirst(const AccessUnit& unit, Queue* queue) {
    if (queue->objects.empty() || queue->used == 0) return false;
    const Begun first = queue->objects.front();
    if (queue->used >= first.size) return false;
    if (unit.timeMs == first.timeMs) return true;
    if (unit.kind != TrackKind::kAudio || IsBefore(unit.timeMs, first.timeMs)) return false;
    while (queue->objects.size() < 2 && WalkOn()) {
    }
    return queue->objects.size() < 2 || IsBefore(unit.timeMs, queue->objects[1].timeMs);
  }

  // Drops what lies in front of the next object that has the unit's time. False, and nothing is
  // dropped, where there is none.
  bool GoTo(const AccessUnit& unit, Queue* queue) {
    std::size_t index = queue->used != 0 && !queue->objects.empty() ? 1 : 0;
    for (;; ++index) {
      while (index >= queue->objects.size()) {
        if (queue->objects.size() == kMaxObjects || !WalkOn()) return false;
      }
      const unsigned long long timeMs = queue->objects[index].timeMs;
      if (timeMs == unit.timeMs) break;
      if (IsBefore(unit.timeMs + kSpreadMs, timeMs)) return false;
    }
    queue->objects.erase(queue->objects.begin(),
                         queue->objects.begin() + static_cast<std::ptrdiff_t>(index));
    queue->used = 0;
    return true;
  }

  // Looks at some more packets. False: there are none.
  bool WalkOn() {
    const unsigned long long first = next_;
    const auto note = [&](const Packet& packet) {
      for (const Payload& payload : packet.payloads) Note(packet.number, payload);
      next_ = packet.number + 1;
      return next_ - first < kPacketsAtOnce;
    };
    WalkPackets(file_, layout_, note, first, PacketView::kStated);
    return next_ != first;
  }

  void Note(unsigned long long packet, const Payload& payload) {
    if (payload.offset != 0) return;
    for (Queue& queue : queues_) {
      if (queue.stream != payload.stream) continue;
      if (queue.objects.size() == kMaxObjects) {
        queue.objects.pop_front();
        queue.used = 0;
      }
      queue.objects.push_back({payload.timeMs,
                               payload.objectSize,
                               {packet, layout_.PacketPosition(packet) + payload.position}});
    }
  }

  // A packet in front of all objects of that time: times grow with packets, roughly.
  unsigned long long FirstNear(unsigned long long timeMs) const {
    unsigned long long low = 0, high = layout_.PacketsInFile();
    if (timeMs <= kSpreadMs) return 0;
    while (low < high) {
      const unsigned long long middle = low + (high - low) / 2;
      if (IsBefore(TimeFrom(middle).value_or(timeMs), timeMs - kSpreadMs)) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low == 0 ? 0 : low - 1;
  }

  // The time of the first payload in a packet or the few behind it.
  std::optional<unsigned int> TimeFrom(unsigned long long number) const {
    std::optional<unsigned int> timeMs;
    const auto look = [&](const Packet& packet) {
      if (!packet.payloads.empty()) timeMs = packet.payloads.front().timeMs;
      return !timeMs && packet.number - number < kPacketsAtOnce;
    };
    WalkPackets(file_, layout_, look, number, PacketView::kStated);
    return timeMs;
  }

  IDataSource* const file_;
  AsfLayout layout_;
  std::array<Queue, 2> queues_;  // video, audio
  bool hasBegun_ = false;
  unsigned long long next_ = 0;  // packet to look at
};

UnitPlaces::UnitPlaces(const ParserSession& session, IDataSource* file)
    : work_(std::make_unique<Work>(session, file)) {}

UnitPlaces::~UnitPlaces() = default;

std::optional<UnitPlace> UnitPlaces::Find(const AccessUnit& unit) { return work_->Find(unit); }

}  // namespace qo_host
