// H.264's byte streams and configuration records, every size checked.
#include "qo_host/H264.h"

#include <algorithm>
#include <iterator>

namespace qo_host {
namespace {

constexpr unsigned char kStartCode[] = {0, 0, 0, 1};
constexpr std::size_t kShortCodeBytes = 3;

// Adds `count` NAL units behind 2-byte lengths, from `*at` on. False where the record
// ends in them.
bool AppendUnits(const std::vector<unsigned char>& record, std::size_t count, std::size_t* at,
                 std::vector<unsigned char>* out) {
  for (; count != 0; --count) {
    if (record.size() - *at < 2) return false;
    const std::size_t size = static_cast<std::size_t>(record[*at]) << 8 | record[*at + 1];
    *at += 2;
    if (record.size() - *at < size) return false;
    out->insert(out->end(), std::begin(kStartCode), std::end(kStartCode));
    const auto from = record.begin() + static_cast<std::ptrdiff_t>(*at);
    out->insert(out->end(), from, from + static_cast<std::ptrdiff_t>(size));
    *at += size;
  }
  return true;
}

}  // namespace

NalUnits::NalUnits(const unsigned char* data, std::size_t size) : next_(data), end_(data + size) {
  next_ = FindStartCode(data);
}

const unsigned char* NalUnits::FindStartCode(const unsigned char* from) const {
  return std::search(from, end_, std::end(kStartCode) - kShortCodeBytes, std::end(kStartCode));
}

// Goes on to `end`. False where nothing but zeros is in front of it.
bool NalUnits::Cut(const unsigned char* end, NalUnit* unit) {
  const unsigned char* const begin = next_ + kShortCodeBytes;
  next_ = end;
  while (end != begin && end[-1] == 0) --end;
  if (end == begin) return false;
  *unit = {begin, static_cast<std::size_t>(end - begin)};
  return true;
}

bool NalUnits::Next(NalUnit* unit) {
  while (next_ != end_) {
    if (Cut(FindStartCode(next_ + kShortCodeBytes), unit)) return true;
  }
  return false;
}

bool NalUnits::NextToSlice(NalUnit* unit) {
  while (next_ != end_) {
    const unsigned char* const begin = next_ + kShortCodeBytes;
    const bool isSlice = begin != end_ && NalUnit{begin, 1}.isSlice();
    if (Cut(isSlice ? end_ : FindStartCode(begin), unit)) return true;
  }
  return false;
}

std::vector<unsigned char> H264ParameterSets(const Track& track) {
  const std::vector<unsigned char>& config = track.config;
  constexpr unsigned char kRecordVersion = 1;
  if (track.info.codec != kCodecH264) return {};
  if (config.size() < 4 || config[0] != kRecordVersion) return config;
  // Version, profile, compatibility, level, length size, count, then the sets.
  constexpr std::size_t kCountAt = 5;
  std::vector<unsigned char> sets;
  std::size_t at = kCountAt + 1;
  if (config.size() <= at) return {};
  if (!AppendUnits(config, config[kCountAt] & 0x1F, &at, &sets) || at == config.size()) return sets;
  const std::size_t pictureSets = config[at++];
  AppendUnits(config, pictureSets, &at, &sets);
  return sets;
}

bool StartsWithH264Parameters(const unsigned char* data, std::size_t size) {
  NalUnits units(data, size);
  for (NalUnit unit{}; units.NextToSlice(&unit);) {
    if (unit.type() == NalUnit::kSequenceParameterSet) return true;
  }
  return false;
}

}  // namespace qo_host
