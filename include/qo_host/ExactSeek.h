// Seeking to the last key frame at or before a time, index or not.
//
// Typical use:
//
//   qo_host::ExactSeeker seeker(&session);
//   const qo_host::ExactSeek seek = seeker.Seek(60000);
//   if (seek.outcome == qo_host::ExactSeek::Outcome::kFound) ...
//   while (const qo_host::AccessUnit* unit = session.NextUnit()) ...
#ifndef QO_HOST_EXACTSEEK_H
#define QO_HOST_EXACTSEEK_H

#include <memory>

#include "qo_host/ParserSession.h"
#include "qo_host/SeekPoints.h"

namespace qo_host {

// The end of an exact seek.
struct ExactSeek {
  // How it ended.
  enum class Outcome : unsigned char {
    kFound,
    kNothingBefore,  // no such unit: reading starts at the beginning of the file
    kCancelled,      // by the progress callback; reading goes on where it was
    kFailed,         // `problem` says why; reading goes on where it was
  };
  // Why it failed.
  enum class Problem : unsigned char {
    kNone,
    kNoTrack,        // the session is not open, or the file has none
    kTooManyPoints,  // all were walked, and the video track has more than kMaxSeekPoints key frames
    kSourceFailed,   // or threw; `status` is its failure
    kParserRefused,  // `status` is the parser's
  };
  Outcome outcome = Outcome::kNothingBefore;  // and, by it, where the session reads on
  Problem problem = Problem::kNone;           // kNone but for kFailed
  int status = kParserOk;         // of kSourceFailed and kParserRefused; otherwise kParserOk
  unsigned long long packet = 0;  // kFound: the packet in which the unit's media object begins;
                                  // without video, in a file of more than kMaxSeekPoints packets
                                  // with audio, perhaps one before it
  unsigned long long timeMs = 0;  // kFound: the unit's time
};

// Seeks exactly in one session, any number of times.
class ExactSeeker {
 public:
  // Seeks in `session` (not null), which has been opened and must outlive the seeker.
  explicit ExactSeeker(ParserSession* session);
  ~ExactSeeker();
  ExactSeeker(const ExactSeeker&) = delete;
  ExactSeeker& operator=(const ExactSeeker&) = delete;

  // Finds the last key frame at or before `timeMs`, as the delivery sees key
  // frames: the one with the greatest time, among equals the last in the file. It
  // is the next video unit then, and audio begins with the last unit at or before
  // its time, or, without one, with the track's first. Without video it finds the
  // last audio unit at or before `timeMs`.
  //
  // Reads the packets around the place: a few evenly over the file, a few more to halve
  // what lies between, and then in a row from in front of the key frame to half a second behind
  // the target; the longer the key frames lie apart, and the less the times of a stream ascend
  // along the file, the more. All packets are walked, once, where the times seen are more than 10 s
  // out of order, or where half as many packets have been looked at, seeks before included;
  // then nothing but what is played is read any more. What is learned is kept until the session
  // changes streams.
  //
  // The answer is that of a walk over all packets, provided that what has not been read is in
  // no worse order than what has. An object far from its place, alone in a long file, is missed:
  // say, one whose time is damaged.
  //
  // `progress` may be empty; it is called with the packets looked at, over all seeks, or, while all
  // are walked, with those walked. Every seek tries its way with a parser of its own, which then
  // takes the place of the session's: a seek that fails has moved nothing. No exception of the
  // source passes; one of `progress` does, with nothing moved.
  ExactSeek Seek(unsigned long long timeMs, const SeekPoints::Progress& progress = {});

 private:
  class Search;

  const std::unique_ptr<Search> search_;
};

}  // namespace qo_host

#endif  // QO_HOST_EXACTSEEK_H
