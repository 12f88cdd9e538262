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
#include <optional>
#include <vector>

#include "qo_host/AsfLayout.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/ParserSession.h"
#include "qo_host/SeekPoints.h"

namespace qo_host {

// The end of an exact seek.
struct ExactSeek {
  enum class Outcome : unsigned char {
    kFound,
    kNothingBefore,  // no such unit: reading starts at the beginning of the file
    kCancelled,      // by the progress callback; reading goes on where it was
    kFailed,         // `problem` says why; reading goes on where it was
  };
  enum class Problem : unsigned char {
    kNone,
    kNoTrack,        // the session is not open, or the file has none
    kTooManyPoints,  // the video track has more than kMaxSeekPoints key frames
    kSourceFailed,   // or threw; `status` is its failure
    kParserRefused,  // `status` is the parser's
  };
  Outcome outcome = Outcome::kNothingBefore;
  Problem problem = Problem::kNone;
  int status = kParserOk;
  unsigned long long packet = 0;  // kFound: the packet in which the unit's media object begins;
                                  // without video, in a file of more than kMaxSeekPoints packets
                                  // with audio, perhaps one before it
  unsigned long long timeMs = 0;  // kFound: the unit's time
};

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
  // The first such seek walks all packets and keeps what it learns; `progress` may
  // be empty. Every seek tries its way with a parser of its own, which then takes
  // the place of the session's: a seek that fails has moved nothing. No exception
  // of the source passes; one of `progress` does, with nothing moved.
  ExactSeek Seek(unsigned long long timeMs, const SeekPoints::Progress& progress = {});

 private:
  using Times = std::vector<unsigned long long>;
  // An audio unit: among those of its time in a row, the one with this number,
  // from 1.
  struct UnitMark {
    unsigned long long timeMs;
    unsigned int count;
  };

  // False: `result_` says why.
  bool Learn(const SeekPoints::Progress& progress);
  bool OpenProbe();
  void Fail(ExactSeek::Problem problem, int status = kParserOk);
  void Settle(bool found);

  long long Ms(unsigned long long timeMs) const;
  bool HasVideo() const { return probe_->FindTrack(TrackKind::kVideo) != nullptr; }
  void StartAt(TrackKind kind, unsigned long long packet);
  const AccessUnit* StartAtKeyFrame(const SeekPoint& point);
  bool StartAtAudio(unsigned long long packet, UnitMark mark);

  // Points of the video track are given by their place in points_->video(), or, as
  // a range, by places in byTime_.
  bool FindVideo(long long target);
  bool HasTimeOfNext(std::size_t k) const;
  std::optional<std::size_t> LastThatCameOut(std::size_t low, std::size_t high, const Times& seen);
  std::optional<std::size_t> LastAccepted(const std::vector<std::size_t>& group);
  Times KeyFrameTimes(std::size_t first, std::size_t last, unsigned long long wanted,
                      long long target);
  bool SettleOn(const SeekPoint& point);

  bool FindAudio(long long target);
  std::optional<std::size_t> LastWithAudio(std::size_t best, long long target);
  std::optional<UnitMark> LastAudioUnit(unsigned long long packet, long long target);

  ParserSession* session_;
  // Learned by the first seek.
  AsfLayout layout_;
  std::optional<SeekPoints> points_;
  std::vector<std::size_t> byTime_;  // video points, the earliest first, equals in file order
  // Of the seek under way.
  BorrowedSource* view_ = nullptr;  // the probe's source
  std::unique_ptr<ParserSession> probe_;
  ExactSeek result_;
};

}  // namespace qo_host

#endif  // QO_HOST_EXACTSEEK_H
