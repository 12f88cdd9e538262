// Decodes one packet. Fields and limits are those of the parser, so that what is
// said about a packet is what the parser makes of it.
#include "qo_host/PacketReader.h"

#include <algorithm>
#include <cstring>

#include "asf/format/Arithmetic.h"
#include "asf/format/ByteReader.h"
#include "asf/format/Limits.h"
#include "asf/format/PacketFields.h"

namespace qo_host {
namespace {

// Bits of the error correction flags: the length of the data behind them, and how
// that is given, of which only 0 has a meaning.
constexpr unsigned char kErrorCorrectionLength = 0x0F;
constexpr unsigned char kErrorCorrectionLengthType = 0x60;

class MemoryBytes final : public PacketBytes {
 public:
  MemoryBytes(const unsigned char* data, std::size_t size) : data_(data), size_(size) {}

  Piece From(unsigned long long offset, std::size_t) override {
    const std::size_t at = std::min<unsigned long long>(offset, size_);
    return {data_ + at, size_ - at};
  }
  unsigned long long End() const override { return size_; }

 private:
  const unsigned char* data_;
  std::size_t size_;
};

// One walk through one packet.
class PacketWalker {
 public:
  PacketWalker(PacketBytes* bytes, Packet* packet) : bytes_(bytes), packet_(packet) {}

  void Walk(PacketView view, unsigned int minPacketLength, unsigned long long prerollMs) {
    view_ = view;
    prerollMs_ = prerollMs;
    if (!SkipErrorCorrection(view) || !ReadHeader()) return;
    if (packetLength_ == 0) packetLength_ = minPacketLength;
    ReadPayloads();
  }

 private:
  // The next `size` bytes, which the walk passes over. Null, with the fault noted,
  // when they are not all there.
  const unsigned char* Take(std::size_t size) {
    if (position_ < pieceStart_ || position_ + size > pieceStart_ + piece_.size) {
      pieceStart_ = position_;
      piece_ = bytes_->From(position_, size);
      if (piece_.size < size) {
        Fail(PacketFault::kCutShort);
        return nullptr;
      }
    }
    const unsigned char* const taken = piece_.data + (position_ - pieceStart_);
    position_ += size;
    return taken;
  }
  bool Fail(PacketFault fault) {
    if (packet_->fault == PacketFault::kNone) packet_->fault = fault;
    return false;
  }
  // Of a payload that is none: where lengths are stated and the packet is taken as it
  // says, the next one is known to stand behind its body.
  bool StepOver(PacketFault fault, unsigned int size) {
    Fail(fault);
    if (!multiple_ || view_ != PacketView::kStated || size > kMaxAllocBytes) return false;
    position_ += size;
    return true;
  }

  bool SkipErrorCorrection(PacketView view) {
    const unsigned char* flags = Take(1);
    if (flags == nullptr) return false;
    packet_->hasErrorCorrection = (*flags & kErrorCorrectionPresent) != 0;
    if (view == PacketView::kParser) {
      position_ = kErrorCorrectionBytes;
      return packet_->hasErrorCorrection;
    }
    if (!packet_->hasErrorCorrection) {
      position_ = 0;
      return true;
    }
    if ((*flags & kErrorCorrectionLengthType) != 0) return Fail(PacketFault::kErrorCorrection);
    position_ += *flags & kErrorCorrectionLength;
    return true;
  }

  bool ReadHeader() {
    packet_->headerPosition = static_cast<unsigned int>(position_);
    const unsigned char* flags = Take(2);
    if (flags == nullptr) return false;
    const unsigned char lengths = packet_->lengthTypeFlags = flags[0];
    packet_->propertyFlags = flags[1];
    const unsigned int size = FieldBytes(PacketLengthType(lengths)) +
                              FieldBytes(SequenceType(lengths)) +
                              FieldBytes(PaddingLengthType(lengths)) + kTimesBytes;
    const unsigned char* bytes = Take(size);
    if (bytes == nullptr) return false;
    ByteReader fields(bytes, size);
    packet_->statedLength = packetLength_ = fields.ReadCoded(PacketLengthType(lengths));
    static_cast<void>(fields.ReadCoded(SequenceType(lengths)));
    packet_->padding = fields.ReadCoded(PaddingLengthType(lengths));
    packet_->sendTimeMs = LoadLe32(bytes + size - kTimesBytes);
    packet_->durationMs = LoadLe16(bytes + size - sizeof(payload_parsing_info::Duration));
    return true;
  }

  void ReadPayloads() {
    unsigned int left = 1;
    multiple_ = HasMultiplePayloads(packet_->lengthTypeFlags);
    if (multiple_) {
      const unsigned char* flags = Take(1);
      if (flags == nullptr) return;
      left = PayloadCount(*flags);
      payloadLengthType_ = PayloadLengthType(*flags);
    }
    for (unsigned int bit = 0; bit < 6; bit += 2) {
      payloadHeaderBytes_ += FieldBytes(LengthTypeAt(packet_->propertyFlags, bit));
    }
    while (left != 0 && ReadPayload()) --left;
  }

