// The quick look at packets: nearly all of nearly all files are right beyond doubt, and
// a few fields of each tell so.
#ifndef QO_HOST_PLAINPACKETS_H
#define QO_HOST_PLAINPACKETS_H

#include <array>
#include <cstddef>

#include "host/presented/KeyObjects.h"

namespace qo_host {

// Error correction flags of a plain packet: two bytes of data, nothing else.
constexpr unsigned char kPlainErrorCorrection = 0x82;

// The media object of a stream that is being put together.
struct ObjectChain {
  // What came before is not known, and anything may follow.
  static constexpr unsigned int kUnknown = ~0u;

  unsigned int objectNumber = kUnknown;
  unsigned int next = 0;        // offset of the fragment that continues it
  unsigned int objectSize = 0;  // bytes
  unsigned int timeMs = 0;
};

// Those of the two streams played: audio, video.
using ObjectChains = std::array<ObjectChain, 2>;

// What is the same for all packets of a file.
struct PlainRules {
  unsigned int packetLength;  // bytes
  unsigned long long prerollMs;
  std::array<unsigned char, 2> streams;  // numbers, in the order of the chains; above 0x7F: none
  KeyObjects* keys;  // where video objects flagged as key frames are noted; may be null
};

// Of `count` packets at `bytes`, all of them there, how many come before the first of
// which more has to be known. Moves the chains on by those.
std::size_t PassPlainPackets(const PlainRules& rules, const unsigned char* bytes, std::size_t count,
                             ObjectChains* chains);

}  // namespace qo_host

#endif  // QO_HOST_PLAINPACKETS_H
