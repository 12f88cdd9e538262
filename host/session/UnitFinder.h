// Finding units by their times: points of the file tell where they may begin, a session
// to try with, the probe, what comes out there.
#ifndef QO_HOST_UNITFINDER_H
#define QO_HOST_UNITFINDER_H

#include <optional>
#include <vector>

#include "qo_host/AsfLayout.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/ParserSession.h"
#include "qo_host/SeekPoints.h"

namespace qo_host {

// Points of a whole file, or of a part of it.
class KnownPoints {
 public:
  KnownPoints(const AsfLayout& layout, SeekPoints points);

  const AsfLayout& layout() const { return layout_; }
  const std::vector<SeekPoint>& video() const { return points_.video(); }
  const std::vector<SeekPoint>& audio() const { return points_.audio(); }
  // Indices of video(), the earliest first, equals in file order.
  const std::vector<std::size_t>& byTime() const { return byTime_; }

 private:
  AsfLayout layout_;
  SeekPoints points_;
  std::vector<std::size_t> byTime_;
};

// The time as a number that may lie before 0: one that lies within the preroll of a
// compressed payload has wrapped in 32 bits.
long long SignedMs(const AsfLayout& layout, unsigned long long timeMs);

class UnitFinder {
 public:
  // `probe` reads through `view`; all outlive this.
  UnitFinder(const KnownPoints& known, ParserSession* probe, const BorrowedSource* view)
      : known_(known), probe_(probe), view_(view) {}

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

  // kParserOk, or how the parser refused to go to a packet: what was found may be wrong.
  int status() const { return status_; }

 private:
  using Times = std::vector<unsigned long long>;
  // An audio unit: among those of its time in a row, the one with this number,
  // from 1.
  struct UnitMark {
    unsigned long long timeMs;
    unsigned int count;
  };

  long long Ms(unsigned long long timeMs) const { return SignedMs(known_.layout(), timeMs); }
  bool HasVideo() const { return probe_->FindTrack(TrackKind::kVideo) != nullptr; }
  void StartAt(TrackKind kind, unsigned long long packet);
  const AccessUnit* FirstKeyFrame(const SeekPoint& point);

  // Ranges are places in byTime().
  bool HasTimeOfNext(std::size_t k) const;
  std::optional<std::size_t> LastThatCameOut(std::size_t low, std::size_t high, const Times& seen);
  std::optional<std::size_t> LastAccepted(const std::vector<std::size_t>& group);
  Times KeyFrameTimes(std::size_t first, std::size_t last, unsigned long long wanted,
                      long long target);

  std::optional<std::size_t> LastWithAudio(std::size_t best, long long target);
  std::optional<UnitMark> LastAudioUnit(unsigned long long packet, long long target);
  bool StartAtAudio(unsigned long long packet, UnitMark mark);

  const KnownPoints& known_;
  ParserSession* const probe_;
  const BorrowedSource* const view_;
  int status_ = kParserOk;
};

}  // namespace qo_host

#endif  // QO_HOST_UNITFINDER_H
