// Finding units by their times: points of the file tell where they may begin, a session
// to try with, the probe, what comes out there.
#ifndef QO_HOST_UNITFINDER_H
#define QO_HOST_UNITFINDER_H

#include <optional>
#include <vector>

#include "host/session/NearPoints.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/ParserSession.h"

namespace qo_host {

class UnitFinder {
 public:
  // `near` is of the file that `probe` reads through `view`; all outlive this.
  UnitFinder(NearPoints* near, ParserSession* probe, const BorrowedSource* view)
      : near_(near), probe_(probe), view_(view) {}

  // The last key frame at or before `target` ms that the delivery accepts: the one with
  // the greatest time, among equals the last in the file.
  std::optional<SeekPoint> FindVideo(long long target);
  // Makes it the next video unit. False: it doesn't come out.
  bool StartAtKeyFrame(const SeekPoint& point);

  // Makes the last audio unit at or before `target` the next one; without one, the first
  // of the track. Moves video.
  struct AudioPlace {
    unsigned long long packet;  // in which its media object begins, or one before it
    unsigned long long timeMs;
  };
  std::optional<AudioPlace> FindAudio(long long target);

  // False: not all could be looked at, so that what was found may be wrong. `near` says why,
  // or the view, or status(): how the parser refused to go to a packet, otherwise kParserOk.
  bool IsSure() const { return !isUnsure_ && status_ >= 0 && view_->failure() >= 0; }
  int status() const { return status_; }

 private:
  using Times = std::vector<unsigned long long>;
  // An audio unit: among those of its time in a row, the one with this number,
  // from 1.
  struct UnitMark {
    unsigned long long timeMs;
    unsigned int count;
  };

  const KnownPoints& known() const { return near_->points(); }
  long long Ms(unsigned long long timeMs) const { return SignedMs(near_->layout(), timeMs); }
  bool HasVideo() const { return probe_->FindTrack(TrackKind::kVideo) != nullptr; }
  void StartAt(TrackKind kind, unsigned long long packet);
  const AccessUnit* FirstKeyFrame(const SeekPoint& point);

  template <typename Found, typename Find>
  std::optional<Found> Search(StreamKind kind, long long target, Find find);
  std::optional<SeekPoint> FindKnownVideo(long long target, std::size_t count);
  std::optional<AudioPlace> FindKnownAudio(long long target);
  // Ranges are places in byTime().
  bool HasTimeOfNext(std::size_t k) const;
  std::optional<std::size_t> LastThatCameOut(std::size_t low, std::size_t high, const Times& seen);
  std::optional<std::size_t> LastAccepted(const std::vector<std::size_t>& group);
  Times KeyFrameTimes(std::size_t first, std::size_t last, unsigned long long wanted,
                      long long target);

  std::optional<std::size_t> LastWithAudio(std::size_t best, long long target);
  std::optional<UnitMark> LastAudioUnit(unsigned long long packet, long long target);
  bool StartAtAudio(unsigned long long packet, UnitMark mark);

  NearPoints* const near_;
  ParserSession* const probe_;
  const BorrowedSource* const view_;
  int status_ = kParserOk;
  bool isUnsure_ = false;
};

}  // namespace qo_host

#endif  // QO_HOST_UNITFINDER_H
