// The media objects lately read that the file flags as key frames.
#ifndef QO_HOST_KEYOBJECTS_H
#define QO_HOST_KEYOBJECTS_H

#include <cstddef>
#include <iterator>
#include <set>

namespace qo_host {

// Of one stream, known by their times. Packets are read in windows ahead of the units
// made of them; where there are too many, those furthest from the last one in time are
// forgotten.
class KeyObjects {
 public:
  void Add(unsigned int timeMs) {
    if (low_ < timeMs && timeMs < high_) high_ = timeMs;
    if (!times_.insert(timeMs).second || times_.size() <= kMaxTimes) return;
    const bool isLate = timeMs - *times_.begin() > *times_.rbegin() - timeMs;
    times_.erase(isLate ? times_.begin() : std::prev(times_.end()));
    high_ = low_;
  }

  // Units come in the order of their times but for a few: most lie between the same two
  // key frames as the one before.
  bool Has(unsigned int timeMs) {
    if (timeMs < low_ || timeMs >= high_) Locate(timeMs);
    return timeMs == low_;
  }

 private:
  // More than the windows of a presented source hold, even of the smallest objects.
  static constexpr std::size_t kMaxTimes = std::size_t{1} << 16;

  void Locate(unsigned int timeMs) {
    const auto above = times_.upper_bound(timeMs);
    high_ = above != times_.end() ? *above : kNone;
    low_ = above != times_.begin() ? *std::prev(above) : -1;
  }

  static constexpr long long kNone = 1ll << 32;

  std::set<unsigned int> times_;
  // The time at or before the one asked for last, and the next; -1 and kNone: none. The
  // same: not known.
  long long low_ = -1;
  long long high_ = -1;
};

}  // namespace qo_host

#endif  // QO_HOST_KEYOBJECTS_H
