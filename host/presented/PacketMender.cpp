// The mender: a quick look that passes nearly all packets, and the walk for those
// that it doesn't.
#include "host/presented/PacketMender.h"

#include <algorithm>

#include "asf/format/ByteReader.h"
#include "asf/format/PacketFields.h"
#include "asf/format/Records.h"

namespace qo_host {
namespace {

// Error correction flags: two bytes of data, nothing else.
constexpr unsigned char kPlainErrorCorrection = 0x82;
constexpr unsigned char kErrorCorrectionFields = 0x8F;  // presence and length

// What nearly all writers set, and the quick look knows: neither packet length nor
// sequence; fields of 1, 4 and 1 bytes for a payload's object number, offset and
// length of replicated data, which are 8 bytes; 2 bytes for the payload's length.
// Length type flags in the lower byte, property flags in the upper.
constexpr unsigned int kPlainFlagsMask = 0xFFE6;
constexpr unsigned int kPlainFlags = 0x5D00;
constexpr unsigned char kPlainReplicatedBytes = 8;
constexpr unsigned char kKeyFrameFlag = 0x80;  // beside the stream number
constexpr unsigned int kPlainPayloadLengthType = 2;
constexpr int kPlainHeaderBytes = 15;  // of a payload, its length not included
constexpr unsigned int kFlagsBytes = 2;
constexpr unsigned int kFourByteField = 3;
constexpr unsigned int kFieldMasks[] = {0, 0xFF, 0xFFFF};

// Packets shorter than their header with its longest fields get no quick look.
constexpr unsigned int kPlainPacketBytes = kErrorCorrectionBytes + 2 + 2 + kTimesBytes + 1;

}  // namespace

PacketMender::PacketMender(const AsfLayout& layout, PlayedStreams streams, Damage* damage)
    : reader_(layout, PacketView::kStated),
      packetLength_(layout.packetLength),
      prerollMs_(layout.prerollMs),
      streams_(streams),
      damage_(damage),
      allChains_(streams.all ? kStreamNumberMask + 1 : 0) {}

void PacketMender::Mend(unsigned long long number, std::size_t count, unsigned char* bytes,
                        std::size_t present) {
  const bool looksQuickly = !streams_.invertsVideo && !streams_.all;
  const std::size_t whole = !looksQuickly ? 0 : std::min(count, present / packetLength_);
  for (std::size_t i = 0; i < count; ++i) {
    if (i < whole) i += PassPlain(bytes + i * packetLength_, whole - i);
    if (i == count) return;
    const std::size_t at = std::min(i * packetLength_, present);
    MendOne(number + i, bytes + i * packetLength_,
            static_cast<unsigned int>(std::min<std::size_t>(packetLength_, present - at)));
  }
}

void PacketMender::Finish() {
  NoteEnd(streams_.audio, chains_[0]);
  NoteEnd(streams_.video, chains_[1]);
  for (std::size_t stream = 0; stream < allChains_.size(); ++stream)
    NoteEnd(static_cast<unsigned char>(stream), allChains_[stream]);
}

inline ObjectChain* PacketMender::ChainOf(unsigned char stream, Chains* chains) const {
  if (stream == streams_.audio) return &(*chains)[0];
  return stream == streams_.video ? &(*chains)[1] : nullptr;
}

ObjectChain* PacketMender::ChainOf(unsigned char stream) {
  return streams_.all ? &allChains_[stream] : ChainOf(stream, &chains_);
}

// Passes packets that are right beyond doubt. Returns how many there are before the
// first of which more has to be known; chains are then those in front of it.
std::size_t PacketMender::PassPlain(const unsigned char* bytes, std::size_t count) {
  if (packetLength_ < kPlainPacketBytes) return 0;
  const unsigned char* packet = bytes;
  const unsigned char* const end = bytes + count * packetLength_;
  for (; packet != end; packet += packetLength_) {
    const unsigned int flags = LoadLe16(packet + kErrorCorrectionBytes);
    const unsigned int paddingType = PaddingLengthType(static_cast<unsigned char>(flags));
    if (packet[0] != kPlainErrorCorrection || (flags & kPlainFlagsMask) != kPlainFlags ||
        paddingType == kFourByteField) {
      break;
    }
    const unsigned char* const fields = packet + kErrorCorrectionBytes + kFlagsBytes;
    const unsigned char* const at = fields + paddingType + kTimesBytes;
    const unsigned int padding = LoadLe16(fields) & kFieldMasks[paddingType];
    const auto left = packet + packetLength_ - at;
    if (left < static_cast<std::ptrdiff_t>(padding) + kPlainHeaderBytes) break;
    const std::size_t size = static_cast<std::size_t>(left) - padding;
    const bool passes = HasMultiplePayloads(static_cast<unsigned char>(flags))
                            ? PassPayloads(at, at + size)
                            : PassPayload(at, size - kPlainHeaderBytes, &chains_);
    if (!passes) break;
  }
  return static_cast<std::size_t>(packet - bytes) / packetLength_;
}

bool PacketMender::PassPayloads(const unsigned char* at, const unsigned char* end) {
  Chains chains = chains_;
  const unsigned char flags = *at++;
  if (PayloadLengthType(flags) != kPlainPayloadLengthType) return false;
  for (unsigned int count = PayloadCount(flags); count != 0; --count) {
    const auto left = end - at;
    if (left <= kPlainHeaderBytes + 2) return false;
    const unsigned int size = LoadLe16(at + kPlainHeaderBytes);
    if (size > left - (kPlainHeaderBytes + 2) || !PassPayload(at, size, &chains)) return false;
    at += kPlainHeaderBytes + 2 + size;
  }
  chains_ = chains;
  return true;
}

// Moves the chain on, if the payload is right.
inline bool PacketMender::PassPayload(const unsigned char* header, std::size_t size,
                                      Chains* chains) const {
  if (header[6] != kPlainReplicatedBytes || size == 0) return false;
  ObjectChain* const chain = ChainOf(header[0] & 0x7F, chains);
  if (chain == nullptr) return true;
  const unsigned int offset = LoadLe32(header + 2);
  if (offset != 0) {
    if (offset != chain->next || header[1] != chain->objectNumber) return false;
    chain->next = offset + static_cast<unsigned int>(size);
    return true;
  }
  if (chain->next != chain->objectSize) return false;
  const replicated_data replicated = SplitReplicatedData(header + 7);
  *chain = {header[1], static_cast<unsigned int>(size), replicated.MediaObjectSize,
            WithoutPreroll(replicated.PresentationTime, prerollMs_)};
  if ((header[0] & kKeyFrameFlag) != 0) NoteKey(header[0] & kStreamNumberMask, chain->timeMs);
  return true;
}

void PacketMender::MendOne(unsigned long long number, unsigned char* bytes, unsigned int present) {
  const bool isRight = Look(number, bytes, present);
  if (streams_.invertsVideo) InvertVideoObjects(bytes);
  if (isRight) return;
  written_.resize(packetLength_);
  WritePacket(packet_, bytes, kept_, packetLength_, written_.data());
  std::copy(written_.begin(), written_.end(), bytes);
}

bool PacketMender::Look(unsigned long long number, const unsigned char* bytes,
                        unsigned int present) {
  reader_.Read(bytes, present, &packet_);
  if (packet_.fault != PacketFault::kNone && damage_->packets.size() < Damage::kMaxListed) {
    damage_->packets[number] = packet_.fault;
  }
  const bool isCut = present < packetLength_;
  KeepPayloads(isCut);
  return !isCut && IsTakenWhole(bytes);
}

void PacketMender::KeepPayloads(bool isCut) {
  kept_.clear();
  dropped_ = false;
  const std::vector<Payload>& payloads = packet_.payloads;
  for (std::size_t first = 0, end; first < payloads.size(); first = end) {
    end = first + 1;
    while (end < payloads.size() && payloads[end].headerPosition == payloads[first].headerPosition)
      ++end;
    if (ChainOf(payloads[first].stream) == nullptr) continue;
    if (Keeps({first, end - first}, isCut)) {
      kept_.push_back({first, end - first});
    } else {
      dropped_ = true;
    }
  }
}

// Of what the packet's end cuts off nothing is kept, unless the file ends there.
bool PacketMender::Keeps(const PayloadGroup& group, bool isCut) {
  const Payload* const first = packet_.payloads.data() + group.first;
  const Payload& last = first[group.count - 1];
  if (last.present < last.size && !isCut) return false;
  ObjectChain& chain = *ChainOf(first->stream);
  if (first->offset == 0) {
    for (const Payload* payload = first; payload <= &last; ++payload) {
      NoteEnd(payload->stream, chain);
      if (payload->keyFrame) NoteKey(payload->stream, payload->timeMs);
      chain = {payload->objectNumber, payload->present, payload->objectSize, payload->timeMs};
    }
    return true;
  }
  if (chain.objectNumber == ObjectChain::kUnknown) {
    chain = {first->objectNumber, first->offset, first->objectSize, first->timeMs};
  } else if (first->offset != chain.next || first->objectNumber != chain.objectNumber) {
    NoteEnd(first->stream, chain);
    return false;
  }
  chain.next = first->offset + first->present;
  return true;
}

// Notes an object that ends here, if that is too early. A size of 0 says nothing.
void PacketMender::NoteEnd(unsigned char stream, const ObjectChain& chain) {
  if (chain.next < chain.objectSize && damage_->objects.size() < Damage::kMaxListed) {
    damage_->objects.emplace(stream, chain.timeMs);
  }
}

void PacketMender::NoteKey(unsigned char stream, unsigned int timeMs) const {
  if (streams_.keys != nullptr && stream == streams_.video) streams_.keys->Add(timeMs);
}

// Whether the parser takes the packet as it is meant, as it stands.
bool PacketMender::IsTakenWhole(const unsigned char* bytes) const {
  return packet_.fault == PacketFault::kNone && !dropped_ &&
         (bytes[0] & kErrorCorrectionFields) == kPlainErrorCorrection;
}

void PacketMender::InvertVideoObjects(unsigned char* bytes) const {
  for (const Payload& payload : packet_.payloads) {
    if (payload.stream == streams_.video && payload.offset == 0)
      bytes[payload.position] = static_cast<unsigned char>(~bytes[payload.position]);
  }
}

}  // namespace qo_host
