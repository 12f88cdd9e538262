// See AsfBuilder.h.
#include "testing/AsfBuilder.h"

#include <cstdio>

namespace {

Bytes GuidBytes(AsfObjectId id) {
  return Bytes(reinterpret_cast<const char*>(GuidOf(id).bytes), sizeof(guid));
}

// A field whose width a 2-bit length type gives.
Bytes Coded(int lengthType, unsigned long long value) {
  return Le(value, lengthType == 3 ? 4 : lengthType);
}

Bytes Join(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all += part;
  return all;
}

bool IsCompressed(const Payload& payload) { return payload.delta >= 0; }

Bytes PayloadBody(const Payload& payload) {
  Bytes body = payload.data;
  for (const Bytes& sub : payload.subPayloads) body += Le(sub.size(), 1) + sub;
  return body;
}

Bytes PayloadHeader(const Packet& packet, const Payload& payload) {
  const Bytes replicated = IsCompressed(payload) ? Le(payload.delta, 1)
                           : payload.replicated  ? *payload.replicated
                                                 : Le(payload.data.size(), 4) + Le(payload.time, 4);
  return Le(payload.stream | (payload.key ? 0x80 : 0), 1) + Coded(packet.objectType, 0) +
         Coded(packet.offsetType, IsCompressed(payload) ? payload.time : payload.offset) +
         Coded(packet.replicatedType, payload.replicatedLength.value_or(replicated.size())) +
         replicated;
}

Bytes PayloadSection(const Packet& packet) {
  Bytes all;
  if (packet.multiple) {
    all = Le(packet.payloads.size() | packet.lengthType << 6, 1);
  }
  for (const Payload& payload : packet.payloads) {
    const Bytes body = PayloadBody(payload);
    all += PayloadHeader(packet, payload);
    if (packet.multiple) all += Coded(packet.lengthType, payload.length.value_or(body.size()));
    all += body;
  }
  return all;
}

}  // namespace

