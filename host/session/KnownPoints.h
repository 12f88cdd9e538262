// Points that have been learned, as finders of units want them.
#ifndef QO_HOST_KNOWNPOINTS_H
#define QO_HOST_KNOWNPOINTS_H

#include <vector>

#include "qo_host/AsfLayout.h"
#include "qo_host/SeekPoints.h"

namespace qo_host {

// The time as a number that may lie before 0: one that lies within the preroll of a
// compressed payload has wrapped in 32 bits.
long long SignedMs(const AsfLayout& layout, unsigned long long timeMs);

// Points of a whole file, or of packets in a row.
class KnownPoints {
 public:
  // `fromStart`: no packet lies in front of those that the points are of.
  KnownPoints(const AsfLayout& layout, SeekPoints points, bool fromStart);

  const AsfLayout& layout() const { return layout_; }
  const std::vector<SeekPoint>& video() const { return points_.video(); }
  const std::vector<SeekPoint>& audio() const { return points_.audio(); }
  // Indices of video(), the earliest first, equals in file order.
  const std::vector<std::size_t>& byTime() const { return byTime_; }
  bool fromStart() const { return fromStart_; }

  // Index of the last audio point among those with the greatest time up to `target`; that
  // many when there is none.
  std::size_t LastAudioUpTo(long long target) const;
  // How many places of byTime() are of points up to `target`.
  std::size_t VideoUpTo(long long target) const;

 private:
  AsfLayout layout_;
  SeekPoints points_;
  bool fromStart_;
  std::vector<std::size_t> byTime_;
};

}  // namespace qo_host

#endif  // QO_HOST_KNOWNPOINTS_H
