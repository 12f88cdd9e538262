// The header of a data packet, and the packet length that follows from it.
#include "asf/ASFParser.h"
#include "asf/Log.h"

// Reads the header of the packet at m_CurPos and keeps m_CurDataPacketLen.
class ASFParser::PacketHeader {
 public:
  explicit PacketHeader(ASFParser& parser) : m_Parser(parser), m_Source(parser.Source()) {}

  SourceReader& source() { return m_Source; }

  // Reads from the packet's first byte to its property flags.
  int ReadFlags(payload_parsing_info* info);

  // Establishes the packet length from a packet that declares `declared` bytes, or
  // none (0). One that conflicts with the length established before is reported
  // under `operation`, and that length stays; one outside the file's bounds is
  // clamped without a word.
  void AdoptLength(unsigned int declared, const char* operation);

 private:
  unsigned long long EndOfData() const;

  ASFParser& m_Parser;
  SourceReader m_Source;
};

int ASFParser::ParsePayloadParsingInfo(payload_parsing_info* info, unsigned int* packetLen) {
  return m_Barrier.Run([=] {
    PacketHeader header(*this);
    const int status = header.ReadFlags(info);
    if (status < 0) return status;
    SourceReader& source = header.source();
    info->PacketLength = source.ReadCoded(PacketLengthType(info->LengthTypeFlags));
    // The packet's own length counts, also where the established one was clamped.
    *packetLen = info->PacketLength != 0 ? info->PacketLength : m_objFileProperties.minPacketSize;
    header.AdoptLength(info->PacketLength, "ParseDataPacket");
    info->Sequence = source.ReadCoded(SequenceType(info->LengthTypeFlags));
    info->PaddingLength = source.ReadCoded(PaddingLengthType(info->LengthTypeFlags));
    unsigned char times[sizeof(info->SendTime) + sizeof(info->Duration)];
    const int timesStatus = source.Read(times, sizeof(times));
    if (timesStatus < 0) return timesStatus;
    info->SendTime = LoadLe32(times);
    info->Duration = LoadLe16(times + sizeof(info->SendTime));
    return kParserOk;
  });
}

int ASFParser::SetDataPacketLen() {
  return m_Barrier.Run([this] {
    m_CurPos = m_StartPosOfDataPackets;
    LOG_TRACE("[%s] in >> SetDataPacketLen  m_CurPos = (%llu) m_CurDataPacketLen = (%u)", getName(),
              m_CurPos, m_CurDataPacketLen);
    PacketHeader header(*this);
    payload_parsing_info info{};
    const int status = header.ReadFlags(&info);
    if (status < 0) return status;
    header.AdoptLength(header.source().ReadCoded(PacketLengthType(info.LengthTypeFlags)),
                       "SetDataPacketLen");
    LOG_TRACE("[%s] out >> SetDataPacketLen  m_CurDataPacketLen = (%u)", getName(),
              m_CurDataPacketLen);
    return 1;
  });
}

// The first byte always counts as error correction flags, and two bytes of error
// correction data are taken for granted: a packet without any is misread by one
// byte. Kept so: files of such packets would yield other units than they do.
int ASFParser::PacketHeader::ReadFlags(payload_parsing_info* info) {
  const unsigned long long start = m_Parser.m_CurPos;
  if (start >= EndOfData()) {
    LOG_TRACE("[%s] ParseDataPacket  End Of Data", m_Parser.getName());
    return kParserEndOfStream;
  }
  unsigned char errorCorrection[kErrorCorrectionBytes];
  unsigned long long got;
  int status = m_Source.ReadAt(start, errorCorrection, 1, &got);
  if (status < 0) return status;
  if (got == 0) return kParserEndOfStream;  // the file ends before its data does
  const unsigned char flags = errorCorrection[0];
  if ((flags & kErrorCorrectionPresent) != 0) {
    status = m_Source.ReadAt(start, errorCorrection, sizeof(errorCorrection));
    if (status < 0) return status;
  }
  if ((flags & kOpaqueDataPresent) != 0) {
    LOG_ERROR("[%s] ParseDataPacket : Opaque Data Present", m_Parser.getName());
  }
  unsigned char typeFlags[2];
  status = m_Source.Read(typeFlags, sizeof(typeFlags));
  if (status < 0) return status;
  info->LengthTypeFlags = typeFlags[0];
  info->PropertyFlags = typeFlags[1];
  return kParserOk;
}

void ASFParser::PacketHeader::AdoptLength(unsigned int declared, const char* operation) {
  const unsigned int min = m_Parser.m_objFileProperties.minPacketSize;
  const unsigned int length =
      BoundedPacketLength(declared, min, m_Parser.m_objFileProperties.maxPacketSize);
  unsigned int* established = &m_Parser.m_CurDataPacketLen;
  const bool clamped = declared != 0 && declared != length;
  if (clamped || *established == 0 || *established == length) {
    *established = length;
  } else {
    LOG_ERROR("[%s] %s : Wrong Pakcet Len Info.", m_Parser.getName(), operation);
  }
}

// Where the data object ends; 0, so that no packet lies before it, when the sum
// wraps or the file is closed.
unsigned long long ASFParser::PacketHeader::EndOfData() const {
  unsigned long long end;
  const bool wraps = __builtin_add_overflow(m_Parser.m_objHeader.header.objectSize,
                                            m_Parser.m_objDataObject.header.objectSize, &end);
  return wraps || m_Parser.m_bClosed ? 0 : end;
}