  bool ReadPayload() {
    const unsigned long long headerPosition = position_;
    const unsigned char* bytes = Take(payloadHeaderBytes_);
    if (bytes == nullptr) return false;
    ByteReader fields(bytes + 1, payloadHeaderBytes_ - 1);
    payload_header header;
    header.StreamNumber = *bytes;
    const bool isCompressed = ReadPayloadFields(&fields, packet_->propertyFlags, &header);
    Payload payload = {};
    payload.headerPosition = headerPosition;
    payload.stream = StreamOf(header);
    payload.keyFrame = IsKeyFrame(header);
    payload.objectNumber = header.MediaObjectNumber;
    payload.offset = header.OffsetIntoMediaObject;
    return isCompressed ? ReadCompressed(&payload)
                        : ReadOrdinary(&payload, header.ReplicatedDataLength);
  }

  bool ReadOrdinary(Payload* payload, unsigned int replicatedBytes) {
    if (!IsAllocatable(replicatedBytes)) Fail(PacketFault::kNoReplicatedData);
    if (replicatedBytes > kMaxAllocBytes) return false;
    unsigned char data[sizeof(replicated_data)] = {};
    const unsigned int known = std::min<unsigned int>(replicatedBytes, sizeof(data));
    const unsigned char* bytes = Take(known);
    if (bytes == nullptr) return false;
    std::memcpy(data, bytes, known);
    position_ += replicatedBytes - known;
    const replicated_data replicated = SplitReplicatedData(data);
    payload->objectSize = replicated.MediaObjectSize;
    payload->timeMs = WithoutPreroll(replicated.PresentationTime, prerollMs_);
    if (!ReadBodyLength(&payload->size)) return false;
    if (replicatedBytes == 0) return StepOver(PacketFault::kNoReplicatedData, payload->size);
    if (!IsAllocatable(payload->size)) return StepOver(PacketFault::kPayloadSize, payload->size);
    return Add(payload);
  }

  bool ReadCompressed(Payload* payload) {
    const unsigned char* delta = Take(1);
    if (delta == nullptr) return false;
    const unsigned char deltaMs = *delta;
    // Not clamped at 0, unlike that of an ordinary payload: wraps in 32 bits.
    payload->timeMs = payload->offset - static_cast<unsigned int>(prerollMs_);
    payload->offset = 0;
    unsigned int body = 0;
    if (!ReadBodyLength(&body)) return false;
    for (unsigned long long consumed = 0; consumed < body; consumed += payload->size + 1ull) {
      const unsigned char* size = Take(1);
      if (size == nullptr) return false;
      payload->objectSize = payload->size = *size;
      if (payload->size == 0) return Fail(PacketFault::kEmptySubPayload);
      if (!Add(payload)) return false;
      payload->timeMs += deltaMs;
    }
    return true;
  }

  // One payload reaches to the padding, in 32 bits, whatever the packet's length is
  // worth; several have their lengths stated.
  bool ReadBodyLength(unsigned int* length) {
    if (!multiple_) {
      *length = packetLength_ - static_cast<unsigned int>(position_) - packet_->padding;
      return true;
    }
    const unsigned int size = FieldBytes(payloadLengthType_);
    const unsigned char* bytes = Take(size);
    if (bytes == nullptr) return false;
    *length = ByteReader(bytes, size).ReadCoded(payloadLengthType_);
    return true;
  }

  // Lists the payload and steps over its body. False where that is not whole.
  bool Add(Payload* payload) {
    const unsigned long long end = bytes_->End();
    if (position_ >= end) return Fail(PacketFault::kCutShort);
    if (packet_->payloads.size() == kMaxPayloads) return Fail(PacketFault::kTooManyPayloads);
    payload->position = position_;
    payload->present =
        static_cast<unsigned int>(std::min<unsigned long long>(payload->size, end - position_));
    packet_->payloads.push_back(*payload);
    position_ += payload->size;
    return payload->present == payload->size || Fail(PacketFault::kCutShort);
  }

  PacketBytes* bytes_;
  Packet* packet_;
  PacketView view_ = PacketView::kParser;
  unsigned long long prerollMs_ = 0;
  unsigned long long position_ = 0;    // of the next byte, from the packet's first
  PacketBytes::Piece piece_ = {};      // the last that was asked for
  unsigned long long pieceStart_ = 0;  // of its first byte, from the packet's first
  unsigned int packetLength_ = 0;      // as it says, or as the file does
  bool multiple_ = false;
  unsigned int payloadLengthType_ = 0;
  unsigned int payloadHeaderBytes_ = 1;  // in front of its replicated data
};

}  // namespace

PacketReader::PacketReader(const AsfLayout& layout, PacketView view)
    : prerollMs_(layout.prerollMs), minPacketLength_(layout.minPacketLength), view_(view) {}

void PacketReader::Read(PacketBytes* bytes, Packet* packet) const {
  const unsigned long long number = packet->number;
  std::vector<Payload> payloads = std::move(packet->payloads);
  payloads.clear();  // its memory serves again
  *packet = {};
  packet->number = number;
  packet->payloads = std::move(payloads);
  PacketWalker(bytes, packet).Walk(view_, minPacketLength_, prerollMs_);
}

void PacketReader::Read(const unsigned char* data, std::size_t size, Packet* packet) const {
  MemoryBytes bytes(data, size);
  Read(&bytes, packet);
}

}  // namespace qo_host
