// Wording of codes. No state.
#include "tools/Words.h"

#include "qo_host/CodecNames.h"
#include "qo_host/StatusText.h"
#include "tools/Output.h"

namespace tool {
namespace {

using qo_host::FindingCode;
using qo_host::LayoutProblem;
using qo_host::PacketFault;

const char* LayoutText(LayoutProblem problem) {
  switch (problem) {
    case LayoutProblem::kNone:
      return "";
    case LayoutProblem::kNotAsf:
      return "the file does not begin with an ASF header";
    case LayoutProblem::kHeaderSize:
      return "the header's size is impossible";
    case LayoutProblem::kHeaderCut:
      return "the file ends in the header";
    case LayoutProblem::kHeaderObjectSize:
      return "an object of impossible size in the header";
    case LayoutProblem::kExtensionCut:
      return "the file ends in the header extension";
    case LayoutProblem::kExtensionObjectSize:
      return "an object of impossible size in the header extension";
    case LayoutProblem::kDataCut:
      return "the file ends before its data";
    case LayoutProblem::kNoDataObject:
      return "there is no data object behind the header";
    case LayoutProblem::kDataEmpty:
      return "the data object says that it is empty, as in a live recording never finished";
    case LayoutProblem::kTrailingCut:
      return "the file ends in what lies behind the data";
    case LayoutProblem::kTrailingObjectSize:
      return "an object of impossible size in what lies behind the data";
  }
  return "";
}

const char* FaultText(PacketFault fault) {
  switch (fault) {
    case PacketFault::kNone:
      return "";
    case PacketFault::kNoReplicatedData:
      return "a payload without replicated data";
    case PacketFault::kPayloadSize:
      return "a payload of impossible size";
    case PacketFault::kEmptySubPayload:
      return "an empty sub-payload";
    case PacketFault::kTooManyPayloads:
      return "more payloads than it has room for";
    case PacketFault::kErrorCorrection:
      return "error correction data of unknown length";
    case PacketFault::kCutShort:
      return "the file ends in it";
  }
  return "";
}

std::string StreamText(const qo_host::StreamLayout& stream) {
  std::string text = "stream " + std::to_string(stream.number) + " (" + StreamKindName(stream.kind);
  if (stream.kind == qo_host::StreamKind::kVideo)
    text += ", " + qo_host::FourCcText(stream.codecTag);
  return text + ")";
}

std::string PlanText(const qo_host::PlanFinding& finding) {
  const std::string value = std::to_string(finding.value);
  switch (finding.note) {
    case qo_host::PlanNote::kNotAsf:
    case qo_host::PlanNote::kNoStream:
    case qo_host::PlanNote::kEncrypted:
    case qo_host::PlanNote::kPacketLength:
    case qo_host::PlanNote::kNoPackets:
    case qo_host::PlanNote::kStreamAbsent:
      break;  // not presented, and told by others
    case qo_host::PlanNote::kHeaderMisread:
      return "the parser would take something else from the header than it says";
    case qo_host::PlanNote::kDataSize:
      return "the data object states " + value + " bytes, which it has not";
    case qo_host::PlanNote::kDuration:
      return "the duration stated is not that of the last packets";
    case qo_host::PlanNote::kIndexUnreached:
      return "the parser would not reach the index";
    case qo_host::PlanNote::kErrorCorrection:
      return "packets without two bytes of error correction data, which the parser would misread";
    case qo_host::PlanNote::kStreamHidden:
      return "stream " + value + " is described in the header extension only";
    case qo_host::PlanNote::kUnitsBent:
      return "the parser would cut, strip or stamp the units of stream " + value + " wrongly";
  }
  return "";
}

}  // namespace

std::string FindingText(const qo_host::Finding& finding) {
  switch (finding.code) {
    case FindingCode::kRefused:
      return qo_host::StatusText(qo_host::Action::kOpen, finding.status);
    case FindingCode::kNotAsf:
      return "not an ASF file";
    case FindingCode::kNoTrack:
      return "no audio and no video track";
    case FindingCode::kTruncated:
      return "truncated: the file holds " + Count(finding.count, "whole packet") + " of " +
             std::to_string(finding.total);
    case FindingCode::kLayout:
      return LayoutText(finding.layout);
    case FindingCode::kContentEncrypted:
      return "the content is encrypted in a way that the parser does not refuse: "
             "its units will not decode";
    case FindingCode::kStreamEncrypted:
      return StreamText(*finding.stream) + " is marked as encrypted";
    case FindingCode::kStreamDropped:
      return StreamText(*finding.stream) +
             " is dropped: only the first audio and the first video stream are tracks";
    case FindingCode::kNoIndex:
      return "no index: seeking is estimated from the bit rate";
    case FindingCode::kIndexUnreached:
      return "there is an index that the parser does not reach: seeking is estimated from the bit "
             "rate";
    case FindingCode::kMended:
      return "mended: " + PlanText(finding.plan);
    case FindingCode::kStreamAbsent:
      return "there is no stream " + std::to_string(finding.count) + " of the kind asked for";
    case FindingCode::kObjectsLost:
      return Count(finding.count, "media object") + " lost fragments";
    case FindingCode::kTrackSilent:
      return std::string("no unit came out of the ") + TrackKindName(finding.kind) + " track";
    case FindingCode::kTrackEndsEarly:
      return std::string(TrackKindName(finding.kind)) + " ends early, at " +
             TimeText(finding.count) + " of " + TimeText(finding.total);
    case FindingCode::kPacketsMisread:
      return Count(finding.count, "packet") +
             " without error correction data: the parser takes it for granted and misreads them";
    case FindingCode::kPacketsFailed:
      return Count(finding.count, "packet") + " failed, first packet " +
             std::to_string(finding.packet) + ": " + FaultText(finding.fault);
  }
  return "";
}

std::string RepairText(const qo_host::RepairFinding& finding) {
  const std::string value = std::to_string(finding.value);
  switch (finding.note) {
    case qo_host::RepairNote::kHeaderObjects:
      return "objects of the header, or what it says of their sizes and number";
    case qo_host::RepairNote::kFileSize:
      return "the file size, stated as " + Count(finding.value, "byte");
    case qo_host::RepairNote::kPacketCount:
      return "the number of packets, stated as " + value;
    case qo_host::RepairNote::kPacketLength:
      return "the packets' length, stated as at least " + Count(finding.value, "byte");
    case qo_host::RepairNote::kDuration:
      return "the duration, stated as " + TimeText(finding.value);
    case qo_host::RepairNote::kBroadcast:
      return "the flag of a recording that goes on";
    case qo_host::RepairNote::kBitrate:
      return "the bit rate, which is not stated";
    case qo_host::RepairNote::kDataObject:
      return "the data object's size or number of packets";
    case qo_host::RepairNote::kPackets:
      return Count(finding.value, "packet") + " damaged, or without error correction data";
    case qo_host::RepairNote::kPacketsGrow:
      return "packets too full for error correction data: each grows by " +
             Count(finding.value, "byte");
    case qo_host::RepairNote::kIndexMissing:
      return "no index for stream " + value;
    case qo_host::RepairNote::kIndexWrong:
      return "the index for stream " + value + ", which leads astray";
    case qo_host::RepairNote::kTrailing:
      return "what stands behind the data, torn or in an order in which the index is not found";
  }
  return "";
}

std::string RefusalText(const qo_host::PresentedFile& file) {
  for (const qo_host::PlanFinding& finding : file.findings()) {
    switch (finding.note) {
      case qo_host::PlanNote::kNotAsf:
        return "not an ASF file";
      case qo_host::PlanNote::kNoStream:
        return "neither audio nor video";
      case qo_host::PlanNote::kEncrypted:
        return "the content is encrypted";
      case qo_host::PlanNote::kPacketLength:
        return "impossible packet length of " + Count(finding.value, "byte");
      case qo_host::PlanNote::kNoPackets:
        return "the file ends in front of the first packet";
      default:
        break;
    }
  }
  return "its size is not known";
}

std::string SeekProblemText(const qo_host::ExactSeek& seek) {
  switch (seek.problem) {
    case qo_host::ExactSeek::Problem::kNone:
      return "";
    case qo_host::ExactSeek::Problem::kNoTrack:
      return "the file has no track";
    case qo_host::ExactSeek::Problem::kTooManyPoints:
      return "the file has too many key frames";
    case qo_host::ExactSeek::Problem::kSourceFailed:
      return qo_host::StatusText(qo_host::Action::kRead, seek.status);
    case qo_host::ExactSeek::Problem::kParserRefused:
      return qo_host::StatusText(qo_host::Action::kSeek, seek.status);
  }
  return "";
}

}  // namespace tool
