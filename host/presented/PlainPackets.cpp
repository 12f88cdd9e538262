// PassPlainPackets. It stands in the way of every packet that is played, so it takes
// several fields in one comparison.
#include "host/presented/PlainPackets.h"

#include "asf/format/ByteReader.h"
#include "asf/format/PacketFields.h"

namespace qo_host {
namespace {

using Word = unsigned long long;

// What nearly all writers set: two bytes of error correction data, nothing else of it;
// neither packet length nor sequence, padding of up to two bytes' length; fields of 1, 4
// and 1 bytes for a payload's object number, offset and length of replicated data.
// The first eight bytes of a packet: flags, two bytes of data, length type flags,
// property flags, and the padding's length.
constexpr Word kPlainMask = 0xFF'E6'00'00'FF;
constexpr Word kPlainHead = 0x5D'00'00'00'82;
constexpr Word kShapeMask = 0xFF'FF'00'00'FF;
constexpr unsigned int kLengthFlagsShift = 24;
constexpr unsigned int kPaddingShift = 40;
constexpr unsigned int kFourByteField = 3;
constexpr unsigned int kFieldMasks[] = {0, 0xFF, 0xFFFF};
constexpr unsigned int kHeadBytes = kErrorCorrectionBytes + 2 + kTimesBytes;  // and the padding's

// A payload's header, its own length not included: stream and key frame flag, object
// number, offset, length of replicated data, and that data.
constexpr unsigned int kPayloadHeaderBytes = 15;
constexpr unsigned int kPayloadLengthBytes = 2;
constexpr unsigned int kPayloadLengthType = 2;  // that has so many
constexpr unsigned int kReplicatedAt = 7;
// Its first seven bytes, the flag left out.
constexpr unsigned char kKeyFrameFlag = 0x80;
constexpr Word kPayloadMask = 0x00'FF'FF'FF'FF'FF'FF'7F;
constexpr unsigned int kOffsetShift = 16;
constexpr Word kLengthMask = 0xFFull << 48;
constexpr Word kReplicatedBytes = 8ull << 48;

// Fits no payload header.
constexpr Word kNoFields = ~Word{0};

// A chain as the words that payload headers are compared with.
struct Expected {
  Word stream;                           // number
  Word next = kNoFields;                 // of the fragment that continues the object
  Word complete = kNoFields;             // what `next` is when the object is whole
  const unsigned char* begin = nullptr;  // the payload header of its first fragment, if here

  // An unknown object is whole, and nothing continues it.
  Expected(unsigned char number, const ObjectChain& chain) : stream(number) {
    if (chain.objectNumber == ObjectChain::kUnknown) return;
    const Word first = kReplicatedBytes | Word{chain.objectNumber & 0xFF} << 8 | number;
    next = first | Word{chain.next} << kOffsetShift;
    complete = first | Word{chain.objectSize} << kOffsetShift;
  }

  // Whole small objects, one behind the other, are what most payloads hold.
  bool IsWhole(const unsigned char* header, unsigned int size) const {
    return next == kNoFields && size == LoadLe32(header + kReplicatedAt);
  }

  // A new object, in whose first fragment there are `size` bytes.
  bool Begins(const unsigned char* header, Word fields, unsigned int size) {
    if (next != complete) return false;
    begin = header;
    next = complete = kNoFields;
    if (IsWhole(header, size)) return true;
    next = fields + (Word{size} << kOffsetShift);
    complete = fields + (Word{LoadLe32(header + kReplicatedAt)} << kOffsetShift);
    return true;
  }

  void Store(unsigned long long prerollMs, ObjectChain* chain) const {
    if (begin != nullptr) {
      const replicated_data replicated = SplitReplicatedData(begin + kReplicatedAt);
      *chain = {begin[1], replicated.MediaObjectSize, replicated.MediaObjectSize,
                WithoutPreroll(replicated.PresentationTime, prerollMs)};
    }
    if (next != kNoFields) chain->next = static_cast<unsigned int>(next >> kOffsetShift);
  }
};

// What is told by the length type flags of a packet with one payload. They are nearly
// always those of the last one.
struct Shape {
  Word head = 0;               // as kShapeMask leaves it; 0: none yet
  unsigned int headBytes = 0;  // in front of the payload
  unsigned int paddingMask = 0;
};

class PlainLook {
 public:
  PlainLook(const PlainRules& rules, const ObjectChains& chains)
      : length_(rules.packetLength),
        prerollMs_(rules.prerollMs),
        keys_(rules.keys),
        audio_(rules.streams[0], chains[0]),
        video_(rules.streams[1], chains[1]) {}

