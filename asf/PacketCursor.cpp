// Where a packet lies, how many payloads it has, how long a payload is.
#include "asf/PacketCursor.h"

int ASFParser::PacketCursor::Begin(unsigned long packetNum) {
  // A length of 0: there is packet 0 and no other.
  const bool exists = m_Parser.m_CurDataPacketLen != 0 || packetNum == 0;
  m_Start = exists ? SaturatingAdd(m_Parser.m_StartPosOfDataPackets,
                                   SaturatingMultiply(packetNum, m_Parser.m_CurDataPacketLen))
                   : kNowhere;
  m_Parser.m_CurPos = m_Start;
  int status = m_Parser.ParsePayloadParsingInfo(&m_Info, &m_PacketLen);
  if (status < 0) return status;
  unsigned long long position;
  status = m_Source.Position(&position);
  if (status < 0) return status;
  m_BehindHeader = m_PacketLen - static_cast<unsigned int>(position - m_Start);
  m_Parser.m_CurPos = position;
  m_Multiple = HasMultiplePayloads(m_Info.LengthTypeFlags);
  m_Payloads = 1;
  if (!m_Multiple) return kParserOk;
  unsigned char payloadFlags = 0;
  status = m_Source.Read(&payloadFlags, sizeof(payloadFlags));
  m_Payloads = PayloadCount(payloadFlags);
  m_PayloadLenType = PayloadLengthType(payloadFlags);
  return status;
}

// A single payload fills the packet up to its padding; in 32 bits, whatever the
// packet's length is worth.
int ASFParser::PacketCursor::ReadPayloadLength(unsigned int* length) {
  if (m_Multiple) {
    *length = m_Source.ReadCoded(m_PayloadLenType);
    return kParserOk;
  }
  unsigned long long position;
  const int status = m_Source.Position(&position);
  if (status < 0) return status;
  *length = m_BehindHeader - static_cast<unsigned int>(position - m_Parser.m_CurPos) -
            m_Info.PaddingLength;
  m_Parser.m_CurPos = position;
  return kParserOk;
}
