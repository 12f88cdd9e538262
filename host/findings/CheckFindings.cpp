// The making of findings: each code has one place here that says when it holds.
#include "host/findings/CheckFindings.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "asf/format/Arithmetic.h"
#include "asf/format/Records.h"
#include "host/header/FileProperties.h"

namespace qo_host {
namespace {

// A player's clock may be as far off at the end, beside the last object, of which
// nobody says how long it lasts.
constexpr long long kDurationMs = 200;

StreamLayout LayoutOf(const StreamHeader& stream) {
  return {stream.codecTag, stream.number, stream.kind, stream.encrypted, stream.hidden, false};
}

class Maker {
 public:
  explicit Maker(const CheckedFile& file) : file_(file) {}

  std::vector<Finding> Make();

 private:
  struct End {
    std::optional<long long> ms;  // nothing where no object of audio or video begins
    long long longestMs = 0;      // that any stream's last object is taken to last
  };

  const FileHeader& header() const { return file_.header; }
  const DataExtent& data() const { return file_.data; }
  const PacketCheck& packets() const { return file_.packets; }

  Finding* Add(FindingCode code, Severity severity = Severity::kNote);
  void AddPlace(FindingCode code, const Occurrence& occurrence, const StreamHeader* stream);
  void AddStated(FindingCode code, unsigned long long stated, unsigned long long actual);
  void AddPackets();
  void AddLost();
  void AddNumbers();
  void AddStream(const StreamHeader& stream);
  void AddPreroll();
  void AddSizes();
  void AddDuration();
  void AddBitrate();
  bool IsPlayed(unsigned char stream) const;
  bool IsPlanned(PlanNote note) const;
  bool IsMeasured() const;
  End LastEnd() const;

