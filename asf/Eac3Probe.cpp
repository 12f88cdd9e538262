// The probe that tells E-AC-3 from AC-3 by the first audio payloads.
#include <algorithm>

#include "asf/Lane.h"
#include "asf/Log.h"
#include "asf/format/Limits.h"

namespace {

// The shortest piece that can hold an AC-3 sync word and what follows it.
constexpr unsigned int kAc3HeaderBytes = 7;

enum class Ac3Kind { kNone, kAc3, kEac3 };

// Looks for the first sync word, in either byte order, in the first `blockAlign`
// bytes. The bit stream identifier is taken from the same place in both.
Ac3Kind ScanForAc3(const QueuedMedia& object, unsigned int blockAlign) {
  const unsigned char* data = object.pData;
  const unsigned int length = std::min(blockAlign, object.DataLen);
  for (unsigned int i = 0; i + kAc3HeaderBytes <= length; ++i) {
    const bool sync =
        (data[i] == 0x0B && data[i + 1] == 0x77) || (data[i] == 0x77 && data[i + 1] == 0x0B);
    if (sync) return (data[i + 5] & 0x80) != 0 ? Ac3Kind::kEac3 : Ac3Kind::kAc3;
  }
  return Ac3Kind::kNone;
}

}  // namespace

// Objects that were queued before the probe stay, and are looked at once. What it
// queues itself it drops again, whichever way it ends.
class ASFParser::Eac3Probe {
 public:
  explicit Eac3Probe(ASFParser& parser)
      : m_Parser(parser), m_Lane(parser, kTrackAudio), m_FoundQueued(!m_Lane.Queue().empty()) {}
  ~Eac3Probe() {
    if (!m_FoundQueued) m_Lane.RemoveAll();
  }
  Eac3Probe(const Eac3Probe&) = delete;
  Eac3Probe& operator=(const Eac3Probe&) = delete;

  bool IsEac3(unsigned int blockAlign) {
    const Ac3Kind kind =
        m_FoundQueued ? ScanForAc3(m_Lane.Front(), blockAlign) : ReadPackets(blockAlign);
    return kind == Ac3Kind::kEac3;
  }

 private:
  // Reads packets from the first one on until one brings a sync word. Too small a
  // block align can hold none: the packets are read all the same. Sets m_bAudioEOS at
  // the end of the data and leaves it set.
  Ac3Kind ReadPackets(unsigned int blockAlign) {
    Ac3Kind kind = Ac3Kind::kNone;
    for (unsigned long packet = 0; packet < kMaxProbePackets && m_Lane.AtEnd() == 0; ++packet) {
      if (m_Parser.ParseDataPacket(packet, kTrackAudio) < 0) m_Lane.AtEnd() = 1;
      if (m_Lane.Queue().empty()) continue;
      kind = ScanForAc3(m_Lane.Front(), blockAlign);
      if (kind != Ac3Kind::kNone) break;
      m_Lane.RemoveAll();
    }
    return kind;
  }

  ASFParser& m_Parser;
  Lane m_Lane;
  const bool m_FoundQueued;
};

bool ASFParser::IsEAC3() {
  return m_Barrier.Run([this] {
    const auto index = static_cast<std::size_t>(m_AudioData.TrackIndex);
    return ProbeEAC3(index < m_TrackRecords ? m_pTrackInfo[index].blockAlign : 0);
  });
}

bool ASFParser::ProbeEAC3(unsigned int blockAlign) {
  const bool isEac3 = m_bAudioEOS == 0 && Eac3Probe(*this).IsEac3(blockAlign);
  LOG_TRACE("[%s] %s", "IsEAC3", isEac3 ? "EAC3" : "AC3");
  return isEac3;
}
