// What a walk over the packets of a file measures, in so many numbers for a file of any
// length: over time in bins that double their width as the file turns out longer, over the
// file in places, each of which is a range of packets.
#ifndef QO_TOOLS_REPORT_MEASURES_H
#define QO_TOOLS_REPORT_MEASURES_H

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "qo_host/PacketReader.h"
#include "qo_host/StreamKind.h"

namespace tool {

// From the least to the greatest of some numbers; none while least > greatest.
struct Span {
  long long least = 1;
  long long greatest = 0;

  bool any() const { return least <= greatest; }
  void Add(long long value);
};

// One stream. Times are in ms from the presentation's start, those in front of it 0.
struct StreamMeasure {
  qo_host::StreamKind kind = qo_host::StreamKind::kOther;
  unsigned long long bytes = 0;        // of payloads
  unsigned long long objects = 0;      // that begin in the file
  unsigned long long astrayBytes = 0;  // of `bytes`, at times that cannot be right: in no bin
  Span times;                          // of the objects, but for those

  // Of objects flagged as key frames. A distance is that between one and the next.
  unsigned long long keyFrames = 0;
  std::optional<long long> lastKeyMs;
  unsigned long long keyDistances = 0;
  unsigned long long keyDistanceSumMs = 0;
  long long longestKeyDistanceMs = 0;

  std::vector<unsigned long long> bytesOver;      // by bin of time
  std::vector<long long> longestKeyDistanceOver;  // ms, by bin of time in which it ends; 0: none
  std::vector<Span> timesAt;                      // of the objects that begin there, by place
};

// A range of packets.
struct Place {
  unsigned long long first = 0;    // packet
  unsigned long long packets = 0;  // that are there
  unsigned long long damaged = 0;  // of them
  unsigned long long bytes = 0;    // of those that are not damaged
  unsigned long long padding = 0;  // of those bytes
  Span audioAhead;                 // ms that audio is ahead of video, behind each packet
};

struct DamagedPacket {
  unsigned long long number;
  qo_host::PacketFault fault;
};

// A time to seek to, and where the nearest places are at which reading can start; nothing
// where there is none on that side.
struct SeekTarget {
  unsigned long long timeMs = 0;
  std::optional<long long> before;  // at or before it
  std::optional<long long> after;   // at or after it
};

class Measures {
 public:
  static constexpr std::size_t kBins = 480;
  static constexpr std::size_t kPlaces = 400;
  static constexpr std::size_t kDamagedListed = 20;

  // What is known before the walk.
  struct Expectation {
    unsigned long long packets = 0;             // stated, or there
    unsigned int packetLength = 0;              // bytes
    unsigned long long durationMs = 0;          // that is to be believed; 0: unknown
    std::optional<unsigned char> audio, video;  // stream numbers whose distance is measured
    std::vector<unsigned long long> targetsMs;  // of seeks, ascending
  };
  explicit Measures(const Expectation& expectation);

  // A stream that the header describes.
  void AddStream(unsigned char number, qo_host::StreamKind kind);

  // The next packet, taken as it says. `isDamaged` also where it reads well, but something
  // else knows better.
  void Add(const qo_host::Packet& packet, bool isDamaged);

  const std::map<unsigned char, StreamMeasure>& streams() const { return streams_; }
  long long binMs() const { return binMs_; }
  const std::vector<Place>& places() const { return places_; }
  unsigned long long packets() const { return packets_; }
  unsigned long long damaged() const { return damaged_; }
  unsigned long long withoutErrorCorrection() const { return withoutErrorCorrection_; }
  const std::vector<DamagedPacket>& damagedList() const { return damagedList_; }  // the first
  // Payloads of undescribed streams, but for those of damaged packets.
  unsigned long long undescribedBytes() const { return undescribedBytes_; }
  std::vector<SeekTarget> Targets() const;
  const Expectation& expectation() const { return expectation_; }

 private:
  void AddPayload(const qo_host::Payload& payload, std::size_t place, StreamMeasure* measure);
  void AddObject(unsigned char number, bool isKey, long long timeMs, StreamMeasure* stream);
  void AddKeyFrame(long long timeMs, std::size_t bin, StreamMeasure* stream);
  std::optional<std::size_t> BinOf(long long timeMs);
  void DoubleBins();

  const Expectation expectation_;
  std::map<unsigned char, StreamMeasure> streams_;
  long long binMs_;
  std::optional<long long> topMs_;  // the greatest time so far
  std::vector<Place> places_;
  unsigned long long packets_ = 0;
  unsigned long long damaged_ = 0;
  unsigned long long withoutErrorCorrection_ = 0;
  unsigned long long undescribedBytes_ = 0;
  std::vector<DamagedPacket> damagedList_;
  std::optional<long long> audioMs_, videoMs_;  // of the object that began last
  std::vector<Span> startsBetween_;  // of reading: at or before each target, behind the one before
};

}  // namespace tool

#endif  // QO_TOOLS_REPORT_MEASURES_H
