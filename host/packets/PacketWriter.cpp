// The writer of packets. It puts the payloads together in a buffer of its own, in
// their plain form and, where that is too long, in the short one.
#include "host/packets/PacketWriter.h"

#include <algorithm>
#include <cstring>

#include "asf/format/ByteReader.h"
#include "asf/format/PacketFields.h"

namespace qo_host {
namespace {

constexpr unsigned char kErrorCorrection[] = {0x82, 0, 0};
constexpr unsigned int kTwoByteField = 2;
constexpr unsigned int kFourByteField = 3;

// Bits of the property flags of the short form: no media object number, one byte
// each for the offset and the length of the replicated data.
constexpr unsigned char kStreamNumberTypeBits = 0xC0;
constexpr unsigned char kOffsetTypeBits = 0x0C;
constexpr unsigned char kOneByteOffset = 1 << 2;
constexpr unsigned char kOneByteReplicatedLength = 1;
constexpr unsigned char kShortReplicatedBytes = sizeof(replicated_data);

unsigned char* Put(unsigned int value, unsigned int width, unsigned char* out) {
  for (; width != 0; --width, value >>= 8) *out++ = static_cast<unsigned char>(value);
  return out;
}

// Of a packet's payload flags, which stand in front of the first payload: that may have
// no sub-payloads, and so not be listed.
unsigned int FlagsPosition(const Packet& packet) {
  const unsigned char lengths = packet.lengthTypeFlags;
  return packet.headerPosition + 2 + FieldBytes(PacketLengthType(lengths)) +
         FieldBytes(SequenceType(lengths)) + FieldBytes(PaddingLengthType(lengths)) + kTimesBytes;
}

class Writer {
 public:
  Writer(const Packet& packet, const unsigned char* bytes)
      : packet_(packet),
        bytes_(bytes),
        fieldsBytes_(1 + WidthAt(4) + WidthAt(2) + WidthAt(0)),
        multiple_(HasMultiplePayloads(packet.lengthTypeFlags)) {
    if (multiple_ && !packet.payloads.empty())
      payloadLengthType_ = PayloadLengthType(bytes[FlagsPosition(packet)]);
  }

  // False where the first `count` of `kept` don't fit in `length` bytes.
  bool Write(const std::vector<PayloadGroup>& kept, std::size_t count, unsigned int length,
             unsigned char* out) {
    const std::vector<PayloadGroup> groups(kept.begin(),
                                           kept.begin() + static_cast<std::ptrdiff_t>(count));
    isShort_ = !WriteForm(groups, false, length, out);
    return !isShort_ || WriteForm(groups, true, length, out);
  }
  // What was written last.
  bool isShort() const { return isShort_; }

 private:
  bool WriteForm(const std::vector<PayloadGroup>& groups, bool isShort, unsigned int length,
                 unsigned char* out) {
    propertyFlags_ = isShort ? ShortFlags(groups) : packet_.propertyFlags;
    body_.clear();
    for (const PayloadGroup& group : groups) Append(group, isShort);
    const bool multiple = multiple_ || groups.empty();
    const unsigned int fixedBytes = sizeof(kErrorCorrection) + 2 + kTimesBytes + (multiple ? 1 : 0);
    if (length < fixedBytes || body_.size() > length - fixedBytes) return false;
    const auto left = static_cast<unsigned int>(length - fixedBytes - body_.size());
    out = WriteHeader(multiple, left, out);
    if (multiple) *out++ = static_cast<unsigned char>(groups.size() | payloadLengthType_ << 6);
    out = std::copy(body_.begin(), body_.end(), out);
    std::memset(out, 0, left - FieldBytes(PaddingType(left)));
    return true;
  }

  // `left`: bytes behind the fixed fields and the payloads, that of the padding
  // length included.
  unsigned char* WriteHeader(bool multiple, unsigned int left, unsigned char* out) const {
    const unsigned int paddingType = PaddingType(left);
    out = std::copy(std::begin(kErrorCorrection), std::end(kErrorCorrection), out);
    *out++ = static_cast<unsigned char>((multiple ? 1 : 0) | paddingType << 3);
    *out++ = propertyFlags_;
    out = Put(left - FieldBytes(paddingType), FieldBytes(paddingType), out);
    out = Put(packet_.sendTimeMs, 4, out);
    return Put(packet_.durationMs, 2, out);
  }

  static unsigned int PaddingType(unsigned int left) {
    if (left < 2) return left;  // none, or one byte that says so
    return left - 2 <= 0xFFFF ? kTwoByteField : kFourByteField;
  }

  unsigned int WidthAt(unsigned int bit) const {
    return FieldBytes(LengthTypeAt(packet_.propertyFlags, bit));
  }

