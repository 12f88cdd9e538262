// Writes a data packet that holds some of another one's payloads, or changes one in place.
#ifndef QO_HOST_PACKETWRITER_H
#define QO_HOST_PACKETWRITER_H

#include <cstddef>
#include <vector>

#include "qo_host/PacketReader.h"

namespace qo_host {

// Payloads that follow each other in Packet::payloads and share a header: one, or
// the sub-payloads of a compressed payload.
struct PayloadGroup {
  std::size_t first;
  std::size_t count;
};

struct WrittenPacket {
  std::size_t kept;  // groups
  bool isShort;      // without what the parser makes nothing of
};

// Writes a packet of `length` bytes to `out`, which may not overlap `bytes`: two
// bytes of error correction data, then the groups `kept` of `packet`, whose bytes
// `bytes` are, in their order and as they stand there; the rest is padding. What
// is missing of the last body (Payload::present) is left out.
//
// Where they don't fit, the payloads lose what the parser makes nothing of: media
// object numbers, replicated data behind the first eight bytes, and, but for
// telling a beginning from a continuation, offsets. Groups that don't fit even
// then are left out, the last first.
WrittenPacket WritePacket(const Packet& packet, const unsigned char* bytes,
                          const std::vector<PayloadGroup>& kept, unsigned int length,
                          unsigned char* out);

// Sets the size of its media object in a payload's replicated data, where that has it.
// `payload` is one of `packet`, whose bytes are `bytes`.
void SetObjectSize(const Packet& packet, const Payload& payload, unsigned int size,
                   unsigned char* bytes);

}  // namespace qo_host

#endif  // QO_HOST_PACKETWRITER_H
