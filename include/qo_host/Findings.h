// What a host should know of a file, as codes and numbers: what makes it bad, and
// what is merely worth a note.
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
  kTrackSilent,     // no unit came out of the track `kind`
  kTrackEndsEarly,  // the last unit of the track `kind` has time `count` ms of `total`
  kPacketsMisread,  // `count` packets have no error correction data, which the parser grants
  kPacketsFailed,   // `count` packets cannot be walked; the first is `packet`, for `fault`
  kObjectsLost,     // `count` media objects lost fragments
};

// One of them, with what it names.
struct Finding {
  FindingCode code;
  bool isProblem;  // it makes the file bad
  // What the code names; otherwise as it is here.
  int status = 0;
  LayoutProblem layout = LayoutProblem::kNone;
  std::optional<StreamLayout> stream = std::nullopt;
  TrackKind kind = TrackKind::kVideo;
  PacketFault fault = PacketFault::kNone;
  PlanFinding plan = {};
  unsigned long long packet = 0;
  unsigned long long count = 0;
  unsigned long long total = 0;
};

// What came out of one track.
struct TrackTotals {
  unsigned long long units = 0;
  unsigned long long bytes = 0;
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
  const ParserSession& session;
  const AsfLayout& layout;
  IDataSource* file;  // not null; read from, and its position moved
};

// Judges a file, not what is presented of it, by its header and its size. `status` is
// what the session's Open returned.
std::vector<Finding> JudgeOpen(const JudgedFile& judged, int status);

// Adds what a whole play-out tells, right after it: the position of the session's
// source still tells whether it went to the end. Packets are read again where it did
// not, where the totals disagree with the header, or with `explain`. 0, or the failure
// of a read; then what was found until then is added.
int JudgePlayOut(const JudgedFile& judged, const Totals& totals, bool explain,
                 std::vector<Finding>* findings);

}  // namespace qo_host

#endif  // QO_HOST_FINDINGS_H
