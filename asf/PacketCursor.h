// A data packet being walked: what both walks over its payloads share.
#ifndef QO_ASF_PACKETCURSOR_H
#define QO_ASF_PACKETCURSOR_H

#include "asf/ASFParser.h"
#include "asf/format/Arithmetic.h"

// Begin first; then, for each of payloads(), ReadStream and ReadFields, what stands
// behind them, and the body; SkipPadding at the end.
class ASFParser::PacketCursor {
 public:
  explicit PacketCursor(ASFParser& parser) : m_Parser(parser), m_Source(parser.Source()) {}

  // Goes to a packet and reads up to its first payload. 0, kParserEndOfStream, or the
  // source's failure.
  int Begin(unsigned long packetNum);

  // How many payloads the packet says that it has.
  unsigned int payloads() const { return m_Payloads; }

  // Reads a payload's stream number; 0, or the source's failure.
  int ReadStream(payload_header* header) {
    unsigned char stream;
    const int status = m_Source.Read(&stream, sizeof(stream));
    header->StreamNumber = stream;
    return status;
  }
  // Reads the coded fields behind it. True: the payload is compressed.
  bool ReadFields(payload_header* header) {
    return ReadPayloadFields(&m_Source, m_Info.PropertyFlags, header);
  }
  // Reads where the payload states its length, works it out where it doesn't. 0, or
  // the source's failure.
  int ReadPayloadLength(unsigned int* length);

  // Goes behind the padding. Whether the source can doesn't matter.
  void SkipPadding() { static_cast<void>(m_Source.Skip(m_Info.PaddingLength)); }

  // Where the packet ends by the length that governs it.
  unsigned long long End() const { return SaturatingAdd(m_Start, m_PacketLen); }

 private:
  ASFParser& m_Parser;
  SourceReader m_Source;
  payload_parsing_info m_Info;
  unsigned long long m_Start;   // file offset
  unsigned int m_PacketLen;     // bytes, by the packet itself
  unsigned int m_BehindHeader;  // bytes of the packet behind its header
  unsigned int m_Payloads;
  unsigned int m_PayloadLenType;  // length type of payload lengths
  bool m_Multiple;                // has payload flags, and so payload lengths
};

#endif  // QO_ASF_PACKETCURSOR_H