Bytes Le(unsigned long long value, int width) {
  Bytes bytes;
  for (int i = 0; i < width; ++i) bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

Bytes Hex(const char* digits) {
  Bytes bytes;
  unsigned int byte;
  for (int used; std::sscanf(digits, " %2x%n", &byte, &used) == 1; digits += used) {
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

Bytes Utf16(const char* ascii, bool terminated) {
  Bytes bytes;
  for (; *ascii != '\0'; ++ascii) bytes += Le(static_cast<unsigned char>(*ascii), 2);
  return terminated ? bytes + Le(0, 2) : bytes;
}

Bytes Object(AsfObjectId id, const Bytes& body, Lie64 size) {
  return GuidBytes(id) + Le(size.value_or(24 + body.size()), 8) + body;
}

Bytes Stream(AsfObjectId type, int number, const Bytes& typeSpecific, Lie32 typeSpecificLength,
             const Bytes& errorCorrection, Lie32 errorCorrectionLength) {
  return Object(ID_STREAM_PROPERTIES_OBJECT,
                GuidBytes(type) + GuidBytes(ID_NO_ERROR_CORRECTION) + Le(0, 8) +
                    Le(typeSpecificLength.value_or(typeSpecific.size()), 4) +
                    Le(errorCorrectionLength.value_or(errorCorrection.size()), 4) + Le(number, 2) +
                    Le(0, 4) + typeSpecific + errorCorrection);
}

Bytes AudioFormat(int tag, int bytesPerSecond, int blockAlign, const Bytes& config, int channels,
                  int rate, int bits) {
  return Le(tag, 2) + Le(channels, 2) + Le(rate, 4) + Le(bytesPerSecond, 4) + Le(blockAlign, 2) +
         Le(bits, 2) + Le(config.size(), 2) + config;
}

Bytes VideoFormat(const char* fourcc, const Bytes& config, int width, int height) {
  return Le(width, 4) + Le(height, 4) + Le(2, 1) + Le(40 + config.size(), 2) +
         Le(40 + config.size(), 4) + Le(width, 4) + Le(height, 4) + Le(1, 2) + Le(24, 2) +
         Bytes(fourcc) + Le(0x11223344, 4) + Le(-5, 4) + Le(-6, 4) + Le(7, 4) + Le(8, 4) + config;
}

Bytes ContentDescription(const std::vector<Bytes>& fiveTexts) {
  Bytes lengths;
  for (const Bytes& text : fiveTexts) lengths += Le(text.size(), 2);
  return Object(ID_CONTENT_DESCRIPTION_OBJECT, lengths + Join(fiveTexts));
}

Bytes Descriptor(const Bytes& name, int type, const Bytes& value, Lie32 valueLength) {
  return Le(name.size(), 2) + name + Le(type, 2) + Le(valueLength.value_or(value.size()), 2) +
         value;
}

Bytes ExtendedContent(const std::vector<Bytes>& descriptors, Lie32 count, Lie64 size) {
  return Object(ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT,
                Le(count.value_or(descriptors.size()), 2) + Join(descriptors), size);
}

Bytes Record(const Bytes& name, int type, const Bytes& data, Lie32 nameLength, Lie32 dataLength) {
  return Le(0, 4) + Le(nameLength.value_or(name.size()), 2) + Le(type, 2) +
         Le(dataLength.value_or(data.size()), 4) + name + data;
}

Bytes Metadata(const std::vector<Bytes>& records, AsfObjectId id, Lie32 count, Lie64 size) {
  return Object(id, Le(count.value_or(records.size()), 2) + Join(records), size);
}

Bytes HeaderExtension(const Bytes& data, Lie32 length) {
  return Object(ID_HEADER_EXTENSION_OBJECT,
                GuidBytes(ID_RESERVED_1) + Le(6, 2) + Le(length.value_or(data.size()), 4) + data);
}

Bytes SimpleIndex(unsigned long long interval, const std::vector<unsigned int>& packetNumbers,
                  Lie32 count) {
  Bytes body =
      Bytes(16, 'f') + Le(interval, 8) + Le(1, 4) + Le(count.value_or(packetNumbers.size()), 4);
  for (const unsigned int number : packetNumbers) body += Le(number, 4) + Le(1, 2);
  return Object(ID_SIMPLE_INDEX_OBJECT, body);
}

Payload Media(int stream, unsigned int time, const Bytes& data) {
  Payload payload;
  payload.stream = stream;
  payload.time = time;
  payload.data = data;
  return payload;
}

Payload Key(int stream, unsigned int time, const Bytes& data) {
  return Media(stream, time, data).Key();
}

Payload Compressed(int stream, unsigned int time, int delta,
                   const std::vector<Bytes>& subPayloads) {
  Payload payload = Media(stream, time, {});
  payload.delta = delta;
  payload.subPayloads = subPayloads;
  return payload;
}

Bytes Packet::Build(unsigned int length) const {
  const Bytes section = PayloadSection(*this);
  const int coded = packetLengthType << 5 | paddingType << 3 | sequenceType << 1;
  const Bytes front = errorCorrection + Le(coded | (multiple ? 1 : 0), 1) +
                      Le(0x40 | objectType << 4 | offsetType << 2 | replicatedType, 1) +
                      Coded(packetLengthType, packetLength.value_or(length)) +
                      Coded(sequenceType, 0);
  const std::size_t used = front.size() + Coded(paddingType, 0).size() + 6 + section.size();
  const std::size_t rest = used < length ? length - used : 0;
  return front + Coded(paddingType, padding.value_or(rest)) + Le(sendTime, 4) + Le(0, 2) + section +
         Bytes(rest, '\xFF');
}

Bytes AsfFile::Build() const {
  const Bytes count = Le(packetCount.value_or(packets.size()), 8);
  const Bytes properties =
      Object(ID_FILE_PROPERTIES_OBJECT,
             Bytes(16, 'f') + Bytes(16, '\0') + count + Le(duration, 8) + Le(duration, 8) +
                 Le(preroll, 8) + Le(2, 4) + Le(minPacket.value_or(packetLength), 4) +
                 Le(maxPacket.value_or(packetLength), 4) + Le(bitrate, 4));
  Bytes data;
  for (const Packet& packet : packets) data += packet.Build(packetLength);
  return Object(ID_HEADER_OBJECT, Le(headerCount.value_or(header.size() + 1), 4) + Le(0x0201, 2) +
                                      properties + Join(header)) +
         Object(ID_DATA_OBJECT, Bytes(16, 'f') + count + Le(0x0101, 2) + data, dataSize) + trailing;
}
