// The media objects lately read that the file flags as key frames.
#ifndef QO_HOST_KEYOBJECTS_H
#define QO_HOST_KEYOBJECTS_H

#include <cstddef>
#include <unordered_set>
#include <utility>

namespace qo_host {

// Of one stream, known by their times. Packets are read in windows ahead of the units
// made of them; of what is older than that the oldest is forgotten.
class KeyObjects {
 public:
  void Add(unsigned int timeMs) {
    if (young_.size() == kGeneration) {
      old_ = std::move(young_);
      young_.clear();
    }
    young_.insert(timeMs);
  }
  bool Has(unsigned int timeMs) const {
    return young_.count(timeMs) != 0 || old_.count(timeMs) != 0;
  }

 private:
  // More than the windows of a presented source hold, even of the smallest objects.
  static constexpr std::size_t kGeneration = std::size_t{1} << 15;

  std::unordered_set<unsigned int> young_;
  std::unordered_set<unsigned int> old_;
};

}  // namespace qo_host

#endif  // QO_HOST_KEYOBJECTS_H