  // In most packets of most files the one payload goes on with a video object.
  bool Passes(const unsigned char* packet) {
    const Word head = LoadLe64(packet);
    if ((head & kShapeMask) == single_.head) {
      const unsigned int taken = single_.headBytes + kPayloadHeaderBytes + Padding(head, single_);
      if (taken < length_ && Fields(packet + single_.headBytes) == video_.next) {
        video_.next += Word{length_ - taken} << kOffsetShift;
        return true;
      }
    }
    return PassesOther(packet);
  }

  void Store(ObjectChains* chains) const {
    audio_.Store(prerollMs_, &(*chains)[0]);
    video_.Store(prerollMs_, &(*chains)[1]);
  }

 private:
  static unsigned int Padding(Word head, const Shape& shape) {
    return static_cast<unsigned int>(head >> kPaddingShift) & shape.paddingMask;
  }
  static Word Fields(const unsigned char* payload) { return LoadLe64(payload) & kPayloadMask; }

  [[gnu::noinline]] bool PassesOther(const unsigned char* packet) {
    const Word head = LoadLe64(packet);
    const auto flags = static_cast<unsigned char>(head >> kLengthFlagsShift);
    const unsigned int paddingType = PaddingLengthType(flags);
    if ((head & kPlainMask) != kPlainHead || paddingType == kFourByteField) return false;
    const Shape shape = {head & kShapeMask, kHeadBytes + paddingType, kFieldMasks[paddingType]};
    const unsigned int taken = shape.headBytes + Padding(head, shape);
    if (taken >= length_) return false;
    const unsigned char* const at = packet + shape.headBytes;
    const unsigned int size = length_ - taken;
    if (HasMultiplePayloads(flags)) return PassPayloads(at, at + size);
    single_ = shape;
    return size > kPayloadHeaderBytes && PassesPayload(at, size - kPayloadHeaderBytes);
  }

  // The chains stay as they are unless all pass.
  bool PassPayloads(const unsigned char* at, const unsigned char* end) {
    const Expected audio = audio_, video = video_;
    const unsigned char flags = *at++;
    unsigned int count = PayloadLengthType(flags) == kPayloadLengthType ? PayloadCount(flags) : ~0u;
    for (; count != 0; --count) {
      const std::ptrdiff_t left = end - at - (kPayloadHeaderBytes + kPayloadLengthBytes);
      const unsigned int size = left > 0 ? LoadLe16(at + kPayloadHeaderBytes) : 0;
      if (size == 0 || size > left || !PassesPayload(at, size)) break;
      at += kPayloadHeaderBytes + kPayloadLengthBytes + size;
    }
    if (count == 0) return true;
    audio_ = audio;
    video_ = video;
    return false;
  }

  bool PassesPayload(const unsigned char* header, unsigned int size) {
    const Word fields = Fields(header);
    const Word stream = fields & 0xFF;
    Expected& chain = stream == audio_.stream ? audio_ : video_;
    if (fields >> kOffsetShift != kReplicatedBytes >> kOffsetShift || stream != chain.stream ||
        !chain.IsWhole(header, size)) {
      return PassesFragment(header, size);
    }
    chain.begin = header;
    if (&chain == &video_) NoteKey(header);
    return true;
  }

  [[gnu::noinline]] bool PassesFragment(const unsigned char* header, unsigned int size) {
    const Word fields = Fields(header);
    const Word stream = fields & 0xFF;
    const bool isBeginning = fields >> kOffsetShift == kReplicatedBytes >> kOffsetShift;
    Expected& chain = stream == audio_.stream ? audio_ : video_;
    if (stream != chain.stream) return (fields & kLengthMask) == kReplicatedBytes;
    if (isBeginning) {
      if (&chain == &video_) NoteKey(header);
      return chain.Begins(header, fields, size);
    }
    if (fields != chain.next) return false;
    chain.next += Word{size} << kOffsetShift;
    return true;
  }

  void NoteKey(const unsigned char* header) const {
    if ((header[0] & kKeyFrameFlag) == 0 || keys_ == nullptr) return;
    const replicated_data replicated = SplitReplicatedData(header + kReplicatedAt);
    keys_->Add(WithoutPreroll(replicated.PresentationTime, prerollMs_));
  }

  const unsigned int length_;
  const unsigned long long prerollMs_;
  KeyObjects* const keys_;
  Shape single_;
  Expected audio_;
  Expected video_;
};

}  // namespace

std::size_t PassPlainPackets(const PlainRules& rules, const unsigned char* bytes, std::size_t count,
                             ObjectChains* chains) {
  // In shorter packets there is no room for what is looked at.
  if (rules.packetLength < kHeadBytes + 2 + kPayloadHeaderBytes) return 0;
  PlainLook look(rules, *chains);
  const unsigned char* packet = bytes;
  const unsigned char* const end = bytes + count * rules.packetLength;
  while (packet != end && look.Passes(packet)) packet += rules.packetLength;
  look.Store(chains);
  return static_cast<std::size_t>(packet - bytes) / rules.packetLength;
}

}  // namespace qo_host
