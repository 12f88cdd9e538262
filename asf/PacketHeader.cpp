// The header of a data packet, and what both walks over its payloads share: where
// a packet lies, how many payloads it has, how long a payload is.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Arithmetic.h"

int ASFParser::ParsePayloadParsingInfo(payload_parsing_info* info, unsigned int* packetLen) {
  return m_Barrier.Run([=] {
    SourceReader source = Source();
    const int status = ReadLengthTypeFlags(&source, info);
    if (status < 0) return status;
    info->PacketLength = source.ReadCoded(PacketLengthType(info->LengthTypeFlags));
    // The packet's own length counts, also where the established one was clamped.
    *packetLen = info->PacketLength != 0 ? info->PacketLength : m_objFileProperties.minPacketSize;
    if (!AdoptPacketLen(info->PacketLength)) {
      LOG_ERROR("[%s] ParseDataPacket : Wrong Pakcet Len Info.", getName());
    }
    info->Sequence = source.ReadCoded(SequenceType(info->LengthTypeFlags));
    info->PaddingLength = source.ReadCoded(PaddingLengthType(info->LengthTypeFlags));
    return source.Read(&info->SendTime, sizeof(info->SendTime) + sizeof(info->Duration));
  });
}

// Reads from the packet's first byte to its property flags. The first byte always
// counts as error correction flags, and two bytes of error correction data are
// taken for granted: a packet without any is misread, deliberately, by one byte.
int ASFParser::ReadLengthTypeFlags(SourceReader* source, payload_parsing_info* info) {
  if (m_CurPos >= EndOfData()) {
    LOG_TRACE("[%s] ParseDataPacket  End Of Data", getName());
    return kParserEndOfStream;
  }
  unsigned char errorCorrection[kErrorCorrectionBytes];
  unsigned long long got;
  int status = source->ReadAt(m_CurPos, errorCorrection, 1, &got);
  if (status < 0) return status;
  if (got == 0) return kParserEndOfStream;  // the file ends before its data does
  const unsigned char flags = errorCorrection[0];
  if ((flags & kErrorCorrectionPresent) != 0) {
    status = source->ReadAt(m_CurPos, errorCorrection, sizeof(errorCorrection));
    if (status < 0) return status;
  }
  if ((flags & kOpaqueDataPresent) != 0) {
    LOG_ERROR("[%s] ParseDataPacket : Opaque Data Present", getName());
  }
  return source->Read(&info->LengthTypeFlags,
                      sizeof(info->LengthTypeFlags) + sizeof(info->PropertyFlags));
}

// Establishes the packet length from a packet that declares `explicitLen` bytes,
// or none (0). False: it conflicts with the length established before, which
// stays. A length outside the file's bounds is clamped without a word.
bool ASFParser::AdoptPacketLen(unsigned int explicitLen) {
  const unsigned int min = m_objFileProperties.minPacketSize;
  const unsigned int max = m_objFileProperties.maxPacketSize;
  if (explicitLen != 0 && explicitLen < min) {
    m_CurDataPacketLen = min;
    return true;
  }
  if (explicitLen != 0 && explicitLen > max) {
    m_CurDataPacketLen = max;
    return true;
  }
  const unsigned int length = explicitLen != 0 ? explicitLen : min;
  if (m_CurDataPacketLen != 0 && m_CurDataPacketLen != length) return false;
  m_CurDataPacketLen = length;
  return true;
}

// Where the data object ends; 0, so that no packet lies before it, when the sum
// wraps or the file is closed.
unsigned long long ASFParser::EndOfData() const {
  unsigned long long end;
  const bool wraps = __builtin_add_overflow(m_objHeader.header.objectSize,
                                            m_objDataObject.header.objectSize, &end);
  return wraps || m_bClosed ? 0 : end;
}

// kNowhere for a packet that no file can have.
unsigned long long ASFParser::PacketPosition(unsigned long packetNum) const {
  if (m_CurDataPacketLen == 0 && packetNum != 0) return kNowhere;
  return SaturatingAdd(m_StartPosOfDataPackets, SaturatingMultiply(packetNum, m_CurDataPacketLen));
}

// Goes to a packet and reads up to its first payload.
int ASFParser::BeginPacket(unsigned long packetNum, PacketCursor* packet) {
  m_CurPos = PacketPosition(packetNum);
  unsigned int packetLen;
  int status = ParsePayloadParsingInfo(&packet->info, &packetLen);
  if (status < 0) return status;
  unsigned long long position;
  status = Source().Position(&position);
  if (status < 0) return status;
  packet->behindHeader = packetLen - static_cast<unsigned int>(position - m_CurPos);
  m_CurPos = position;
  packet->multiple = HasMultiplePayloads(packet->info.LengthTypeFlags);
  packet->payloads = 1;
  packet->payloadLenType = 0;
  if (!packet->multiple) return kParserOk;
  unsigned char payloadFlags = 0;
  status = Source().Read(&payloadFlags, sizeof(payloadFlags));
  packet->payloads = PayloadCount(payloadFlags);
  packet->payloadLenType = static_cast<unsigned char>(PayloadLengthType(payloadFlags));
  return status;
}

// A single payload fills the packet up to its padding; in 32 bits, whatever the
// packet's length is worth.
int ASFParser::ReadPayloadLength(const PacketCursor& packet, unsigned int* length) {
  if (packet.multiple) {
    *length = Source().ReadCoded(packet.payloadLenType);
    return kParserOk;
  }
  unsigned long long position;
  const int status = Source().Position(&position);
  if (status < 0) return status;
  *length = packet.behindHeader - static_cast<unsigned int>(position - m_CurPos) -
            packet.info.PaddingLength;
  m_CurPos = position;
  return kParserOk;
}

// 0 for a time within the preroll.
unsigned int ASFParser::WithoutPreroll(unsigned int presentationTime) const {
  const unsigned long long preroll = m_objFileProperties.preroll;
  return presentationTime > preroll ? static_cast<unsigned int>(presentationTime - preroll) : 0;
}
