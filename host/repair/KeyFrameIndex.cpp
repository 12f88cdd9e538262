// KeyFrameIndex: key frames in file order. An index that other programs made may
// round its times either way, so one interval's difference is granted.
#include "host/repair/KeyFrameIndex.h"

#include <algorithm>
#include <cstring>

#include "asf/format/Records.h"
#include "host/header/FileProperties.h"

namespace qo_host {
namespace {

constexpr unsigned long long kIntervalMs = 1000;

// A day and a half: a damaged time makes no index longer.
constexpr unsigned long long kMaxEntries = 1ull << 17;

}  // namespace

void KeyFrameIndex::Add(unsigned long long number, const Payload& payload) {
  if (payload.stream != stream_) return;
  if (payload.offset != 0) {
    if (goesOn_) {
      keyFrames_.back().packets =
          static_cast<unsigned short>(std::min(number - keyFrames_.back().packet + 1, 0xFFFFull));
    }
    return;
  }
  goesOn_ = payload.keyFrame && keyFrames_.size() < kMaxKeyFrames;
  if (!goesOn_) return;
  const unsigned long long last = keyFrames_.empty() ? 0 : keyFrames_.back().timeMs;
  keyFrames_.push_back({number, std::max(last, payload.timeMs + prerollMs_), 1});
}

const KeyFrameIndex::KeyFrame& KeyFrameIndex::At(unsigned long long timeMs) const {
  const auto behind = std::upper_bound(
      keyFrames_.begin(), keyFrames_.end(), timeMs,
      [](unsigned long long time, const KeyFrame& keyFrame) { return time < keyFrame.timeMs; });
  return behind == keyFrames_.begin() ? *behind : behind[-1];
}

bool KeyFrameIndex::Agrees(const std::vector<unsigned char>& bytes) const {
  asf_simple_index_image index;
  if (bytes.size() < sizeof(index)) return false;
  std::memcpy(&index, bytes.data(), sizeof(index));
  if (keyFrames_.empty() || keyFrames_.size() == kMaxKeyFrames) return true;
  const unsigned long long interval = index.entryInterval / kTicksPerMs;
  const bool isWhole =
      bytes.size() == sizeof(index) + sizeof(asf_simple_index_entry) * 1ull * index.entryCount &&
      index.header.objectSize == bytes.size();
  if (!isWhole || interval == 0 || index.entryCount == 0) return false;
  const bool reachesEnd = (index.entryCount + 1ull) * interval >= keyFrames_.back().timeMs;
  if (!reachesEnd && index.entryCount < kMaxEntries) return false;
  for (unsigned long long i = 0; i < index.entryCount; ++i) {
    asf_simple_index_entry entry;
    std::memcpy(&entry, bytes.data() + sizeof(index) + i * sizeof(entry), sizeof(entry));
    const unsigned long long time = i * interval;
    const KeyFrame* const first = &At(time - std::min(time, interval));
    const KeyFrame* const last = &At(time + interval);
    const KeyFrame* const found = std::lower_bound(
        first, last + 1, entry.packetNumber,
        [](const KeyFrame& keyFrame, unsigned int packet) { return keyFrame.packet < packet; });
    const bool leadsToOne = found <= last && found->packet == entry.packetNumber;
    if (!leadsToOne) return false;
  }
  return true;
}

std::vector<unsigned char> KeyFrameIndex::Make(const guid& fileId) const {
  const unsigned long long end = keyFrames_.empty() ? 0 : keyFrames_.back().timeMs;
  const unsigned long long count =
      keyFrames_.empty() ? 0 : std::min(kMaxEntries, end / kIntervalMs + 2);
  asf_simple_index_image index = {};
  index.entryCount = static_cast<unsigned int>(count);
  index.header = {GuidOf(ID_SIMPLE_INDEX_OBJECT),
                  sizeof(index) + sizeof(asf_simple_index_entry) * count};
  index.fileId = fileId;
  index.entryInterval = kIntervalMs * kTicksPerMs;
  std::vector<unsigned char> bytes(static_cast<std::size_t>(index.header.objectSize));
  for (unsigned long long i = 0; i < count; ++i) {
    const KeyFrame& keyFrame = At(i * kIntervalMs);
    const asf_simple_index_entry entry = {static_cast<unsigned int>(keyFrame.packet),
                                          keyFrame.packets};
    index.maxPacketCount = std::max<unsigned int>(index.maxPacketCount, entry.packetCount);
    std::memcpy(bytes.data() + sizeof(index) + i * sizeof(entry), &entry, sizeof(entry));
  }
  std::memcpy(bytes.data(), &index, sizeof(index));
  return bytes;
}

}  // namespace qo_host
