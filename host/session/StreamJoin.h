// Joining a stream while others play: what a session that has just been opened reads to
// stand where another one has got to.
#ifndef QO_HOST_STREAMJOIN_H
#define QO_HOST_STREAMJOIN_H

#include <optional>

#include "host/session/UnitFinder.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/ParserSession.h"

namespace qo_host {

// The packets around the place are read, back to where the unit wanted begins; all only
// where times don't ascend along the file (see NearPoints).
class StreamJoin {
 public:
  // `session` reads through `view`; both outlive this.
  StreamJoin(ParserSession* session, BorrowedSource* view) : session_(session), view_(view) {}

  // All three: kParserOk, or the failure of the source or the parser.
  int GoTo(unsigned long long timeMs);
  // Behind GoTo, audio first: it moves video. Audio goes on with its first unit at or
  // after the time, video with the last key frame at or before it; without one, each
  // with its first unit.
  int JoinAudio();
  int JoinVideo();

 private:
  int StatusOf(const UnitFinder& finder) const;

  ParserSession* const session_;
  BorrowedSource* const view_;
  long long target_ = 0;  // ms
  std::optional<NearPoints> near_;
};

}  // namespace qo_host

#endif  // QO_HOST_STREAMJOIN_H
