// The packet time probe: walks the payload headers of one data packet for the
// time of the first payload that a seek may restart from.
//
// The same walk as the demultiplexer's in PacketDemux.cpp, but bodies are stepped
// over, nothing is queued and no cursor of the delivery moves.
#include <optional>

#include "asf/Log.h"
#include "asf/PacketCursor.h"
#include "asf/format/Limits.h"

// One packet, and the payload in hand. What its steps return is the probe's result,
// or nothing when the next payload is to be asked.
class ASFParser::PacketProbe {
 public:
  PacketProbe(ASFParser& parser, int trackType)
      : m_Parser(parser), m_TrackType(trackType), m_Source(parser.Source()), m_Packet(parser) {}

  int Run(unsigned long packetNum);

 private:
  std::optional<int> AskPayload();
  std::optional<int> AskOrdinary();
  std::optional<int> AskCompressed();
  int StepOverSubPayloads(unsigned int deltaMs, unsigned int* timeMs);
  bool IsWanted() const;

  ASFParser& m_Parser;
  const int m_TrackType;
  SourceReader m_Source;
  PacketCursor m_Packet;
  payload_header m_Header{};
};

int ASFParser::GetPacketTime(unsigned long packetNum, int trackType) {
  return m_Barrier.Run([=] { return PacketProbe(*this, trackType).Run(packetNum); });
}

int ASFParser::PacketProbe::Run(unsigned long packetNum) {
  const int status = m_Packet.Begin(packetNum);
  if (status < 0) return status;
  for (unsigned int k = 0; k < m_Packet.payloads(); ++k) {
    const std::optional<int> result = AskPayload();
    if (result) return *result;
  }
  m_Packet.SkipPadding();
  return 0;
}

std::optional<int> ASFParser::PacketProbe::AskPayload() {
  const int status = m_Packet.ReadStream(&m_Header);
  if (status < 0) return status;
  if (m_TrackType == kTrackAudio && m_Packet.payloads() == 1 &&
      StreamOf(m_Header) == m_Parser.m_VideoData.StreamNumber) {
    LOG_TRACE("!Audio payload");
    return 0;
  }
  return m_Packet.ReadFields(&m_Header) ? AskCompressed() : AskOrdinary();
}

std::optional<int> ASFParser::PacketProbe::AskOrdinary() {
  if (!IsAllocatable(m_Header.ReplicatedDataLength)) {
    LOG_ERROR("[%s] GetPacketTime new[] alloc. size trouble (%lu)", m_Parser.getName(),
              static_cast<unsigned long>(m_Header.ReplicatedDataLength));
    return kParserOutOfRange;
  }
  unsigned int presentationTime;
  int status = ReadPresentationTime(&m_Source, m_Header.ReplicatedDataLength, &presentationTime);
  if (status < 0) return status;
  unsigned int length;
  status = m_Packet.ReadPayloadLength(&length);
  if (status < 0) return status;
  if (!IsAllocatable(length)) {
    LOG_ERROR("[%s] GetPacketTime new[] alloc. payloadLen trouble (%d)", m_Parser.getName(),
              static_cast<int>(length));
    return kParserOutOfRange;
  }
  status = m_Source.Skip(length);
  if (status < 0) return status;
  m_Parser.m_LastPayloadLen = length;
  if (IsWanted()) {
    return static_cast<int>(WithoutPreroll(presentationTime, m_Parser.m_objFileProperties.preroll));
  }
  if (m_TrackType == kTrackAudio) LOG_TRACE("!Audio payload");
  if (m_TrackType == kTrackVideo) LOG_TRACE("GetPacketTime !keyframe or !video payload");
  return std::nullopt;
}

// The time is the one behind the last sub-payload, not the first one's. Kept so:
// seeks over such packets land by it.
std::optional<int> ASFParser::PacketProbe::AskCompressed() {
  unsigned char deltaMs;
  int status = m_Source.Read(&deltaMs, sizeof(deltaMs));
  if (status < 0) return status;
  unsigned int timeMs =
      WithoutPreroll(m_Header.OffsetIntoMediaObject, m_Parser.m_objFileProperties.preroll);
  status = StepOverSubPayloads(deltaMs, &timeMs);
  if (status < 0) return status;
  if (IsWanted()) return static_cast<int>(timeMs);
  if (m_TrackType == kTrackAudio) LOG_ERROR("GetPacketTime [compressed payload]!Audio payload");
  if (m_TrackType == kTrackVideo) {
    LOG_ERROR("GetPacketTime [compressed payload] !keyframe or !video payload");
  }
  return std::nullopt;
}

int ASFParser::PacketProbe::StepOverSubPayloads(unsigned int deltaMs, unsigned int* timeMs) {
  unsigned int length;
  int status = m_Packet.ReadPayloadLength(&length);
  if (status < 0) return status;
  for (unsigned long long consumed = 0; consumed < length; *timeMs += deltaMs) {
    unsigned char size;
    status = m_Source.Read(&size, sizeof(size));
    if (status < 0) return status;
    if (size == 0) {
      LOG_ERROR("[%s] GetPacketTime new[] alloc. size trouble - 2 (%d)", m_Parser.getName(), 0);
      return kParserOutOfRange;
    }
    status = m_Source.Skip(size);
    if (status < 0) return status;
    consumed += size + 1u;
  }
  return kParserOk;
}

// Whether a seek may restart from this payload: for video, at a key frame.
bool ASFParser::PacketProbe::IsWanted() const {
  switch (m_TrackType) {
    case kTrackAudio:
      return StreamOf(m_Header) == m_Parser.m_AudioData.StreamNumber;
    case kTrackVideo:
      return IsKeyFrame(m_Header) && StreamOf(m_Header) == m_Parser.m_VideoData.StreamNumber;
    default:
      return false;
  }
}
