// What the packets of a file say of themselves and of each other: times, sizes, and
// which streams there are. Fed packet by packet, in order; memory does not grow.
#ifndef QO_HOST_PACKETCHECK_H
#define QO_HOST_PACKETCHECK_H

#include <array>

#include "qo_host/PacketReader.h"
#include "qo_host/StreamKind.h"

namespace qo_host {

// Something that there may be several of; all but `count` are of the first.
struct Occurrence {
  unsigned long long count = 0;
  unsigned long long packet = 0;
  long long beforeMs = 0;  // what came in front of it
  long long timeMs = 0;
};

// The times of a stream's media objects.
class ObjectTimes {
 public:
  enum class Step { kUsual, kBackwards, kJump };

  void SetKind(StreamKind kind) { kind_ = kind; }
  bool IsPlayed() const { return kind_ == StreamKind::kAudio || kind_ == StreamKind::kVideo; }

  // The next object. `playedMs` is the greatest time so far of any stream that is
  // played; of an object that comes too early, `*beforeMs` becomes the time that it
  // should have come after, and of one that comes too late, that of the one in front.
  Step Add(long long timeMs, long long playedMs, long long* beforeMs);

  bool any() const { return any_; }
  long long topMs() const { return topMs_; }    // the greatest, since they last ran backwards
  long long stepMs() const { return stepMs_; }  // the last one forward that is no jump

 private:
  // An encoder may hold back as many pictures, so that those behind them come first.
  static constexpr std::size_t kReordered = 16;

  bool IsBackwards(long long timeMs);
  void Restart(long long timeMs);

  StreamKind kind_ = StreamKind::kOther;
  bool any_ = false;
  bool isSettled_ = false;
  long long settledMs_ = 0;  // no later object may be earlier
  std::array<long long, kReordered> recent_{};
  std::size_t recentCount_ = 0;
  std::size_t oldest_ = 0;
  long long topMs_ = 0;
  long long stepMs_ = 0;
  long long longestMs_ = 0;  // of the usual steps
};

struct StreamFacts {
  ObjectTimes times;
  bool hasPayload = false;
  bool isAstray = false;  // the object in hand: its time makes no sense
  Occurrence overrun, backwards, jump;
};

class PacketCheck {
 public:
  static constexpr std::size_t kStreams = 0x80;

  PacketCheck(unsigned long long prerollMs) : prerollMs_(prerollMs) {}

  void SetKind(unsigned char stream, StreamKind kind) { streams_[stream].times.SetKind(kind); }

  // The next packet, read as PacketView::kStated, whatever number it says. `isCut`: the
  // file ends in it.
  void Add(const Packet& packet, bool isCut);

  unsigned long long packetCount() const { return number_; }
  const StreamFacts& stream(unsigned char number) const { return streams_[number]; }
  unsigned long long misread() const { return misread_; }  // without error correction data
  const Occurrence& failed() const { return failed_; }     // that cannot be walked
  PacketFault fault() const { return fault_; }             // of the first of them
  const Occurrence& sendBackwards() const { return sendBackwards_; }
  const Occurrence& sendJump() const { return sendJump_; }

  // How much later than its time an object may be there: at most 0 where all come in
  // time; and where and of which stream that is.
  long long lateMs() const { return lateMs_; }
  unsigned long long latePacket() const { return latePacket_; }
  unsigned char lateStream() const { return lateStream_; }

 private:
  long long TimeOf(const Payload& payload) const;
  bool AddSending(long long timeMs, long long gainedMs);
  void AddPayload(const Payload& payload);
  void AddObject(const Payload& payload, StreamFacts* facts);
  void AddLateness(const Packet& packet);

  const unsigned long long prerollMs_;
  std::array<StreamFacts, kStreams> streams_;
  unsigned long long number_ = 0;  // of the packet in hand, or the next
  long long playedMs_ = 0;
  unsigned long long misread_ = 0;
  Occurrence failed_;
  PacketFault fault_ = PacketFault::kNone;
  bool isSent_ = false;  // a packet was
  long long sentMs_ = 0;
  long long longestSendingMs_ = 0;
  Occurrence sendBackwards_, sendJump_;
  long long lateMs_ = 0;
  unsigned long long latePacket_ = 0;
  unsigned char lateStream_ = 0;
};

}  // namespace qo_host

#endif  // QO_HOST_PACKETCHECK_H
