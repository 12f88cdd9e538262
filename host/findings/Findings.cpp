// Judging a file, by its header and by what came out of it. No state.
#include "qo_host/Findings.h"

#include <algorithm>
#include <map>

#include "qo_host/BorrowedSource.h"
#include "qo_host/PacketWalk.h"

namespace qo_host {
namespace {

// A track that ends this much before the file's duration may have ended early.
constexpr unsigned long long kEarlyEndMs = 200;

void AddRefusal(const JudgedFile& judged, int status, std::vector<Finding>* findings) {
  if (status != kParserOk) {
    findings->push_back({FindingCode::kRefused, Severity::kProblem, status});
  } else if (judged.layout.isAsf && judged.session.tracks().empty()) {
    findings->push_back({FindingCode::kNoTrack, Severity::kProblem});
  }
  if (!judged.layout.isAsf) findings->push_back({FindingCode::kNotAsf, Severity::kProblem});
}

void AddSize(const AsfLayout& layout, std::vector<Finding>* findings) {
  if (!layout.isAsf) return;
  if (layout.IsTruncated()) {
    Finding finding{FindingCode::kTruncated, Severity::kProblem};
    finding.count = layout.PacketsInFile();
    finding.total = layout.PacketsInData();
    findings->push_back(finding);
  } else if (layout.problem != LayoutProblem::kNone) {
    Finding finding{FindingCode::kLayout, Severity::kNote};
    finding.layout = layout.problem;
    findings->push_back(finding);
  }
}

void AddStreams(const AsfLayout& layout, std::vector<Finding>* findings) {
  const auto add = [findings](FindingCode code, const StreamLayout& stream) {
    Finding finding{code, Severity::kNote};
    finding.stream = stream;
    findings->push_back(finding);
  };
  if (layout.extendedContentEncryption || layout.advancedContentEncryption) {
    findings->push_back({FindingCode::kContentEncrypted, Severity::kNote});
  }
  for (const StreamLayout& stream : layout.streams) {
    if (stream.encrypted) add(FindingCode::kStreamEncrypted, stream);
  }
}

// Streams that are dropped as the file is; which they are otherwise, the host chose.
void AddDropped(const JudgedFile& judged, std::vector<Finding>* findings) {
  if (judged.session.presented() != nullptr) return;
  for (const StreamLayout& stream : judged.layout.streams) {
    if (stream.isTrack) continue;
    Finding finding{FindingCode::kStreamDropped, Severity::kNote};
    finding.stream = stream;
    findings->push_back(finding);
  }
}

// What the plan refuses, the parser or the layout refuses as well.
void AddPlan(const ParserSession& session, std::vector<Finding>* findings) {
  if (session.presented() == nullptr) return;
  const PresentedFile& file = *session.presented();
  for (const PlanFinding& planned : file.findings()) {
    const bool isAbsent = planned.note == PlanNote::kStreamAbsent;
    if (!file.isPresented() && !isAbsent) continue;
    Finding finding{FindingCode::kMended, Severity::kMended};
    if (isAbsent) {
      finding = {FindingCode::kStreamAbsent, Severity::kProblem};
      finding.count = planned.value;
    }
    finding.plan = planned;
    findings->push_back(finding);
  }
}

void AddDamage(const ParserSession& session, std::vector<Finding>* findings) {
  if (session.presented() == nullptr) return;
  const Damage& damage = session.presented()->damage();
  if (!damage.packets.empty()) {
    Finding finding{FindingCode::kPacketsFailed, Severity::kProblem};
    finding.count = damage.packets.size();
    finding.packet = damage.packets.begin()->first;
    finding.fault = damage.packets.begin()->second;
    findings->push_back(finding);
  }
  if (damage.objects.empty()) return;
  Finding finding{FindingCode::kObjectsLost, Severity::kProblem};
  finding.count = damage.objects.size();
  findings->push_back(finding);
}

void AddIndex(const JudgedFile& judged, std::vector<Finding>* findings) {
  const Track* video = judged.session.FindTrack(TrackKind::kVideo);
  if (video == nullptr || video->info.seekable != 0) return;
  if (!judged.layout.fileSize) return;  // nor is it known what stands behind the data
  const auto code =
      judged.layout.simpleIndex ? FindingCode::kIndexUnreached : FindingCode::kNoIndex;
  findings->push_back({code, Severity::kNote});
}

// Whether reading stopped elsewhere than where the data ends: a packet that fails
// ends the reading inside it.
bool StoppedInsideData(const JudgedFile& judged) {
  unsigned long long position = 0;
  BorrowedSource(judged.session.view()).GetPosition(&position);
  return position != judged.layout.PacketPosition(judged.layout.PacketsInData());
}

bool DisagreesWithHeader(const ParserSession& session, const Totals& totals) {
  const unsigned long long duration = session.durationMs();
  return std::any_of(session.tracks().begin(), session.tracks().end(), [&](const Track& track) {
    const TrackTotals& total = totals.of(track.kind);
    return total.units == 0 || total.lastMs + kEarlyEndMs < duration || total.lastMs > duration;
  });
}

// A track without units beside one that plays is worth a note.
void AddSilence(const ParserSession& session, const Totals& totals,
                std::vector<Finding>* findings) {
  const auto isSilent = [&](const Track& track) { return totals.of(track.kind).units == 0; };
  const std::vector<Track>& tracks = session.tracks();
  const bool allSilent = std::all_of(tracks.begin(), tracks.end(), isSilent);
  for (const Track& track : tracks) {
    if (!isSilent(track)) continue;
    Finding finding{FindingCode::kTrackSilent, allSilent ? Severity::kProblem : Severity::kNote};
    finding.kind = track.kind;
    findings->push_back(finding);
  }
}

int AddEnds(const JudgedFile& judged, const Totals& totals, std::vector<Finding>* findings) {
  std::map<unsigned char, unsigned int> last;
  const WalkResult walk = LastObjectTimes(judged.file, judged.layout, &last);
  if (walk.status < 0) return walk.status;
  for (const StreamLayout& stream : judged.layout.streams) {
    const auto found = last.find(stream.number);
    if (!stream.isTrack || found == last.end()) continue;
    Finding finding{FindingCode::kTrackEndsEarly, Severity::kProblem};
    const TrackKind kind =
        stream.kind == StreamKind::kVideo ? TrackKind::kVideo : TrackKind::kAudio;
    const TrackTotals& total = totals.of(kind);
    finding.kind = kind;
    finding.count = total.lastMs;
    finding.total = found->second;
    if (total.units != 0 && total.lastMs < found->second) findings->push_back(finding);
  }
  return 0;
}

int AddPackets(const JudgedFile& judged, std::vector<Finding>* findings) {
  unsigned long long misread = 0, failures = 0;
  Finding failed{FindingCode::kPacketsFailed, Severity::kProblem};
  const WalkResult walk = WalkPackets(judged.file, judged.layout, [&](const Packet& packet) {
    if (!packet.hasErrorCorrection) ++misread;
    if (packet.hasErrorCorrection && packet.fault != PacketFault::kNone && failures++ == 0) {
      failed.packet = packet.number;
      failed.fault = packet.fault;
    }
    return true;
  });
  if (misread > 0) {
    findings->push_back({FindingCode::kPacketsMisread, Severity::kNote});
    findings->back().count = misread;
  }
  if (failures > 0 && !judged.layout.IsTruncated()) {
    failed.count = failures;
    findings->push_back(failed);
  }
  return walk.status;
}

}  // namespace

void Totals::Add(const AccessUnit& unit) {
  TrackTotals& total = totals_[Slot(unit.kind)];
  if (total.units++ == 0) total.firstMs = unit.timeMs;
  total.bytes += unit.size;
  total.lastMs = std::max(total.lastMs, unit.timeMs);
}

std::vector<Finding> JudgeOpen(const JudgedFile& judged, int status) {
  std::vector<Finding> findings;
  AddRefusal(judged, status, &findings);
  AddSize(judged.layout, &findings);
  AddStreams(judged.layout, &findings);
  AddDropped(judged, &findings);
  AddPlan(judged.session, &findings);
  AddIndex(judged, &findings);
  return findings;
}

int JudgePlayOut(const JudgedFile& judged, const Totals& totals, std::vector<Finding>* findings) {
  const bool stopped = StoppedInsideData(judged);
  AddSilence(judged.session, totals, findings);
  AddDamage(judged.session, findings);
  if (!stopped && !DisagreesWithHeader(judged.session, totals)) return 0;
  const int status = AddEnds(judged, totals, findings);
  if (status < 0) return status;
  const bool isBad = std::any_of(findings->begin(), findings->end(), [](const Finding& finding) {
    return finding.severity == Severity::kProblem;
  });
  return stopped || isBad ? AddPackets(judged, findings) : 0;
}

}  // namespace qo_host
