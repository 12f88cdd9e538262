// The mender: a quick look that passes nearly all packets, and the walk for those
// that it doesn't.
#include "host/presented/PacketMender.h"

#include <algorithm>

#include "asf/format/ByteReader.h"
#include "asf/format/PacketFields.h"
#include "asf/format/Records.h"

namespace qo_host {
namespace {

constexpr unsigned char kErrorCorrectionFields = 0x8F;  // presence and length

}  // namespace

PacketMender::PacketMender(const AsfLayout& layout, PlayedStreams streams, Damage* damage)
    : reader_(layout, PacketView::kStated),
      packetLength_(layout.packetLength),
      streams_(streams),
      plain_{layout.packetLength, layout.prerollMs, {streams.audio, streams.video}, streams.keys},
      damage_(damage),
      allChains_(streams.all ? kStreamNumberMask + 1 : 0) {}

void PacketMender::Mend(unsigned long long number, std::size_t count, unsigned char* bytes,
                        std::size_t present) {
  const bool looksQuickly = !streams_.invertsVideo && !streams_.all;
  const std::size_t whole = !looksQuickly ? 0 : std::min(count, present / packetLength_);
  for (std::size_t i = 0; i < count; ++i) {
    if (i < whole) i += PassPlainPackets(plain_, bytes + i * packetLength_, whole - i, &chains_);
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

ObjectChain* PacketMender::ChainOf(unsigned char stream) {
  if (streams_.all) return &allChains_[stream];
  if (stream == streams_.audio) return &chains_[0];
  return stream == streams_.video ? &chains_[1] : nullptr;
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
