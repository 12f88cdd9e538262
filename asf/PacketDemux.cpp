// The demultiplexer: walks the payloads of one data packet and queues the media
// objects of the current audio and video stream.
//
// A fragment is read straight behind what its object has so far, so that a media
// object's bytes are copied once on their way into the queue. The walk over the
// same payloads that only asks for their time is in PacketTime.cpp.
#include "asf/Log.h"
#include "asf/PacketCursor.h"
#include "asf/format/Limits.h"
#include "asf/format/StartCode.h"

namespace {

// How the demultiplexer treats what it meets.
struct DemuxRules {
  int skippedStream;      // stream number whose payloads are skipped
  unsigned char keyMark;  // what a key frame is marked with
  bool logsFailures;      // prints failed reads and seeks
  bool dropsOrphans;      // drops a fragment whose object never began
};

constexpr int kSkipNothing = -1;  // no stream number

}  // namespace

// One packet, and the payload in hand.
class ASFParser::Demuxer {
 public:
  Demuxer(ASFParser& parser, const DemuxRules& rules)
      : m_Parser(parser), m_Rules(rules), m_Source(parser.Source()), m_Packet(parser) {}

  // Walks a packet: 0, kParserEndOfStream, kParserOutOfRange or the source's failure.
  static int Walk(ASFParser& parser, unsigned long packetNum, const DemuxRules& rules);

 private:
  int Run(unsigned long packetNum);
  int TakePayload();
  int TakeOrdinary();
  int TakeCompressed();
  int TakeSubPayload(unsigned int length);

  int SkipBody(unsigned int length);
  int TakeBody(unsigned int length);
  int JoinBody(unsigned int length);
  int TakeNewBody(unsigned int length);
  int ReadBody(unsigned char* out, unsigned int length, unsigned int* got);
  unsigned int SequenceHeaderBytes(const unsigned char* data, unsigned int length) const;

  int QueueFrame(unsigned int length, MediaQueue* fresh);
  int QueueObject(unsigned int length, MediaQueue* fresh);

  ASFParser& m_Parser;
  const DemuxRules& m_Rules;
  SourceReader m_Source;
  PacketCursor m_Packet;
  // The payload in hand: its header, where its objects go (null: nowhere), and their
  // time in ms.
  payload_header m_Header;
  media_data* m_Stream;
  unsigned int m_TimeMs;
};

int ASFParser::ParseDataPacket(unsigned long packetNum, int mode) {
  return m_Barrier.Run([=] {
    DemuxRules rules{kSkipNothing, 1, true, true};
    if (mode == kTrackVideo) rules.skippedStream = m_AudioData.StreamNumber;
    if (mode == kTrackAudio) rules.skippedStream = m_VideoData.StreamNumber;
    return Demuxer::Walk(*this, packetNum, rules);
  });
}

int ASFParser::ParseDataPacket(unsigned long packetNum) {
  return m_Barrier.Run([=] {
    return Demuxer::Walk(*this, packetNum, {kSkipNothing, 0x80, false, false});
  });
}

// Inlined whole, since all play-out passes here: what the walk holds then stays in
// registers between its calls on the source, a fifth of its instructions less.
[[gnu::flatten]] int ASFParser::Demuxer::Walk(ASFParser& parser, unsigned long packetNum,
                                              const DemuxRules& rules) {
  return Demuxer(parser, rules).Run(packetNum);
}

int ASFParser::Demuxer::Run(unsigned long packetNum) {
  int status = m_Packet.Begin(packetNum);
  for (unsigned int k = 0; status >= 0 && k < m_Packet.payloads(); ++k) status = TakePayload();
  if (status < 0) return status;
  m_Packet.SkipPadding();
  m_Parser.m_CurPos = m_Packet.End();
  return kParserOk;
}

int ASFParser::Demuxer::TakePayload() {
  const int status = m_Packet.ReadStream(&m_Header);
  if (status < 0) return status;
  return m_Packet.ReadFields(&m_Header) ? TakeCompressed() : TakeOrdinary();
}