  const CheckedFile& file_;
  std::vector<Finding> found_;
};

std::vector<Finding> Maker::Make() {
  AddPackets();
  AddLost();
  AddNumbers();
  ForEachStream(header(), [this](const StreamHeader& stream) { AddStream(stream); });
  AddPlace(FindingCode::kSendBackwards, packets().sendBackwards(), nullptr);
  AddPlace(FindingCode::kSendJump, packets().sendJump(), nullptr);
  AddPreroll();
  AddSizes();
  AddDuration();
  AddBitrate();
  for (const unsigned char stream : file_.misleading) {
    Add(FindingCode::kIndexMisleading)->stream = LayoutOf(*header().Stream(stream));
  }
  return std::move(found_);
}

Finding* Maker::Add(FindingCode code, Severity severity) {
  found_.push_back({code, severity});
  return &found_.back();
}

void Maker::AddPlace(FindingCode code, const Occurrence& occurrence, const StreamHeader* stream) {
  if (occurrence.count == 0) return;
  Finding* const finding = Add(code);
  if (stream != nullptr) finding->stream = LayoutOf(*stream);
  finding->count = occurrence.count;
  finding->packet = occurrence.packet;
  finding->timeMs = occurrence.timeMs;
  if (code != FindingCode::kObjectOverrun) finding->stated = occurrence.beforeMs;
}

void Maker::AddStated(FindingCode code, unsigned long long stated, unsigned long long actual) {
  Finding* const finding = Add(code);
  finding->stated = static_cast<long long>(stated);
  finding->actual = static_cast<long long>(actual);
}

void Maker::AddPackets() {
  const PacketCheck& check = packets();
  if (check.misread() != 0 && !IsPlanned(PlanNote::kErrorCorrection)) {
    const bool isMended = file_.session.presented() != nullptr;
    Add(FindingCode::kPacketsMisread, isMended ? Severity::kMended : Severity::kNote)->count =
        check.misread();
  }
  if (check.failed().count == 0) return;
  Finding* const failed = Add(FindingCode::kPacketsFailed, Severity::kProblem);
  failed->count = check.failed().count;
  failed->packet = check.failed().packet;
  failed->fault = check.fault();
}

// Of the streams that are played, the play-out has told.
void Maker::AddLost() {
  std::map<unsigned char, unsigned long long> lost;
  for (const auto& object : file_.damage.objects) ++lost[object.first];
  for (const auto& [number, count] : lost) {
    const StreamHeader* const stream = header().Stream(number);
    if (stream == nullptr || IsPlayed(number)) continue;
    Finding* const finding = Add(FindingCode::kObjectsLost, Severity::kProblem);
    finding->count = count;
    finding->stream = LayoutOf(*stream);
  }
}

bool Maker::IsPlayed(unsigned char stream) const {
  const PresentedFile* const file = file_.session.presented();
  if (file == nullptr) return false;
  return (file->audio() != nullptr && file->audio()->number == stream) ||
         (file->video() != nullptr && file->video()->number == stream);
}

// Whether the file is presented so that this is mended, and that is told.
bool Maker::IsPlanned(PlanNote note) const {
  if (file_.session.presented() == nullptr) return false;
  const std::vector<PlanFinding>& findings = file_.session.presented()->findings();
  return std::any_of(findings.begin(), findings.end(),
                     [note](const PlanFinding& finding) { return finding.note == note; });
}

void Maker::AddNumbers() {
  ForEachStream(header(), [this](const StreamHeader& first) {
    unsigned long long count = 0;
    bool isOneKind = true;
    for (const StreamHeader& stream : header().streams) {
      if (stream.number != first.number) continue;
      ++count;
      isOneKind = isOneKind && stream.kind == first.kind;
    }
    if (count == 1) return;
    Finding* const finding =
        Add(FindingCode::kStreamTwice, isOneKind ? Severity::kNote : Severity::kProblem);
    finding->stream = LayoutOf(first);
    finding->count = count;
  });
}

void Maker::AddStream(const StreamHeader& stream) {
  const StreamFacts& facts = packets().stream(stream.number);
  if (!facts.hasPayload) Add(FindingCode::kStreamEmpty)->stream = LayoutOf(stream);
  AddPlace(FindingCode::kObjectOverrun, facts.overrun, &stream);
  AddPlace(FindingCode::kTimesBackwards, facts.backwards, &stream);
  AddPlace(FindingCode::kTimesJump, facts.jump, &stream);
}

void Maker::AddPreroll() {
  const unsigned long long preroll = header().properties->prerollMs;
  const PacketCheck& check = packets();
  if (preroll == 0) Add(FindingCode::kPrerollZero);
  if (check.lateMs() <= 0) return;
  AddStated(FindingCode::kPrerollShort, preroll,
            preroll + static_cast<unsigned long long>(check.lateMs()));
  Finding& finding = found_.back();
  finding.packet = check.latePacket();
  if (const StreamHeader* const stream = header().Stream(check.lateStream())) {
    finding.stream = LayoutOf(*stream);
  }
}

// Of a recording that goes on the header leaves open how large it is, and how long; of
// a file that is cut short, what it says may be right.
bool Maker::IsMeasured() const {
  const unsigned long long start = data().packetsStart - sizeof(asf_data_object);
  const bool isCut = data().fileSize && data().statedSize > sizeof(asf_data_object) &&
                     SaturatingAdd(start, data().statedSize) > *data().fileSize;
  return !isCut && (header().properties->flags & kBroadcast) == 0;
}

void Maker::AddSizes() {
  const FileProperties& properties = *header().properties;
  if (!IsMeasured()) return;
  if (properties.dataPackets != packets().packetCount()) {
    AddStated(FindingCode::kPacketCount, properties.dataPackets, packets().packetCount());
  }
  if (data().fileSize && properties.fileSize != *data().fileSize) {
    AddStated(FindingCode::kFileSize, properties.fileSize, *data().fileSize);
  }
}

// When the last objects end, each taken to last as long as the one before it.
Maker::End Maker::LastEnd() const {
  End end;
  ForEachStream(header(), [&](const StreamHeader& stream) {
    const ObjectTimes& times = packets().stream(stream.number).times;
    if (!times.any() || !times.IsPlayed()) return;
    end.ms = std::max(end.ms.value_or(0), times.topMs() + times.stepMs());
    end.longestMs = std::max(end.longestMs, times.stepMs());
  });
  return end;
}

void Maker::AddDuration() {
  const FileProperties& properties = *header().properties;
  const End end = LastEnd();
  if (!IsMeasured() || !end.ms || IsPlanned(PlanNote::kDuration)) return;
  const unsigned long long stated = properties.playDuration / kTicksPerMs;
  const long long statedMs =
      static_cast<long long>(stated - std::min(stated, properties.prerollMs));
  const long long grantedMs = kDurationMs + end.longestMs;
  if (std::abs(statedMs - *end.ms) <= grantedMs) return;
  Finding* const finding = Add(FindingCode::kDuration);
  finding->stated = statedMs;
  finding->actual = *end.ms;
}

// A file whose packets were sent evenly, the last one not counted and the preroll
// granted besides, has no moment at which it was sent faster than that.
void Maker::AddBitrate() {
  const FileProperties& properties = *header().properties;
  const unsigned long long ms =
      static_cast<unsigned long long>(std::max(0ll, LastEnd().ms.value_or(0))) +
      properties.prerollMs;
  if (ms == 0) return;
  const unsigned long long bits =
      SaturatingMultiply((packets().packetCount() - 1) * data().packetLength, 8000);
  const unsigned long long average = bits / ms;
  if (average > properties.maxBitrate || properties.maxBitrate == 0) {
    AddStated(FindingCode::kBitrate, properties.maxBitrate, average);
  }
}

}  // namespace

std::vector<Finding> FindingsOf(const CheckedFile& file) { return Maker(file).Make(); }

}  // namespace qo_host
