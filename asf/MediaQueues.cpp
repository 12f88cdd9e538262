// The queues of the current audio and video stream: what enters them by the
// exported operations, and every way in which an object leaves them.
//
// An access unit table belongs to the object at the front of its queue: whatever
// takes that object off empties the table with it.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Limits.h"

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
// compared with what is there, deliberately.
int ASFParser::AttachParsedMediaData(unsigned char stream, unsigned long, unsigned long len,
                                     unsigned char* data) {
  return m_Barrier.Run([=] {
    media_data* md = QueueOf(stream);
    if (md == nullptr || md->qData.empty()) return kParserInternal;
    QueuedMedia& last = md->qData.back();
    if (!CanJoin(last, len)) {
      const int joined = static_cast<int>(last.DataLen + len);
      if (md == &m_AudioData) {
        LOG_ERROR(
            "[%s] AttachParsedMediaData new[] alloc. (storedData.DataLen + len) trouble - a (%d)",
            getName(), joined);
      } else {
        LOG_ERROR(
            "[%s] AttachParsedMediaData new[] alloc. (storedData.DataLen + len) trouble - v (%d)",
            getName(), joined);
      }
      return kParserOutOfRange;
    }
    const auto length = static_cast<unsigned int>(len);
    last.Reserve(last.DataLen + length);
    if (length != 0) std::memcpy(last.pData + last.DataLen, data, length);
    last.DataLen += length;
    return kParserOk;
  });
}

// Whether an object may grow by `len` bytes: to 1 to kMaxAllocBytes.
bool ASFParser::CanJoin(const QueuedMedia& last, unsigned long len) const {
  return last.DataLen <= kMaxAllocBytes && len <= kMaxAllocBytes - last.DataLen &&
         last.DataLen + len != 0;
}

void ASFParser::RemoveFrontAudio() {
  m_MediaPool.RecycleFront(&m_AudioData.qData);
  m_vAudFrameLocDataObject.Clear();
  m_AudFrameTableState = 0;
}

void ASFParser::RemoveFrontVideo() {
  m_MediaPool.RecycleFront(&m_VideoData.qData);
  m_vMultiFrameDataObject.Clear();
  m_VidFrameTableState = 0;
}

void ASFParser::DropAudioObjects() {
  while (!m_AudioData.qData.empty()) RemoveFrontAudio();
}

void ASFParser::DropVideoObjects() {
  while (!m_VideoData.qData.empty()) RemoveFrontVideo();
}