int ASFParser::Demuxer::TakeOrdinary() {
  if (!IsAllocatable(m_Header.ReplicatedDataLength)) {
    LOG_ERROR("[%s] ParseDataPacket new[] alloc. size trouble (%lu)", m_Parser.getName(),
              static_cast<unsigned long>(m_Header.ReplicatedDataLength));
    return kParserOutOfRange;
  }
  unsigned int presentationTime;
  int status = ReadPresentationTime(&m_Source, m_Header.ReplicatedDataLength, &presentationTime);
  if (status < 0) {
    if (m_Rules.logsFailures) {
      LOG_ERROR("[%s] ParseDataPacket payload read fail ", m_Parser.getName());
    }
    return status;
  }
  unsigned int length;
  status = m_Packet.ReadPayloadLength(&length);
  if (status < 0) return status;
  if (!IsAllocatable(length)) {
    LOG_ERROR("[%s] ParseDataPacket new[] alloc. payloadLen trouble (%d)", m_Parser.getName(),
              static_cast<int>(length));
    return kParserOutOfRange;
  }
  if (StreamOf(m_Header) == m_Rules.skippedStream) return SkipBody(length);
  m_TimeMs = WithoutPreroll(presentationTime, m_Parser.m_objFileProperties.preroll);
  return TakeBody(length);
}

int ASFParser::Demuxer::SkipBody(unsigned int length) {
  const int status = m_Source.Skip(length);
  if (status < 0) {
    if (m_Rules.logsFailures) LOG_ERROR("[%s] ParseDataPacket  set pos fail ", m_Parser.getName());
    return status;
  }
  m_Parser.m_LastPayloadLen = length;
  return kParserOk;
}

int ASFParser::Demuxer::TakeBody(unsigned int length) {
  m_Stream = m_Parser.QueueOf(StreamOf(m_Header));
  const bool joins = m_Header.OffsetIntoMediaObject != 0 && m_Stream != nullptr &&
                     !m_Stream->qData.empty() && m_Stream->qData.back().CanGrowBy(length);
  return joins ? JoinBody(length) : TakeNewBody(length);
}

// Reads a fragment behind the bytes that the last queued object has.
int ASFParser::Demuxer::JoinBody(unsigned int length) {
  QueuedMedia& last = m_Stream->qData.back();
  last.Reserve(last.DataLen + length);
  unsigned char* tail = last.bytes() + last.DataLen;
  unsigned int got;
  const int status = ReadBody(tail, length, &got);
  if (status < 0) return status;
  if (got < length) last.NoteShort();
  const unsigned int stripped = SequenceHeaderBytes(tail, got);
  if (stripped == 0) {
    last.DataLen += got;
    return kParserOk;
  }
  // A frame of its own began in this fragment, whatever its offset says.
  MediaQueue fresh = m_Parser.PoolOf(m_Stream).Take(got - stripped);
  std::memcpy(fresh.front().pData, tail + stripped, got - stripped);
  return QueueFrame(got - stripped, &fresh);
}

// Reads a payload into a buffer of its own: a new object, or a fragment that has
// nothing to be joined to or would make its object too large.
int ASFParser::Demuxer::TakeNewBody(unsigned int length) {
  MediaQueue fresh = m_Parser.PoolOf(m_Stream).Take(length);
  QueuedMedia& object = fresh.front();
  unsigned int got;
  const int status = ReadBody(object.pData, length, &got);
  if (status < 0) return status;
  if (got < length) object.NoteShort();
  unsigned char* body = object.pData;
  const unsigned int stripped = SequenceHeaderBytes(body, got);
  if (stripped != 0) {
    std::memmove(body, body + stripped, got - stripped);
    return QueueFrame(got - stripped, &fresh);
  }
  const bool orphan = m_Stream != nullptr && m_Stream->qData.empty();
  if (m_Header.OffsetIntoMediaObject == 0 || (orphan && !m_Rules.dropsOrphans)) {
    return QueueObject(got, &fresh);
  }
  if (orphan) {
    LOG_TRACE("[%s] ParseDataPacket MO_OFFSET (%d) Dont create new MO", m_Parser.getName(),
              static_cast<int>(m_Header.OffsetIntoMediaObject));
  } else {
    // Refused where the object would grow too large: it stays as it is.
    static_cast<void>(m_Parser.AttachParsedMediaData(StreamOf(m_Header),
                                                     m_Header.OffsetIntoMediaObject, got, body));
  }
  m_Parser.PoolOf(m_Stream).Recycle(&fresh);
  return kParserOk;
}

