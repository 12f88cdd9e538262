// The queues of the current audio and video stream, as the exported operations
// fill them.
#include "asf/ASFParser.h"
#include "asf/Log.h"

// Audio is asked first; a number that matches neither stream has no queue.
media_data* ASFParser::QueueOf(unsigned char stream) {
  if (stream == m_AudioData.StreamNumber) return &m_AudioData;
  if (stream == m_VideoData.StreamNumber) return &m_VideoData;
  return nullptr;
}

int ASFParser::PushParsedMediaData(unsigned char stream, unsigned long timeStamp, unsigned long len,
                                   unsigned char* data, unsigned char keyFrame) {
  return m_Barrier.Run([=] {
    media_data* md = QueueOf(stream);
    if (md == nullptr) return kParserInternal;
    QueuedMedia& object = md->qData.emplace_back();
    object.Adopt(data, static_cast<unsigned int>(len));
    object.bKeyFrame = keyFrame;
    object.TimeStamp = static_cast<unsigned int>(timeStamp);
    return kParserOk;
  });
}

bool ASFParser::IsEmptyMediaData(unsigned char stream) {
  const media_data* md = QueueOf(stream);
  return md != nullptr && md->qData.empty();
}

// Fragments are joined in the order in which they arrive; their offset is not
// compared with what is there. Kept so: an object that lost a fragment would not be
// handed out at all.
int ASFParser::AttachParsedMediaData(unsigned char stream, unsigned long, unsigned long len,
                                     unsigned char* data) {
  return m_Barrier.Run([=] {
    media_data* md = QueueOf(stream);
    if (md == nullptr || md->qData.empty()) return kParserInternal;
    QueuedMedia& last = md->qData.back();
    if (!last.CanGrowBy(len)) {
      const int joined = static_cast<int>(last.DataLen + len);
      LOG_ERROR(
          "[%s] AttachParsedMediaData new[] alloc. (storedData.DataLen + len) trouble - %c (%d)",
          getName(), md == &m_AudioData ? 'a' : 'v', joined);
      return kParserOutOfRange;
    }
    const auto length = static_cast<unsigned int>(len);
    last.Reserve(last.DataLen + length);
    if (length != 0) std::memcpy(last.bytes() + last.DataLen, data, length);
    last.DataLen += length;
    return kParserOk;
  });
}
