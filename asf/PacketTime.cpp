// The packet time probe: walks the payload headers of one data packet for the
// time of the first payload that a seek may restart from.
//
// The same walk as the demultiplexer's in PacketDemux.cpp, but bodies are stepped
// over, nothing is queued and no cursor of the delivery moves.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Limits.h"

int ASFParser::GetPacketTime(unsigned long packetNum, int trackType) {
  return m_Barrier.Run([=] {
    PacketCursor packet;
    const int status = BeginPacket(packetNum, &packet);
    if (status < 0) return status;
    for (unsigned int k = 0; k < packet.payloads; ++k) {
      const std::optional<int> result = ProbeNextPayload(packet, trackType);
      if (result) return *result;
    }
    static_cast<void>(Source().Skip(packet.info.PaddingLength));
    return 0;
  });
}

// The probe's result, or nothing when the next payload is to be asked.
std::optional<int> ASFParser::ProbeNextPayload(const PacketCursor& packet, int trackType) {
  payload_header header;
  SourceReader source = Source();
  const int status = source.Read(&header.StreamNumber, sizeof(header.StreamNumber));
  if (status < 0) return status;
  if (trackType == kTrackAudio && packet.payloads == 1 &&
      StreamOf(header) == m_VideoData.StreamNumber) {
    LOG_TRACE("!Audio payload");
    return 0;
  }
  return ReadPayloadFields(&source, packet.info.PropertyFlags, &header)
             ? ProbeCompressed(packet, header, trackType)
             : ProbePayload(packet, header, trackType);
}

std::optional<int> ASFParser::ProbePayload(const PacketCursor& packet, const payload_header& header,
                                           int trackType) {
  if (!IsAllocatable(header.ReplicatedDataLength)) {
    LOG_ERROR("[%s] GetPacketTime new[] alloc. size trouble (%lu)", getName(),
              static_cast<unsigned long>(header.ReplicatedDataLength));
    return kParserOutOfRange;
  }
  SourceReader source = Source();
  unsigned int presentationTime;
  int status = ReadPresentationTime(&source, header.ReplicatedDataLength, &presentationTime);
  if (status < 0) return status;
  unsigned int length;
  status = ReadPayloadLength(packet, &length);
  if (status < 0) return status;
  if (!IsAllocatable(length)) {
    LOG_ERROR("[%s] GetPacketTime new[] alloc. payloadLen trouble (%d)", getName(),
              static_cast<int>(length));
    return kParserOutOfRange;
  }
  status = source.Skip(length);
  if (status < 0) return status;
  m_LastPayloadLen = length;
  if (IsWanted(header, trackType)) return static_cast<int>(WithoutPreroll(presentationTime));
  if (trackType == kTrackAudio) LOG_TRACE("!Audio payload");
  if (trackType == kTrackVideo) LOG_TRACE("GetPacketTime !keyframe or !video payload");
  return std::nullopt;
}

// The time is the one behind the last sub-payload, not the first one's; kept so.
std::optional<int> ASFParser::ProbeCompressed(const PacketCursor& packet,
                                              const payload_header& header, int trackType) {
  unsigned char deltaMs;
  int status = Source().Read(&deltaMs, sizeof(deltaMs));
  if (status < 0) return status;
  unsigned int timeMs = WithoutPreroll(header.OffsetIntoMediaObject);
  unsigned int length;
  status = ReadPayloadLength(packet, &length);
  if (status < 0) return status;
  status = StepOverSubPayloads(length, deltaMs, &timeMs);
  if (status < 0) return status;
  if (IsWanted(header, trackType)) return static_cast<int>(timeMs);
  if (trackType == kTrackAudio) LOG_ERROR("GetPacketTime [compressed payload]!Audio payload");
  if (trackType == kTrackVideo) {
    LOG_ERROR("GetPacketTime [compressed payload] !keyframe or !video payload");
  }
  return std::nullopt;
}

int ASFParser::StepOverSubPayloads(unsigned int length, unsigned int deltaMs,
                                   unsigned int* timeMs) {
  SourceReader source = Source();
  for (unsigned long long consumed = 0; consumed < length; *timeMs += deltaMs) {
    unsigned char size;
    int status = source.Read(&size, sizeof(size));
    if (status < 0) return status;
    if (size == 0) {
      LOG_ERROR("[%s] GetPacketTime new[] alloc. size trouble - 2 (%d)", getName(), 0);
      return kParserOutOfRange;
    }
    status = source.Skip(size);
    if (status < 0) return status;
    consumed += size + 1u;
  }
  return kParserOk;
}

// Whether a seek may restart from this payload: for video, at a key frame.
bool ASFParser::IsWanted(const payload_header& header, int trackType) const {
  switch (trackType) {
    case kTrackAudio:
      return StreamOf(header) == m_AudioData.StreamNumber;
    case kTrackVideo:
      return IsKeyFrame(header) && StreamOf(header) == m_VideoData.StreamNumber;
    default:
      return false;
  }
}
