// KnownPoints: video by time, sorted once.
#include "host/session/KnownPoints.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace qo_host {
namespace {

constexpr long long kTimesInAll = 1ll << 32;

}  // namespace

long long SignedMs(const AsfLayout& layout, unsigned long long timeMs) {
  const auto time = static_cast<long long>(timeMs);
  const auto preroll = static_cast<long long>(
      std::min(layout.prerollMs, static_cast<unsigned long long>(kTimesInAll / 2)));
  return time >= kTimesInAll - preroll ? time - kTimesInAll : time;
}

KnownPoints::KnownPoints(const AsfLayout& layout, SeekPoints points, bool fromStart)
    : layout_(layout), points_(std::move(points)), fromStart_(fromStart), byTime_(video().size()) {
  std::iota(byTime_.begin(), byTime_.end(), std::size_t{0});
  std::stable_sort(byTime_.begin(), byTime_.end(), [this](std::size_t a, std::size_t b) {
    return SignedMs(layout_, video()[a].timeMs) < SignedMs(layout_, video()[b].timeMs);
  });
}

std::size_t KnownPoints::VideoUpTo(long long target) const {
  const auto behind = std::partition_point(byTime_.begin(), byTime_.end(), [&](std::size_t point) {
    return SignedMs(layout_, video()[point].timeMs) <= target;
  });
  return static_cast<std::size_t>(behind - byTime_.begin());
}

std::size_t KnownPoints::LastAudioUpTo(long long target) const {
  std::size_t best = audio().size();
  long long bestTime = 0;
  for (std::size_t i = 0; i < audio().size(); ++i) {
    const long long time = SignedMs(layout_, audio()[i].timeMs);
    if (time > target || (best != audio().size() && time < bestTime)) continue;
    best = i;
    bestTime = time;
  }
  return best;
}

}  // namespace qo_host
