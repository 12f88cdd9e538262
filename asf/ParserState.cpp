// Life cycle and plain state: construction, Close, and the operations that only
// hand out what others have set.
#include <climits>
#include <cstdlib>

#include "asf/Globals.h"
#include "asf/Lane.h"
#include "asf/Log.h"

namespace {

// The property as atoi reads it; a number beyond int is clamped.
int ReadDebugLevel() {
  char value[kPropertyValueBytes] = {};
  property_get("qocp.debug.level", value, "1");
  const long level = std::strtol(value, nullptr, 10);
  if (level > INT_MAX) return INT_MAX;
  return level < INT_MIN ? INT_MIN : static_cast<int>(level);
}

// Takes the elements off the back of `records`, releasing each.
template <typename Record>
void ReleaseAll(std::vector<Record*>* records) {
  while (!records->empty()) {
    Release(records->back());
    records->pop_back();
  }
}

template <typename Record>
void ReleaseAndClear(Record** record) {
  Release(*record);
  *record = nullptr;
}

}  // namespace

ASFParser::ASFParser() {
  debug_level.store(ReadDebugLevel(), std::memory_order_relaxed);
  LOG_LIFECYCLE("[%s] ASFParser::ASFParser()", getName());
}

ASFParser::~ASFParser() { LOG_LIFECYCLE("[%s] ASFParser::~ASFParser()", "ASFParser"); }

int ASFParser::Close() {
  if (m_pDataSource != nullptr) {
    // Neither its result nor an exception keeps Close from freeing the rest.
    static_cast<void>(m_Barrier.Run([this] { return m_pDataSource->Close(); }));
  }
  while (!m_vMediaData.empty()) {
    delete m_vMediaData.back();
    m_vMediaData.pop_back();
  }
  ReleaseAll(&m_vStreamProperties);
  delete[] m_objHeaderExtension.data;
  m_objHeaderExtension.data = nullptr;
  ReleaseAll(&m_vSimpleIndex);
  m_IndexBytes = 0;
  m_pSimpleIndex = nullptr;
  ReleaseAndClear(&m_pExtensionRecord);
  ReleaseAndClear(&m_objContentDescription);
  ReleaseAndClear(&m_pExtContentDescription);
  ReleaseAndClear(&m_pMetadataObject);
  ReleaseAndClear(&m_pMetadataLibraryObject);
  ReleaseTrackRecords();
  ReleaseTags();
  Lane(*this, kTrackAudio).RemoveAll();
  Lane(*this, kTrackVideo).RemoveAll();
  m_vAudFrameLocDataObject.Free();
  m_vMultiFrameDataObject.Free();
  m_AudioPool.Clear();
  m_VideoPool.Clear();
  m_bClosed = true;
  return kParserOk;
}

void ASFParser::ReleaseTrackRecords() {
  delete m_pExtraInterface;
  m_pExtraInterface = nullptr;
  delete[] m_pTrackInfo;
  m_pTrackInfo = nullptr;
  m_TrackRecords = 0;
}

void ASFParser::ReleaseTags() {
  ReleaseAndClear(&m_pMetaInfo);
  ReleaseAndClear(&m_pTaggedDescription);
}

unsigned int ASFParser::GetTrackCount() {
  return static_cast<unsigned int>(m_vStreamProperties.size());
}

int ASFParser::GetDurationMs(unsigned long* durationMs) {
  const unsigned long long total = m_objFileProperties.playDuration / 10000;
  const unsigned long long preroll = m_objFileProperties.preroll;
  *durationMs = total > preroll ? total - preroll : 0;
  return kParserOk;
}

const char* ASFParser::getName() { return "ASFParser"; }

AsfTrackExt* ASFParser::getExtraInterface() { return m_pExtraInterface; }

int ASFParser::SetConfig() { return 0; }

int ASFParser::Notify(unsigned short, unsigned long) { return 0; }

long long ASFParser::GetNextVideoKeyFrameTime(unsigned long) { return 0; }

int ASFParser::GetStartPacketNum(unsigned long, int) { return 0; }

// The one accessor that ends the process: an index beyond the sequence means
// that the host asked for a track that the file doesn't have.
const asf_stream_properties_object& ASFParser::StreamAt(unsigned long index,
                                                        const char* operation) const {
  if (index >= m_vStreamProperties.size()) {
    __android_log_assert("index>=size()", kLogTag, "%s: index=%u out of range (%u)", operation,
                         static_cast<unsigned int>(index),
                         static_cast<unsigned int>(m_vStreamProperties.size()));
  }
  return *m_vStreamProperties[index];
}
