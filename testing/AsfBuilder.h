// Builds ASF files in memory.
//
// Everything is right by default: sizes, counts, lengths and padding follow from
// the contents. Each of them can be overridden to lie.
#ifndef QO_TESTING_ASFBUILDER_H
#define QO_TESTING_ASFBUILDER_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "asf/format/guid.h"

using Bytes = std::string;
using Lie32 = std::optional<unsigned int>;
using Lie64 = std::optional<unsigned long long>;

Bytes Le(unsigned long long value, int width);  // little-endian, `width` bytes
Bytes Hex(const char* digits);                  // blanks are skipped
Bytes Utf16(const char* ascii, bool terminated = true);

Bytes Object(AsfObjectId id, const Bytes& body, Lie64 size = {});

// Stream properties. The formats are the type-specific data.
Bytes Stream(AsfObjectId type, int number, const Bytes& typeSpecific, Lie32 typeSpecificLength = {},
             const Bytes& errorCorrection = {}, Lie32 errorCorrectionLength = {});
Bytes AudioFormat(int tag, int bytesPerSecond = 16000, int blockAlign = 100,
                  const Bytes& config = {}, int channels = 2, int rate = 44100, int bits = 16);
Bytes VideoFormat(const char* fourcc, const Bytes& config = {}, int width = 320, int height = 240);

Bytes ContentDescription(const std::vector<Bytes>& fiveTexts);
Bytes Descriptor(const Bytes& name, int type, const Bytes& value, Lie32 valueLength = {});
Bytes ExtendedContent(const std::vector<Bytes>& descriptors, Lie32 count = {}, Lie64 size = {});
Bytes Record(const Bytes& name, int type, const Bytes& data, Lie32 nameLength = {},
             Lie32 dataLength = {});
Bytes Metadata(const std::vector<Bytes>& records, AsfObjectId id = ID_METADATA_OBJECT,
               Lie32 count = {}, Lie64 size = {});
Bytes HeaderExtension(const Bytes& data, Lie32 length = {});
// Intervals in 100 ns.
Bytes SimpleIndex(unsigned long long interval, const std::vector<unsigned int>& packetNumbers,
                  Lie32 count = {});

// One payload of a packet. Times include the preroll.
struct Payload {
  int stream = 1;
  unsigned int time = 0;
  Bytes data;
  bool key = false;
  unsigned int offset = 0;
  std::optional<Bytes> replicated;  // instead of object size and time
  Lie32 replicatedLength;
  Lie32 length;    // of the data, or of all sub-payloads
  int delta = -1;  // ms; not negative: compressed
  std::vector<Bytes> subPayloads;

  Payload& Key(bool on = true) { return key = on, *this; }
  Payload& Offset(unsigned int bytes) { return offset = bytes, *this; }
  Payload& Replicated(const Bytes& bytes) { return replicated = bytes, *this; }
  Payload& ReplicatedLength(unsigned int bytes) { return replicatedLength = bytes, *this; }
  Payload& Length(unsigned int bytes) { return length = bytes, *this; }
};
Payload Media(int stream, unsigned int time, const Bytes& data);
Payload Key(int stream, unsigned int time, const Bytes& data);
Payload Compressed(int stream, unsigned int time, int delta, const std::vector<Bytes>& subPayloads);

// One data packet. Length types are the format's 2-bit codes.
struct Packet {
  std::vector<Payload> payloads;
  Bytes errorCorrection = Hex("82 00 00");
  int packetLengthType = 0, sequenceType = 0, paddingType = 2;
  int objectType = 1, offsetType = 3, replicatedType = 1, lengthType = 2;
  bool multiple = false;  // also with one payload
  Lie32 packetLength, padding;
  unsigned int sendTime = 0;

  Packet(std::vector<Payload> list) : payloads(std::move(list)), multiple(payloads.size() != 1) {}
  Bytes Build(unsigned int length) const;  // padded with 0xFF to `length` bytes
};

struct AsfFile {
  std::vector<Bytes> header;  // behind the file properties
  std::vector<Packet> packets;
  Bytes trailing;  // behind the data
  unsigned int packetLength = 200;
  unsigned long long duration = 0;  // 100 ns
  unsigned long long preroll = 3000;
  unsigned int bitrate = 0;
  Lie32 headerCount, minPacket, maxPacket;
  Lie64 dataSize, packetCount;

  AsfFile(std::vector<Bytes> objects = {}, std::vector<Packet> list = {}, Bytes behind = {})
      : header(std::move(objects)), packets(std::move(list)), trailing(std::move(behind)) {}
  Bytes Build() const;
};

#endif  // QO_TESTING_ASFBUILDER_H
