// Wording of codes. No state.
#include "tools/common/Words.h"

#include "qo_host/CodecNames.h"
#include "qo_host/StatusText.h"
#include "tools/common/Output.h"

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

const char* PlanName(qo_host::PlanNote note) {
  switch (note) {
    case qo_host::PlanNote::kNotAsf:
    case qo_host::PlanNote::kNoStream:
    case qo_host::PlanNote::kEncrypted:
    case qo_host::PlanNote::kPacketLength:
    case qo_host::PlanNote::kNoPackets:
    case qo_host::PlanNote::kStreamAbsent:
      break;  // as for the text
    case qo_host::PlanNote::kHeaderMisread:
      return "header-misread";
    case qo_host::PlanNote::kDataSize:
      return "data-size";
    case qo_host::PlanNote::kDuration:
      return "duration";
    case qo_host::PlanNote::kIndexUnreached:
      return "index-unreached";
    case qo_host::PlanNote::kErrorCorrection:
      return "error-correction";
    case qo_host::PlanNote::kStreamHidden:
      return "stream-hidden";
    case qo_host::PlanNote::kUnitsBent:
      return "units-bent";
  }
  return "";
}

// "-0:00.040" for a time in front of the presentation's start.
std::string SignedTimeText(long long ms) {
  return ms < 0 ? "-" + TimeText(0ull - static_cast<unsigned long long>(ms))
                : TimeText(static_cast<unsigned long long>(ms));
}

// Where the first of several places is.
std::string PlaceText(const qo_host::Finding& finding) {
  const std::string packet = "packet " + std::to_string(*finding.packet);
  return *finding.count == 1
             ? " (" + packet + ")"
             : " (first of " + std::to_string(*finding.count) + " places, " + packet + ")";
}

std::string StreamFindingText(const qo_host::Finding& finding) {
  const std::string stream = StreamText(*finding.stream);
  switch (finding.code) {
    case FindingCode::kStreamTwice:
      return "the number of " + stream + " is that of " + std::to_string(*finding.count) +
             " streams";
    case FindingCode::kStreamEmpty:
      return stream + " has no payload";
    case FindingCode::kObjectOverrun:
      return "a payload of " + stream + " reaches beyond its media object" + PlaceText(finding);
    case FindingCode::kTimesBackwards:
      return "the times of " + stream + " run backwards, from " + SignedTimeText(*finding.stated) +
             " to " + SignedTimeText(*finding.timeMs) + PlaceText(finding);
    case FindingCode::kTimesJump:
      return "the times of " + stream + " jump, from " + SignedTimeText(*finding.stated) + " to " +
             SignedTimeText(*finding.timeMs) + PlaceText(finding);
    default:
      return "the index for " + stream + " leads elsewhere than to its key frames";
  }
}

std::string HeaderFindingText(const qo_host::Finding& finding) {
  const auto number = [](std::optional<long long> value) {
    return std::to_string(value.value_or(0));
  };
  switch (finding.code) {
    case FindingCode::kSendBackwards:
      return "sending times run backwards, from " + SignedTimeText(*finding.stated) + " to " +
             SignedTimeText(*finding.timeMs) + PlaceText(finding);
    case FindingCode::kSendJump:
      return "sending times jump, from " + SignedTimeText(*finding.stated) + " to " +
             SignedTimeText(*finding.timeMs) + PlaceText(finding);
    case FindingCode::kPrerollZero:
      return "a preroll of 0: players begin before anything has arrived";
    case FindingCode::kPrerollShort:
      return "the preroll of " + number(finding.stated) + " ms is too short: packet " +
             number(finding.packet) + " is sent so late that it would take " +
             number(finding.actual) + " ms";
    case FindingCode::kPacketCount:
      return "the header states " + number(finding.stated) + " packets, there are " +
             number(finding.actual);
    case FindingCode::kFileSize:
      return "the header states a file of " + number(finding.stated) + " bytes, it has " +
             number(finding.actual);
    case FindingCode::kDuration:
      return "the header states a duration of " + SignedTimeText(*finding.stated) + ", it is " +
             SignedTimeText(*finding.actual);
    default:
      return *finding.stated == 0
                 ? "no bit rate is stated"
                 : "the header states at most " + number(finding.stated) +
                       " bits per second, on average there are " + number(finding.actual);
  }
}

}  // namespace

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
      return "it ends in what it holds";
  }
  return "";
}

