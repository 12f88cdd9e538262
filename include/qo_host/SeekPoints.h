// The places of a file where reading can start, learned by a walk over its packets.
#ifndef QO_HOST_SEEKPOINTS_H
#define QO_HOST_SEEKPOINTS_H

#include <functional>
#include <vector>

#include "qo_host/AsfLayout.h"
#include "qo_host/PacketWalk.h"

namespace qo_host {

// A media object, and the packet that it begins in.
struct SeekPoint {
  unsigned long long packet;  // from 0
  unsigned int timeMs;        // as the parser stamps the object
  unsigned int before;        // objects of its stream that begin in the packet before it
};

// More points of one track are not kept: they would take memory out of proportion.
constexpr std::size_t kMaxSeekPoints = std::size_t{1} << 20;

// The points of one file.
class SeekPoints {
 public:
  // Called now and then with the packets walked and their number; false cancels.
  using Progress = std::function<bool(unsigned long long done, unsigned long long total)>;

  // Learns the points of both tracks by a walk over all packets. `progress` may be
  // empty. On any end but kDone, or where the video track has too many, there are
  // no points.
  WalkResult Learn(IDataSource* source, const AsfLayout& layout, const Progress& progress);
  // Adds those of one packet, which lies behind all that were added before.
  void Add(const Packet& packet, const AsfLayout& layout);
  // Adds those of packets that lie behind all that were added before.
  void Append(const SeekPoints& later);

  // The objects of the video track that are flagged as key frames, in file order.
  const std::vector<SeekPoint>& video() const { return video_; }
  // The first object of the audio track that begins in each packet, in file order;
  // where those are too many, in every second, fourth, ... of these packets.
  const std::vector<SeekPoint>& audio() const { return audio_; }
  // Whether the video track had more than kMaxSeekPoints.
  bool overflowed() const { return overflowed_; }

 private:
  void AddVideo(const Packet& packet, unsigned char stream);
  void AddAudio(const Packet& packet, unsigned char stream);
  void KeepAudio(const SeekPoint& point);

  std::vector<SeekPoint> video_;
  std::vector<SeekPoint> audio_;
  bool overflowed_ = false;
  unsigned long long audioPackets_ = 0;    // in which an audio object begins
  unsigned long long audioKeptOneIn_ = 1;  // of them; a power of two
};

}  // namespace qo_host

#endif  // QO_HOST_SEEKPOINTS_H
