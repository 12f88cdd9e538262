// Makes of each data packet one that the parser takes as it is meant.
//
// A packet that is right stays as it is, byte for byte. One that is damaged keeps
// the whole payloads in front of the damage; one without error correction data,
// or with more or less of it than two bytes, is written anew with it. A fragment
// whose media object lost the one before it goes: the parser would join it to
// another object.
//
// Only the payloads of the streams played are looked at, and only they are in a
// packet written anew; all streams, where that is asked for. Memory: a packet, and what is said of
// damage.
#ifndef QO_HOST_PACKETMENDER_H
#define QO_HOST_PACKETMENDER_H

#include <vector>

#include "host/packets/PacketWriter.h"
#include "host/presented/PlainPackets.h"
#include "qo_host/Damage.h"
#include "qo_host/PacketReader.h"

namespace qo_host {

// The streams that are played, by number.
struct PlayedStreams {
  static constexpr unsigned char kNone = 0x80;
  unsigned char audio = kNone;
  unsigned char video = kNone;
  // The first byte of each video object is inverted: where a payload begins with a
  // VC-1 sequence header the parser would take all headers off the object.
  bool invertsVideo = false;
  // Where the video objects flagged as key frames are noted; not owned, may be null.
  KeyObjects* keys = nullptr;
  // Every stream is taken care of as the two are; Resume is of no use then.
  bool all = false;
};

class PacketMender {
 public:
  using Chains = ObjectChains;

  // Packets are `layout.packetLength` bytes long. `damage` is not owned.
  PacketMender(const AsfLayout& layout, PlayedStreams streams, Damage* damage);

  // What precedes the next packet; all unknown at first.
  const Chains& chains() const { return chains_; }
  void Resume(const Chains& chains) { chains_ = chains; }

  // Mends `count` packets from `number` on, in place. The file has `present` of
  // their bytes, fewer only where it ends in them; the rest is overwritten.
  void Mend(unsigned long long number, std::size_t count, unsigned char* bytes,
            std::size_t present);
  // Looks at one packet for a caller who writes it elsewhere: whether it is right as it
  // stands. Otherwise, and also then, the groups `kept()` of `packet()` are to be written.
  bool Look(unsigned long long number, const unsigned char* bytes, unsigned int present);
  const Packet& packet() const { return packet_; }
  const std::vector<PayloadGroup>& kept() const { return kept_; }
  // No packet follows: what is not whole by then stays so.
  void Finish();

 private:
  void MendOne(unsigned long long number, unsigned char* bytes, unsigned int present);
  void KeepPayloads(bool isCut);
  bool Keeps(const PayloadGroup& group, bool isCut);
  bool IsTakenWhole(const unsigned char* bytes) const;
  void InvertVideoObjects(unsigned char* bytes) const;
  ObjectChain* ChainOf(unsigned char stream);
  void NoteEnd(unsigned char stream, const ObjectChain& chain);
  void NoteKey(unsigned char stream, unsigned int timeMs) const;

  const PacketReader reader_;
  const unsigned int packetLength_;
  const PlayedStreams streams_;
  const PlainRules plain_;
  Damage* const damage_;
  Chains chains_;
  std::vector<ObjectChain> allChains_;  // by stream number; empty unless all are taken care of
  // Of the packet in hand; kept for their memory.
  Packet packet_ = {};
  std::vector<PayloadGroup> kept_;
  bool dropped_ = false;  // a payload of a stream played
  std::vector<unsigned char> written_;
};

}  // namespace qo_host

#endif  // QO_HOST_PACKETMENDER_H
