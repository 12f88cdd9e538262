// A walk over the packets of a file's data, and what it learns for seeking.
#ifndef QO_HOST_PACKETWALK_H
#define QO_HOST_PACKETWALK_H

#include <functional>
#include <map>
#include <vector>

#include "host/AsfLayout.h"
#include "host/PacketReader.h"

namespace host {

enum class WalkEnd { kDone, kCancelled, kSourceFailed };

struct WalkResult {
  WalkEnd end;
  int status;  // kSourceFailed: the source's; otherwise 0
};

// Visits the packets of the data object in order, as the parser takes them, from
// packet `first` on (see PacketsInData), up to the first of which the source brings
// nothing. Each packet takes one read of `source` (not null); a part of one beyond
// its first 64 KiB, or behind a payload that runs over its end, takes reads of its
// own. Memory: 64 KiB. `visit` sees one record that is overwritten by the next;
// false ends the walk as cancelled.
WalkResult WalkPackets(IDataSource* source, const AsfLayout& layout,
                       const std::function<bool(const Packet&)>& visit,
                       unsigned long long first = 0);

// The packets at the end of a file that LastObjectTimes looks at.
constexpr unsigned long long kTailPackets = 256;

// By stream number, the greatest time in ms of a media object that begins in the
// last packets of the file. A track that a host has read to its end without
// meeting that time was ended early, by a packet that failed or a failing source.
std::map<unsigned char, unsigned int> LastObjectTimes(IDataSource* source, const AsfLayout& layout);

// A place where reading can start: a media object of the track that a seek is
// steered by, and the packet that it begins in.
struct SeekPoint {
  unsigned long long packet;
  unsigned int timeMs;
};

// More are refused: they would take memory out of proportion.
constexpr unsigned int kMaxSeekPoints = 1u << 20;

// The points of a file, in file order: the key frames of the video track, or,
// without one, the first audio object that begins in each packet.
class SeekPoints {
 public:
  // Called now and then with the packets walked and their number; false cancels.
  using Progress = std::function<bool(unsigned long long done, unsigned long long total)>;

  // Learns the points by a walk over all packets. `progress` may be empty. On
  // any end but kDone, or where there are too many, the points stay empty.
  WalkResult Learn(IDataSource* source, const AsfLayout& layout, const Progress& progress);

  const std::vector<SeekPoint>& points() const { return points_; }
  // Whether there were more than kMaxSeekPoints.
  bool overflowed() const { return overflowed_; }

 private:
  std::vector<SeekPoint> points_;
  bool overflowed_ = false;
};

}  // namespace host

#endif  // QO_HOST_PACKETWALK_H