std::string FindingText(const qo_host::Finding& finding) {
  switch (finding.code) {
    case FindingCode::kRefused:
      return qo_host::StatusText(qo_host::Action::kOpen, finding.status);
    case FindingCode::kNotAsf:
      return "not an ASF file";
    case FindingCode::kNoTrack:
      return "no audio and no video track";
    case FindingCode::kTruncated:
      return "truncated: the file holds " + Count(*finding.count, "whole packet") + " of " +
             std::to_string(*finding.total);
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
      return PlanText(finding.plan);
    case FindingCode::kStreamAbsent:
      return "there is no stream " + std::to_string(*finding.count) + " of the kind asked for";
    case FindingCode::kObjectsLost:
      return Count(*finding.count, "media object") +
             (finding.stream ? " of " + StreamText(*finding.stream) : "") + " lost fragments";
    case FindingCode::kStreamTwice:
    case FindingCode::kStreamEmpty:
    case FindingCode::kObjectOverrun:
    case FindingCode::kTimesBackwards:
    case FindingCode::kTimesJump:
    case FindingCode::kIndexMisleading:
      return StreamFindingText(finding);
    case FindingCode::kSendBackwards:
    case FindingCode::kSendJump:
    case FindingCode::kPrerollZero:
    case FindingCode::kPrerollShort:
    case FindingCode::kPacketCount:
    case FindingCode::kFileSize:
    case FindingCode::kDuration:
    case FindingCode::kBitrate:
      return HeaderFindingText(finding);
    case FindingCode::kTrackSilent:
      return std::string("no unit came out of the ") + TrackKindName(*finding.kind) + " track";
    case FindingCode::kTrackEndsEarly:
      return std::string(TrackKindName(*finding.kind)) + " ends early, at " +
             TimeText(*finding.count) + " of " + TimeText(*finding.total);
    case FindingCode::kPacketsMisread:
      return Count(*finding.count, "packet") +
             " without error correction data: the parser takes it for granted and misreads them";
    case FindingCode::kPacketsFailed:
      return Count(*finding.count, "packet") + " failed, first packet " +
             std::to_string(*finding.packet) + ": " + FaultText(finding.fault);
  }
  return "";
}

const char* FindingName(const qo_host::Finding& finding) {
  switch (finding.code) {
    case FindingCode::kRefused:
      return "refused";
    case FindingCode::kNotAsf:
      return "not-asf";
    case FindingCode::kNoTrack:
      return "no-track";
    case FindingCode::kTruncated:
      return "truncated";
    case FindingCode::kLayout:
      return "layout";
    case FindingCode::kContentEncrypted:
      return "content-encrypted";
    case FindingCode::kStreamEncrypted:
      return "stream-encrypted";
    case FindingCode::kStreamDropped:
      return "stream-dropped";
    case FindingCode::kNoIndex:
      return "no-index";
    case FindingCode::kIndexUnreached:
      return "index-unreached";
    case FindingCode::kMended:
      return PlanName(finding.plan.note);
    case FindingCode::kStreamAbsent:
      return "stream-absent";
    case FindingCode::kTrackSilent:
      return "track-silent";
    case FindingCode::kTrackEndsEarly:
      return "track-ends-early";
    case FindingCode::kPacketsMisread:
      return "error-correction";
    case FindingCode::kPacketsFailed:
      return "packets-failed";
    case FindingCode::kObjectsLost:
      return "objects-lost";
    case FindingCode::kStreamTwice:
      return "stream-twice";
    case FindingCode::kStreamEmpty:
      return "stream-empty";
    case FindingCode::kObjectOverrun:
      return "object-overrun";
    case FindingCode::kTimesBackwards:
      return "times-backwards";
    case FindingCode::kTimesJump:
      return "times-jump";
    case FindingCode::kSendBackwards:
      return "send-backwards";
    case FindingCode::kSendJump:
      return "send-jump";
    case FindingCode::kPrerollZero:
      return "preroll-zero";
    case FindingCode::kPrerollShort:
      return "preroll-short";
    case FindingCode::kPacketCount:
      return "packet-count";
    case FindingCode::kFileSize:
      return "file-size";
    case FindingCode::kDuration:
      return "duration";
    case FindingCode::kBitrate:
      return "bitrate";
    case FindingCode::kIndexMisleading:
      return "index-misleading";
  }
  return "";
}

const char* SeverityName(qo_host::Severity severity) {
  switch (severity) {
    case qo_host::Severity::kNote:
      return "note";
    case qo_host::Severity::kMended:
      return "mended";
    case qo_host::Severity::kProblem:
      return "problem";
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
