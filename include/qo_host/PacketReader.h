// One data packet: its header and its payloads, without their bodies.
//
// Any bytes are tolerated: reading ends where they make no sense, and `fault`
// says why. Memory is bounded by kMaxPayloads, whatever the packet says.
#ifndef QO_HOST_PACKETREADER_H
#define QO_HOST_PACKETREADER_H

#include <cstddef>
#include <vector>

#include "qo_host/AsfLayout.h"

namespace qo_host {

// A payload, or one of the sub-payloads of a compressed payload, each of which is
// a media object of its own.
struct Payload {
  unsigned char stream;               // 1 to 127
  bool keyFrame;                      // as flagged
  unsigned int objectNumber;          // of its media object
  unsigned int offset;                // of its first byte in the media object, bytes; 0 begins one
  unsigned int objectSize;            // bytes, as the payload says; of a sub-payload: its own size
  unsigned int timeMs;                // as the parser stamps the object: preroll removed
  unsigned long long headerPosition;  // of its header, bytes from the packet's first; sub-payloads
                                      // share one
  unsigned long long position;        // of its body, bytes from the packet's first
  unsigned int size;                  // of its body, bytes, as the packet says
  unsigned int present;  // bytes of its body that are there, at least 1: fewer than `size`
                         // where the file ends in it
};

// Why a packet cannot be walked to its end, or, in PacketView::kStated, is not right: the
// first fault found.
enum class PacketFault : unsigned char {
  kNone,
  kNoReplicatedData,  // a payload with none, or with more than there can be
  kPayloadSize,       // a payload of 0 bytes, or of more than a media object can have
  kEmptySubPayload,   // within a compressed payload
  kTooManyPayloads,   // more than kMaxPayloads: a length that lies
  kErrorCorrection,   // error correction flags that give no length; PacketView::kStated only
  kCutShort,          // the bytes end in it
};

// Sub-payloads are listed one by one; no packet of a sane size holds as many.
constexpr std::size_t kMaxPayloads = 0x10000;

// A packet as PacketReader finds it.
struct Packet {
  unsigned long long number;  // from 0, where the packet was walked to; otherwise as it was
  bool hasErrorCorrection;    // flagged in its first byte
  // The header, as the packet has it.
  unsigned int headerPosition;    // of the length type flags, bytes from the packet's first
  unsigned char lengthTypeFlags;  // which fields there are, and how wide
  unsigned char propertyFlags;    // the same for the fields of a payload
  unsigned int statedLength;      // of the packet, bytes; 0: none
  unsigned int padding;           // bytes
  unsigned int sendTimeMs;        // preroll included
  unsigned int durationMs;        // as stated, 0 to 65,535; the parser ignores it
  PacketFault fault;              // kNone, too, of a packet that PacketView::kParser misreads
  // In file order, up to a fault that ends the walk. In PacketView::kStated the first two do
  // not, where the packet states its payloads' lengths.
  std::vector<Payload> payloads;
};

// How a packet's beginning is taken.
enum class PacketView : unsigned char {
  kParser,  // as the parser takes it: two bytes of error correction data are granted. A packet
            // without any is misread there; here it has no payloads
  kStated,  // as it says: error correction data of any length, or none
};

// The bytes of a packet, and of what follows it: a payload may run over the
// packet's end.
class PacketBytes {
 public:
  // Bytes in memory, owned by what handed them out.
  struct Piece {
    const unsigned char* data;  // may be null where there are none
    std::size_t size;           // how many, perhaps more than were asked for
  };
  virtual ~PacketBytes() = default;

  // The bytes from `offset` (from the packet's first) on, at least `size` of them,
  // less only where they end. Valid until the next call.
  virtual Piece From(unsigned long long offset, std::size_t size) = 0;

  // Where they end, bytes from the packet's first; the largest number there is
  // while that is not known.
  virtual unsigned long long End() const = 0;
};

// Takes packets apart. Holds no state of theirs: one reader serves any number.
class PacketReader {
 public:
  // The preroll and the packet length that counts where a packet states none are
  // taken from `layout`.
  explicit PacketReader(const AsfLayout& layout, PacketView view = PacketView::kParser);

  // Overwrites `*packet` (not null), but for its number, from `bytes` (not null).
  void Read(PacketBytes* bytes, Packet* packet) const;
  // The same from memory: `size` bytes at `data`, which hold the packet's first and end
  // where the file does.
  void Read(const unsigned char* data, std::size_t size, Packet* packet) const;

 private:
  unsigned long long prerollMs_;
  unsigned int minPacketLength_;
  PacketView view_;
};

}  // namespace qo_host

#endif  // QO_HOST_PACKETREADER_H
