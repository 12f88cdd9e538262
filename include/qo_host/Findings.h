// What a host should know of a file, as codes and numbers: what makes it bad, what the
// kit makes good, and what is merely worth a note.
#ifndef QO_HOST_FINDINGS_H
#define QO_HOST_FINDINGS_H

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "qo_host/AsfLayout.h"
#include "qo_host/PacketReader.h"
#include "qo_host/ParserSession.h"

namespace qo_host {

// What there is to know.
enum class FindingCode : unsigned char {
  // Of the header and the size of the file.
  kRefused,           // the parser refuses the file with `status`
  kNotAsf,            // it does not begin with an ASF header
  kNoTrack,           // it has neither audio nor video
  kTruncated,         // it holds `count` whole packets of `total`
  kLayout,            // `layout` tells
  kContentEncrypted,  // in a way that the parser does not refuse
  kStreamEncrypted,   // `stream` is marked so
  kStreamDropped,     // `stream` is no track
  kNoIndex,           // seeking is estimated from the bit rate
  kIndexUnreached,    // there is one, but the parser does not reach it: the same
  kMended,        // the file is presented otherwise than it is, for `plan`; a bare host meets it
  kStreamAbsent,  // the stream chosen, `count`, is not there
  // Of a play-out.
  kTrackSilent,     // no unit came out of the track `kind`; a problem where none came at all
  kTrackEndsEarly,  // the last unit of the track `kind` has time `count` ms of `total`
  kPacketsMisread,  // `count` packets have no error correction data, which the parser grants: the
                    // kit mends them
  kPacketsFailed,   // `count` packets cannot be walked; the first is `packet`, for `fault`
  kObjectsLost,     // `count` media objects lost fragments: of `stream`, or of the tracks
  // Of the packets and the header against each other (see FileCheck): notes, since a
  // player brings all there is all the same, unless it says otherwise. Where `packet` is
  // given there are `count` such places, and it is that of the first.
  kStreamTwice,    // `count` descriptions have the number of `stream`; a problem where they are not
                   // of one kind, so that the payloads of some go to the wrong one
  kStreamEmpty,    // `stream` has no payload
  kObjectOverrun,  // payloads of `stream` reach beyond the size stated of their media object
  kTimesBackwards,  // an object of `stream`, of time `timeMs`, is earlier than one in front of it,
                    // of `stated` ms; of video, one that is not reordered with it
  kTimesJump,       // none of `stream` between `stated` ms and `timeMs`, far more than is usual
  kSendBackwards,   // the packet is to be sent at `timeMs`, the one in front of it at `stated`
  kSendJump,        // the same, but far later, and its objects are not
  kPrerollZero,     // players begin before anything has arrived
  kPrerollShort,  // `stated` ms, but objects come so late that it would take `actual`; the latest,
                  // of `stream`, ends in `packet`
  kPacketCount,   // the header states `stated`, there are `actual`
  kFileSize,      // the same, bytes
  kDuration,      // the same, ms, preroll not included
  kBitrate,       // the header states at most `stated` bits per second, of which none is stated
                  // where that is 0; on average there are `actual`
  kIndexMisleading,  // the index for `stream` leads elsewhere than to its key frames. Seeks that
                     // go by it land elsewhere; what is played from there is right
};

// How much it matters.
enum class Severity : unsigned char {
  kNote,     // harmless, or wrong on paper only
  kMended,   // the kit makes it good; a bare host does not
  kProblem,  // something of the file is lost or played wrongly: it is bad
};

// One of them: what its code names is there, the rest is not.
struct Finding {
  FindingCode code;                                         // decides what the rest mean
  Severity severity;                                        // of this one: some codes have several
  int status = 0;                                           // kRefused: what Open returned
  LayoutProblem layout = LayoutProblem::kNone;              // kLayout
  PacketFault fault = PacketFault::kNone;                   // kPacketsFailed: of the first
  PlanFinding plan = {};                                    // kMended, kStreamAbsent
  std::optional<StreamLayout> stream = std::nullopt;        // `isTrack` is set by JudgeOpen alone
  std::optional<TrackKind> kind = std::nullopt;             // kTrackSilent, kTrackEndsEarly
  std::optional<unsigned long long> packet = std::nullopt;  // from 0
  std::optional<unsigned long long> count = std::nullopt;   // of what, the code says
  std::optional<unsigned long long> total = std::nullopt;   // what `count` should be
  std::optional<long long> timeMs = std::nullopt;  // preroll not included, but of a sending time
  // What the header, or the object or packet in front, says, and what there is in its place.
  // Ms, but packets, bytes or bits per second where the code is about those.
  std::optional<long long> stated = std::nullopt;
  std::optional<long long> actual = std::nullopt;
};

// What came out of one track.
struct TrackTotals {
  unsigned long long units = 0;    // access units handed out
  unsigned long long bytes = 0;    // in them
  unsigned long long firstMs = 0;  // time of the first unit
  unsigned long long lastMs = 0;   // the greatest time of any unit
};

// A play-out, track by track.
class Totals {
 public:
  // Counts a unit.
  void Add(const AccessUnit& unit);
  // What has been counted of a kind.
  const TrackTotals& of(TrackKind kind) const { return totals_[Slot(kind)]; }

 private:
  static std::size_t Slot(TrackKind kind) { return kind == TrackKind::kVideo ? 0 : 1; }
  std::array<TrackTotals, 2> totals_{};
};

// A file under judgement: its session, its layout, and the bytes themselves, which
// the session's own source may answer from memory. Where it is presented, all of a
// play-out is judged by what is presented. They must outlive the calls here.
struct JudgedFile {
  const ParserSession& session;  // Open has been called, with success or not
  const AsfLayout& layout;       // of what `file` brings
  IDataSource* file;             // not null; read from, and its position moved
};

// Judges a file, not what is presented of it, by its header and its size. `status` is
// what the session's Open returned.
std::vector<Finding> JudgeOpen(const JudgedFile& judged, int status);

// Adds what a whole play-out tells, right after it: the position of the session's
// source still tells whether it went to the end. Packets are read again where it did
// not, or where the totals disagree with the header. 0, or the failure of a read; then
// what was found until then is added.
int JudgePlayOut(const JudgedFile& judged, const Totals& totals, std::vector<Finding>* findings);

}  // namespace qo_host

#endif  // QO_HOST_FINDINGS_H
