// When the streams of a file begin and end, and what each takes of it, told by the packets at both
// ends of it: for what a header leaves open, at a price that doesn't grow with the file.
#ifndef QO_HOST_STREAMSAMPLE_H
#define QO_HOST_STREAMSAMPLE_H

#include <map>
#include <optional>

#include "qo_host/PacketWalk.h"

namespace qo_host {

// Bytes of packets that are looked at, at each end.
constexpr unsigned long long kSampledBytes = 1ull << 20;

// Of one stream; times as in Payload.
struct StreamSample {
  std::optional<unsigned int> firstMs;  // of its earliest object in the first packets
  std::optional<unsigned int> lastMs;   // of its latest object in the last packets
  // The pace of the objects that begin in the first packets: how many but for one, from the time of
  // the earliest to that of the latest.
  unsigned int objects = 0;
  unsigned int spanMs = 0;
  // Of the bytes of all packets looked at, those that are the stream's own; 0 to 1.
  double share = 0;
};

// Samples the streams of a file whose packets lie where `layout` says (see FindPackets), through
// `source` (not null), into `*samples` (not null), by stream number: those that have an object
// there. How the walk ended; never cancelled.
WalkResult SampleStreams(IDataSource* source, const AsfLayout& layout,
                         std::map<unsigned char, StreamSample>* samples);

}  // namespace qo_host

#endif  // QO_HOST_STREAMSAMPLE_H
