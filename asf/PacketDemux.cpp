// The demultiplexer: walks the payloads of one data packet and queues the media
// objects of the current audio and video stream.
//
// A fragment is read straight behind what its object has so far, so that a media
// object's bytes are copied once on their way into the queue. The walk over the
// same payloads that only asks for their time is in PacketTime.cpp.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Limits.h"
#include "asf/format/StartCode.h"

namespace {

constexpr int kSkipNothing = -1;

}  // namespace

int ASFParser::ParseDataPacket(unsigned long packetNum, int mode) {
  return m_Barrier.Run([=] {
    DemuxRules rules{kSkipNothing, 1, true, true};
    if (mode == kTrackVideo) rules.skippedStream = m_AudioData.StreamNumber;
    if (mode == kTrackAudio) rules.skippedStream = m_VideoData.StreamNumber;
    return DemuxPacket(packetNum, rules);
  });
}

int ASFParser::ParseDataPacket(unsigned long packetNum) {
  return m_Barrier.Run([=] {
    return DemuxPacket(packetNum, DemuxRules{kSkipNothing, 0x80, false, false});
  });
}

[[gnu::flatten]] int ASFParser::DemuxPacket(unsigned long packetNum, const DemuxRules& rules) {
  PacketCursor packet;
  int status = BeginPacket(packetNum, &packet);
  for (unsigned int k = 0; status >= 0 && k < packet.payloads; ++k) {
    status = DemuxNextPayload(packet, rules);
  }
  if (status < 0) return status;
  static_cast<void>(Source().Skip(packet.info.PaddingLength));
  return kParserOk;
}

int ASFParser::DemuxNextPayload(const PacketCursor& packet, const DemuxRules& rules) {
  payload_header header;
  SourceReader source = Source();
  const int status = source.Read(&header.StreamNumber, sizeof(header.StreamNumber));
  if (status < 0) return status;
  return ReadPayloadFields(&source, packet.info.PropertyFlags, &header)
             ? DemuxCompressed(packet, header, rules)
             : DemuxPayload(packet, header, rules);
}

int ASFParser::DemuxPayload(const PacketCursor& packet, const payload_header& header,
                            const DemuxRules& rules) {
  if (!IsAllocatable(header.ReplicatedDataLength)) {
    LOG_ERROR("[%s] ParseDataPacket new[] alloc. size trouble (%lu)", getName(),
              static_cast<unsigned long>(header.ReplicatedDataLength));
    return kParserOutOfRange;
  }
  SourceReader source = Source();
  unsigned int presentationTime;
  int status = ReadPresentationTime(&source, header.ReplicatedDataLength, &presentationTime);
  if (status < 0) {
    if (rules.logsFailures) LOG_ERROR("[%s] ParseDataPacket payload read fail ", getName());
    return status;
  }
  unsigned int length;
  status = ReadPayloadLength(packet, &length);
  if (status < 0) return status;
  if (!IsAllocatable(length)) {
    LOG_ERROR("[%s] ParseDataPacket new[] alloc. payloadLen trouble (%d)", getName(),
              static_cast<int>(length));
    return kParserOutOfRange;
  }
  if (StreamOf(header) == rules.skippedStream) return SkipBody(length, rules);
  return TakeBody(header, WithoutPreroll(presentationTime), length, rules);
}

int ASFParser::SkipBody(unsigned int length, const DemuxRules& rules) {
  const int status = Source().Skip(length);
  if (status < 0) {
    if (rules.logsFailures) LOG_ERROR("[%s] ParseDataPacket  set pos fail ", getName());
    return status;
  }
  m_LastPayloadLen = length;
  return kParserOk;
}

int ASFParser::TakeBody(const payload_header& header, unsigned int timeMs, unsigned int length,
                        const DemuxRules& rules) {
  media_data* stream = QueueOf(StreamOf(header));
  const bool joins = header.OffsetIntoMediaObject != 0 && stream != nullptr &&
                     !stream->qData.empty() && CanJoin(stream->qData.back(), length);
  return joins ? JoinBody(stream, header, timeMs, length, rules)
               : TakeNewBody(stream, header, timeMs, length, rules);
}

// Reads a fragment behind the bytes that the last queued object has.
int ASFParser::JoinBody(media_data* stream, const payload_header& header, unsigned int timeMs,
                        unsigned int length, const DemuxRules& rules) {
  QueuedMedia& last = stream->qData.back();
  last.Reserve(last.DataLen + length);
  unsigned char* tail = last.pData + last.DataLen;
  unsigned int got;
  const int status = ReadBody(tail, length, rules, &got);
  if (status < 0) return status;
  if (got < length) last.NoteShort();
  const unsigned int stripped = SequenceHeaderBytes(header, tail, got);
  if (stripped == 0) {
    last.DataLen += got;
    return kParserOk;
  }
  // A frame of its own began in this fragment, whatever its offset says.
  MediaQueue fresh = m_MediaPool.Take(got - stripped);
  std::memcpy(fresh.front().pData, tail + stripped, got - stripped);
  return QueueFrame(stream, header, timeMs, got - stripped, rules, &fresh);
}

