// Judging a file, by its header and by what came out of it.
#include "tools/Verdict.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "host/CodecNames.h"
#include "host/PacketWalk.h"
#include "tools/Output.h"

namespace tool {
namespace {

// A track that ends this much before the file's duration may have ended early.
constexpr unsigned long long kEarlyEndMs = 200;

std::string StreamText(const host::StreamLayout& stream) {
  std::string text = "stream " + std::to_string(stream.number) + " (" + StreamKindName(stream.kind);
  if (stream.kind == host::StreamKind::kVideo) text += ", " + host::FourCcText(stream.codecTag);
  return text + ")";
}

void NoteEncryption(const host::AsfLayout& layout, Verdict* verdict) {
  if (layout.extendedContentEncryption || layout.advancedContentEncryption) {
    verdict->notes.push_back(
        "the content is encrypted in a way that the parser does not refuse: "
        "its units will not decode");
  }
  for (const host::StreamLayout& stream : layout.streams) {
    if (stream.encrypted) verdict->notes.push_back(StreamText(stream) + " is marked as encrypted");
  }
}

void NoteStreams(const host::AsfLayout& layout, Verdict* verdict) {
  for (const host::StreamLayout& stream : layout.streams) {
    if (!stream.isTrack) {
      verdict->notes.push_back(StreamText(stream) +
                               " is dropped: only the first audio and the first video stream "
                               "are tracks");
    }
  }
}

void NoteIndex(Input* input, Verdict* verdict) {
  const host::Track* video = input->session().FindTrack(host::TrackKind::kVideo);
  if (!video || video->info.seekable != 0) return;
  verdict->notes.push_back(input->layout().simpleIndex
                               ? "there is an index that the parser does not reach: seeking is "
                                 "estimated from the bit rate"
                               : "no index: seeking is estimated from the bit rate");
}

void JudgeSize(const host::AsfLayout& layout, Verdict* verdict) {
  if (!layout.isAsf) return;
  if (layout.IsTruncated()) {
    verdict->problems.push_back("truncated: the file holds " +
                                Count(layout.PacketsInFile(), "whole packet") + " of " +
                                std::to_string(layout.PacketsInData()));
  } else if (!layout.problem.empty()) {
    verdict->notes.push_back(layout.problem);
  }
}

// Whether reading stopped elsewhere than where the data ends: a packet that fails
// ends the reading inside it.
bool StoppedInsideData(Input* input) {
  const host::AsfLayout& layout = input->layout();
  unsigned long long position = 0;
  input->session().source()->GetPosition(&position);
  return position != layout.packetsStart + layout.PacketsInData() * layout.packetLength;
}

bool DisagreesWithHeader(Input* input, const Totals& totals) {
  const unsigned long long duration = input->session().durationMs();
  for (const host::Track& track : input->session().tracks()) {
    const TrackTotals& total = totals.of(track.kind);
    if (total.units == 0 || total.lastMs + kEarlyEndMs < duration || total.lastMs > duration) {
      return true;
    }
  }
  return false;
}

struct PacketFaults {
  unsigned long long withoutErrorCorrection = 0;
  unsigned long long failed = 0;
  unsigned long long firstFailed = 0;
  host::PacketFault reason = host::PacketFault::kNone;
};

const char* FaultText(host::PacketFault fault) {
  switch (fault) {
    case host::PacketFault::kNone:
      return "nothing is wrong with it";
    case host::PacketFault::kNoReplicatedData:
      return "a payload without replicated data";
    case host::PacketFault::kPayloadSize:
      return "a payload of impossible size";
    case host::PacketFault::kEmptySubPayload:
      return "an empty sub-payload";
    case host::PacketFault::kTooManyPayloads:
      return "more payloads than it has room for";
    case host::PacketFault::kErrorCorrection:
      return "error correction data of unknown length";
    case host::PacketFault::kCutShort:
      return "the file ends in it";
  }
  return "";
}

PacketFaults FindPacketFaults(Input* input) {
  PacketFaults faults;
  IDataSource* source = input->trace() ? input->trace()->inner() : input->session().source();
  host::WalkPackets(source, input->layout(), [&faults](const host::Packet& packet) {
    if (!packet.hasErrorCorrection) ++faults.withoutErrorCorrection;
    if (packet.hasErrorCorrection && packet.fault != host::PacketFault::kNone &&
        faults.failed++ == 0) {
      faults.firstFailed = packet.number;
      faults.reason = packet.fault;
    }
    return true;
  });
  return faults;
}

void JudgePackets(Input* input, Verdict* verdict) {
  const PacketFaults faults = FindPacketFaults(input);
  if (faults.withoutErrorCorrection > 0) {
    verdict->notes.push_back(Count(faults.withoutErrorCorrection, "packet") +
                             " without error correction data: the parser takes it for granted "
                             "and misreads them");
  }
  if (faults.failed > 0 && !input->layout().IsTruncated()) {
    verdict->problems.push_back(Count(faults.failed, "packet") + " failed, first packet " +
                                std::to_string(faults.firstFailed) + ": " +
                                FaultText(faults.reason));
  }
}

void JudgeEnds(Input* input, const Totals& totals, Verdict* verdict) {
  IDataSource* source = input->trace() ? input->trace()->inner() : input->session().source();
  const auto last = host::LastObjectTimes(source, input->layout());
  for (const host::StreamLayout& stream : input->layout().streams) {
    const auto found = last.find(stream.number);
    if (!stream.isTrack || found == last.end()) continue;
    const bool isVideo = stream.kind == host::StreamKind::kVideo;
    const auto kind = isVideo ? host::TrackKind::kVideo : host::TrackKind::kAudio;
    const TrackTotals& total = totals.of(kind);
    if (total.units == 0 || total.lastMs >= found->second) continue;
    verdict->problems.push_back(std::string(TrackKindName(kind)) + " ends early, at " +
                                TimeText(total.lastMs) + " of " + TimeText(found->second));
  }
}

}  // namespace

void Totals::Add(const host::AccessUnit& unit) {
  TrackTotals& total = totals_[Slot(unit.kind)];
  if (total.units++ == 0) total.firstMs = unit.timeMs;
  total.bytes += unit.size;
  total.lastMs = std::max(total.lastMs, unit.timeMs);
}

Verdict OpenAndJudge(Input* input) {
  Verdict verdict;
  try {
    input->Open();
    if (input->layout().isAsf && input->session().tracks().empty()) {
      verdict.problems.push_back("no audio and no video track");
    }
  } catch (const Failure& failure) {
    if (failure.exitCode() != kExitBadFile) throw;
    verdict.problems.push_back(host::ParserSession::StatusText(input->openStatus()));
  }
  const host::AsfLayout& layout = input->layout();
  if (!layout.isAsf) verdict.problems.push_back("not an ASF file");
  JudgeSize(layout, &verdict);
  NoteEncryption(layout, &verdict);
  NoteStreams(layout, &verdict);
  NoteIndex(input, &verdict);
  return verdict;
}

void JudgePlayOut(Input* input, const Totals& totals, bool explain, Verdict* verdict) {
  const bool stoppedInside = StoppedInsideData(input);
  std::vector<std::string> silent;
  for (const host::Track& track : input->session().tracks()) {
    if (totals.of(track.kind).units != 0) continue;
    silent.push_back(std::string("no unit came out of the ") + TrackKindName(track.kind) +
                     " track");
  }
  // A track without units beside one that plays is worth a note.
  const bool isSilent = silent.size() == input->session().tracks().size();
  auto& where = isSilent ? verdict->problems : verdict->notes;
  where.insert(where.end(), silent.begin(), silent.end());
  const bool suspectsPackets = explain || stoppedInside;
  if (!suspectsPackets && !DisagreesWithHeader(input, totals)) return;
  JudgeEnds(input, totals, verdict);
  if (suspectsPackets || !verdict->problems.empty()) JudgePackets(input, verdict);
}

void PrintProblems(const Input& input, const Verdict& verdict) {
  for (const std::string& problem : verdict.problems) {
    std::fprintf(stderr, "asftool: %s\n", Printable(input.path() + ": " + problem).c_str());
  }
}

}  // namespace tool
