// The points around a time, learned from the packets there.
//
// As long as the times of the stream that have been seen ascend along the file (see
// TimeOrder), those that have not are taken to do so as well. Where they don't, and once
// half as many packets have been looked at as there are, all of them are walked, and what
// that tells is kept: from then on nothing more is read.
#ifndef QO_HOST_NEARPOINTS_H
#define QO_HOST_NEARPOINTS_H

#include <array>
#include <limits>
#include <optional>

#include "host/session/KnownPoints.h"
#include "host/session/TimeOrder.h"

namespace qo_host {

class NearPoints {
 public:
  // `source` is not owned.
  NearPoints(IDataSource* source, AsfLayout layout);

  // `progress`, of SeekPoints, is not owned; null: none.
  void SetProgress(const SeekPoints::Progress* progress) { progress_ = progress; }

  // Learns the points of a track around `target` ms. False, here and below: there are none,
  // and result() or overflowed() says why.
  bool LookAround(StreamKind kind, long long target);
  // Learns those of more packets in front as well; only while points() are not from the
  // start.
  bool LookFurther();
  // Learns all.
  bool LookEverywhere();
  // How the last of these ended.
  const WalkResult& result() const { return result_; }
  // Whether the video track has too many.
  bool overflowed() const { return window_.points.overflowed(); }

  const AsfLayout& layout() const { return layout_; }
  const KnownPoints& points() const { return *points_; }
  // Whether those of the track with times from `sinceMs` to the target are all there.
  bool HasAllSince(long long sinceMs) const;

 private:
  // What is known of a track, whatever the target.
  struct Track {
    int stream = -1;
    bool isSampled = false;
    TimeOrder order;
  };
  // The packets around the target that have been looked at, and what the first and the last
  // few of them that tell times are at.
  struct Window {
    unsigned long long first = 0, end = 0;
    long long frontMs = std::numeric_limits<long long>::max();  // none of these later
    long long backMs = std::numeric_limits<long long>::min();   // none earlier
    SeekPoints points;
  };

  std::optional<TimeRun> TimesOf(const Packet& packet) const;
  template <typename Visit>
  bool Walk(unsigned long long first, unsigned long long end, Visit visit);
  bool Probe(unsigned long long first, unsigned long long end, unsigned int wanted,
             std::optional<TimeRun>* run);
  bool Sample();
  bool FindPlace();
  bool LookBack();
  bool LookAhead();
  bool IsWorthwhile() const;

  IDataSource* const source_;
  const AsfLayout layout_;
  const unsigned long long count_;  // packets
  const SeekPoints::Progress* progress_ = nullptr;
  std::array<Track, 2> tracks_;  // video, audio
  bool isWhole_ = false;
  unsigned long long looked_ = 0;  // packets, whatever the target
  WalkResult result_ = {WalkEnd::kDone, 0};
  std::optional<KnownPoints> points_;
  // Of the target at hand.
  Track* track_ = nullptr;
  long long target_ = 0;
  Window window_;
  unsigned long long step_ = 0;  // packets to look back by
};

}  // namespace qo_host

#endif  // QO_HOST_NEARPOINTS_H