// Reads a payload into a buffer of its own: a new object, or a fragment that has
// nothing to be joined to or would make its object too large.
int ASFParser::TakeNewBody(media_data* stream, const payload_header& header, unsigned int timeMs,
                           unsigned int length, const DemuxRules& rules) {
  MediaQueue fresh = m_MediaPool.Take(length);
  QueuedMedia& object = fresh.front();
  unsigned int got;
  const int status = ReadBody(object.pData, length, rules, &got);
  if (status < 0) return status;
  if (got < length) object.NoteShort();
  unsigned char* body = object.pData;
  const unsigned int stripped = SequenceHeaderBytes(header, body, got);
  if (stripped != 0) {
    std::memmove(body, body + stripped, got - stripped);
    return QueueFrame(stream, header, timeMs, got - stripped, rules, &fresh);
  }
  const bool orphan = stream != nullptr && stream->qData.empty();
  if (header.OffsetIntoMediaObject == 0 || (orphan && !rules.dropsOrphans)) {
    return QueueObject(stream, header, timeMs, got, rules, &fresh);
  }
  if (orphan) {
    LOG_TRACE("[%s] ParseDataPacket MO_OFFSET (%d) Dont create new MO", getName(),
              static_cast<int>(header.OffsetIntoMediaObject));
  } else {
    // Refused where the object would grow too large: it stays as it is.
    static_cast<void>(
        AttachParsedMediaData(StreamOf(header), header.OffsetIntoMediaObject, got, body));
  }
  m_MediaPool.Recycle(&fresh);
  return kParserOk;
}

// A body of which not one byte can be read ends the packet.
int ASFParser::ReadBody(unsigned char* out, unsigned int length, const DemuxRules& rules,
                        unsigned int* got) {
  unsigned long long brought;
  const int status = Source().ReadBody(out, length, &brought);
  if (status < 0) {
    if (rules.logsFailures) {
      LOG_ERROR("[%s] ParseDataPacket read fail ret (%ld)", getName(), static_cast<long>(status));
    }
    return status;
  }
  m_LastPayloadLen = brought;
  *got = static_cast<unsigned int>(brought);
  return brought == 0 ? kParserEndOfStream : kParserOk;
}

// How many bytes in front of a video payload are a VC-1 sequence header with all
// up to and including the frame start code behind it; 0 = none.
unsigned int ASFParser::SequenceHeaderBytes(const payload_header& header, const unsigned char* data,
                                            unsigned int length) const {
  if (StreamOf(header) != m_VideoData.StreamNumber || length < kStartCodeBytes ||
      !IsStartCode(data, kVc1SequenceHeader)) {
    return 0;
  }
  const std::size_t end = PositionsBeforeLast(length);
  const std::size_t frame = FindStartCode(data, 0, end, kVc1Frame);
  return frame != end ? static_cast<unsigned int>(frame + kStartCodeBytes) : 0;
}

// Queues a frame that a sequence header stood in front of.
int ASFParser::QueueFrame(media_data* stream, const payload_header& header, unsigned int timeMs,
                          unsigned int length, const DemuxRules& rules, MediaQueue* fresh) {
  if (!IsAllocatable(length)) {
    LOG_ERROR("[%s] ParseDataPacket new[] alloc. dataLen trouble (%d)", getName(),
              static_cast<int>(length));
    return kParserOutOfRange;
  }
  return QueueObject(stream, header, timeMs, length, rules, fresh);
}

// Queues the one element of `fresh`; a stream without a queue gives it back.
int ASFParser::QueueObject(media_data* stream, const payload_header& header, unsigned int timeMs,
                           unsigned int length, const DemuxRules& rules, MediaQueue* fresh) {
  if (stream == nullptr) {
    m_MediaPool.Recycle(fresh);
    return kParserOk;
  }
  QueuedMedia& object = fresh->front();
  object.bKeyFrame = IsKeyFrame(header) ? rules.keyMark : 0;
  object.TimeStamp = timeMs;
  object.DataLen = length;
  if (!stream->qData.empty()) stream->qData.back().Settle();
  stream->qData.splice(stream->qData.end(), *fresh);
  return kParserOk;
}

// A compressed payload: small objects one behind the other, each with a length
// byte, a fixed time apart.
int ASFParser::DemuxCompressed(const PacketCursor& packet, const payload_header& header,
                               const DemuxRules& rules) {
  SourceReader source = Source();
  unsigned char deltaMs;
  int status = source.Read(&deltaMs, sizeof(deltaMs));
  if (status < 0) return status;
  // Not clamped at 0, unlike that of an ordinary payload: wraps in 32 bits.
  unsigned int timeMs =
      header.OffsetIntoMediaObject - static_cast<unsigned int>(m_objFileProperties.preroll);
  unsigned int length;
  status = ReadPayloadLength(packet, &length);
  if (status < 0) return status;
  for (unsigned long long consumed = 0; consumed < length; timeMs += deltaMs) {
    unsigned char size;
    status = source.Read(&size, sizeof(size));
    if (status < 0) return status;
    if (size == 0) {
      LOG_ERROR("[%s] ParseDataPacket new[] alloc. size trouble - 2 (%lu)", getName(), 0ul);
      return kParserOutOfRange;
    }
    status = StreamOf(header) == rules.skippedStream ? SkipBody(size, rules)
                                                     : TakeSubPayload(header, timeMs, size, rules);
    if (status < 0) return status;
    consumed += size + 1u;
  }
  return kParserOk;
}

int ASFParser::TakeSubPayload(const payload_header& header, unsigned int timeMs,
                              unsigned int length, const DemuxRules& rules) {
  MediaQueue fresh = m_MediaPool.Take(length);
  unsigned long long got;
  const int status = Source().ReadBody(fresh.front().pData, length, &got);
  if (status < 0) return status;
  m_LastPayloadLen = got;
  if (got == 0) return kParserEndOfStream;
  return QueueObject(QueueOf(StreamOf(header)), header, timeMs, static_cast<unsigned int>(got),
                     rules, &fresh);
}