  const unsigned char* HeaderOf(const PayloadGroup& group) const {
    return bytes_ + packet_.payloads[group.first].headerPosition;
  }
  unsigned int ReplicatedLength(const PayloadGroup& group) const {
    const unsigned char* field = HeaderOf(group) + fieldsBytes_ - WidthAt(0);
    return ByteReader(field, WidthAt(0)).ReadCoded(LengthTypeAt(packet_.propertyFlags, 0));
  }
  bool IsCompressed(const PayloadGroup& group) const {
    return IsCompressedMark(LengthTypeAt(packet_.propertyFlags, 0), ReplicatedLength(group));
  }

  // In a compressed payload the offset is a time, and stays.
  unsigned char ShortFlags(const std::vector<PayloadGroup>& groups) const {
    const bool keepsOffset = std::any_of(groups.begin(), groups.end(),
                                         [this](const auto& group) { return IsCompressed(group); });
    return static_cast<unsigned char>(
        (packet_.propertyFlags & kStreamNumberTypeBits) |
        (keepsOffset ? packet_.propertyFlags & kOffsetTypeBits : kOneByteOffset) |
        kOneByteReplicatedLength);
  }

  void Append(const PayloadGroup& group, bool isShort) {
    const bool isCompressed = IsCompressed(group);
    const unsigned char* const replicated = HeaderOf(group) + fieldsBytes_;
    if (isShort) {
      AppendShortFields(group, isCompressed);
    } else {
      AppendBytes(HeaderOf(group), fieldsBytes_);
      AppendBytes(replicated, isCompressed ? 1 : ReplicatedLength(group));
    }
    if (isCompressed) {
      AppendSubPayloads(group);
    } else {
      const Payload& payload = packet_.payloads[group.first];
      AppendLength(payload.present);
      AppendBytes(bytes_ + payload.position, payload.present);
    }
  }

  void AppendShortFields(const PayloadGroup& group, bool isCompressed) {
    const unsigned char* const header = HeaderOf(group);
    const unsigned char* const replicated = header + fieldsBytes_;
    body_.push_back(*header);
    if ((propertyFlags_ & kOffsetTypeBits) == kOneByteOffset) {
      body_.push_back(packet_.payloads[group.first].offset != 0 ? 1 : 0);
    } else {
      AppendBytes(header + 1 + WidthAt(4), WidthAt(2));
    }
    if (isCompressed) {
      body_.insert(body_.end(), {1, *replicated});
      return;
    }
    const unsigned int known =
        std::min<unsigned int>(ReplicatedLength(group), kShortReplicatedBytes);
    body_.push_back(kShortReplicatedBytes);
    AppendBytes(replicated, known);
    body_.resize(body_.size() + kShortReplicatedBytes - known);
  }

  // Those that are whole.
  void AppendSubPayloads(const PayloadGroup& group) {
    const Payload* const begin = packet_.payloads.data() + group.first;
    unsigned int size = 0;
    for (const Payload* sub = begin; sub != begin + group.count; ++sub) {
      if (sub->present == sub->size) size += 1 + sub->size;
    }
    AppendLength(size);
    AppendBytes(bytes_ + begin->position - 1, size);
  }

  void AppendLength(unsigned int length) {
    if (!multiple_) return;
    const unsigned int width = FieldBytes(payloadLengthType_);
    body_.resize(body_.size() + width);
    Put(length, width, body_.data() + body_.size() - width);
  }

  void AppendBytes(const unsigned char* from, unsigned int size) {
    body_.insert(body_.end(), from, from + size);
  }

  const Packet& packet_;
  const unsigned char* const bytes_;
  const unsigned int fieldsBytes_;  // of a payload's header, up to its replicated data
  const bool multiple_;             // of the packet as it was
  unsigned int payloadLengthType_ = kTwoByteField;
  unsigned char propertyFlags_ = 0;  // of the form in hand
  bool isShort_ = false;
  std::vector<unsigned char> body_;
};

}  // namespace

WrittenPacket WritePacket(const Packet& packet, const unsigned char* bytes,
                          const std::vector<PayloadGroup>& kept, unsigned int length,
                          unsigned char* out) {
  Writer writer(packet, bytes);
  std::size_t count = kept.size();
  while (!writer.Write(kept, count, length, out)) {
    if (count == 0) {
      std::memset(out, 0, length);
      return {0, false};
    }
    --count;
  }
  return {count, writer.isShort()};
}

void SetObjectSize(const Packet& packet, const Payload& payload, unsigned int size,
                   unsigned char* bytes) {
  const unsigned int type = LengthTypeAt(packet.propertyFlags, 0);
  unsigned char* const length = bytes + payload.headerPosition + 1 +
                                FieldBytes(LengthTypeAt(packet.propertyFlags, 4)) +
                                FieldBytes(LengthTypeAt(packet.propertyFlags, 2));
  unsigned char* const replicated = length + FieldBytes(type);
  if (ByteReader(length, FieldBytes(type)).ReadCoded(type) >= sizeof(size)) {
    Put(size, sizeof(size), replicated);
  }
}

}  // namespace qo_host