// A body of which not one byte can be read ends the packet.
int ASFParser::Demuxer::ReadBody(unsigned char* out, unsigned int length, unsigned int* got) {
  unsigned long long brought;
  const int status = m_Source.ReadBody(out, length, &brought);
  if (status < 0) {
    if (m_Rules.logsFailures) {
      LOG_ERROR("[%s] ParseDataPacket read fail ret (%ld)", m_Parser.getName(),
                static_cast<long>(status));
    }
    return status;
  }
  m_Parser.m_LastPayloadLen = brought;
  *got = static_cast<unsigned int>(brought);
  return brought == 0 ? kParserEndOfStream : kParserOk;
}

// How many bytes in front of a video payload are a VC-1 sequence header with all
// up to and including the frame start code behind it; 0 = none.
unsigned int ASFParser::Demuxer::SequenceHeaderBytes(const unsigned char* data,
                                                     unsigned int length) const {
  if (StreamOf(m_Header) != m_Parser.m_VideoData.StreamNumber || length < kStartCodeBytes ||
      !IsStartCode(data, kVc1SequenceHeader)) {
    return 0;
  }
  const std::size_t end = PositionsBeforeLast(length);
  const std::size_t frame = FindStartCode(data, 0, end, kVc1Frame);
  return frame != end ? static_cast<unsigned int>(frame + kStartCodeBytes) : 0;
}

// Queues a frame that a sequence header stood in front of.
int ASFParser::Demuxer::QueueFrame(unsigned int length, MediaQueue* fresh) {
  if (!IsAllocatable(length)) {
    LOG_ERROR("[%s] ParseDataPacket new[] alloc. dataLen trouble (%d)", m_Parser.getName(),
              static_cast<int>(length));
    return kParserOutOfRange;
  }
  return QueueObject(length, fresh);
}

// Queues the one element of `fresh`; a stream without a queue gives it back.
int ASFParser::Demuxer::QueueObject(unsigned int length, MediaQueue* fresh) {
  if (m_Stream == nullptr) {
    m_Parser.PoolOf(m_Stream).Recycle(fresh);
    return kParserOk;
  }
  QueuedMedia& object = fresh->front();
  object.bKeyFrame = IsKeyFrame(m_Header) ? m_Rules.keyMark : 0;
  object.TimeStamp = m_TimeMs;
  object.DataLen = length;
  if (!m_Stream->qData.empty()) m_Stream->qData.back().Settle();
  m_Stream->qData.splice(m_Stream->qData.end(), *fresh);
  return kParserOk;
}

// A compressed payload: small objects one behind the other, each with a length
// byte, a fixed time apart.
int ASFParser::Demuxer::TakeCompressed() {
  unsigned char deltaMs;
  int status = m_Source.Read(&deltaMs, sizeof(deltaMs));
  if (status < 0) return status;
  // Not clamped at 0, unlike that of an ordinary payload: wraps in 32 bits.
  m_TimeMs = m_Header.OffsetIntoMediaObject -
             static_cast<unsigned int>(m_Parser.m_objFileProperties.preroll);
  m_Stream = m_Parser.QueueOf(StreamOf(m_Header));
  unsigned int length;
  status = m_Packet.ReadPayloadLength(&length);
  if (status < 0) return status;
  for (unsigned long long consumed = 0; consumed < length; m_TimeMs += deltaMs) {
    unsigned char size;
    status = m_Source.Read(&size, sizeof(size));
    if (status < 0) return status;
    if (size == 0) {
      LOG_ERROR("[%s] ParseDataPacket new[] alloc. size trouble - 2 (%lu)", m_Parser.getName(),
                0ul);
      return kParserOutOfRange;
    }
    const bool skips = StreamOf(m_Header) == m_Rules.skippedStream;
    status = skips ? SkipBody(size) : TakeSubPayload(size);
    if (status < 0) return status;
    consumed += size + 1u;
  }
  return kParserOk;
}

int ASFParser::Demuxer::TakeSubPayload(unsigned int length) {
  MediaQueue fresh = m_Parser.PoolOf(m_Stream).Take(length);
  unsigned long long got;
  const int status = m_Source.ReadBody(fresh.front().pData, length, &got);
  if (status < 0) return status;
  m_Parser.m_LastPayloadLen = got;
  if (got == 0) return kParserEndOfStream;
  return QueueObject(static_cast<unsigned int>(got), &fresh);
}
