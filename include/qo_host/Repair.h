// Writes a file anew in the form that every player handles: header and index right,
// each packet whole. Nothing is lost that can be kept.
//
// Typical use, with a source that has been opened and stays so:
//
//   qo_host::Repair repair(source);
//   if (repair.Survey(progress) == qo_host::RepairStatus::kMendable) {
//     repair.Write(sink, progress);
//   }
#ifndef QO_HOST_REPAIR_H
#define QO_HOST_REPAIR_H

#include <functional>
#include <memory>
#include <vector>

#include "qo_host/PresentedFile.h"

namespace qo_host {

// How a step of a repair ended.
enum class RepairStatus : unsigned char {
  kGood,         // nothing is wrong with the file; Write: done
  kMendable,     // the findings tell what will be
  kPastMending,  // the plan of `file()` tells why
  kReadFailed,   // the source
  kCancelled,    // by the progress callback
  kWriteFailed,  // the sink
};

// What is mended. Streams, their form and the bare parser's way with it are no part of
// it.
enum class RepairNote : unsigned char {
  kHeaderObjects,  // objects of the header, their sizes or their number
  kFileSize,       // `value` bytes are stated
  kPacketCount,    // `value` are stated
  kPacketLength,   // `value` bytes are stated at least, others at most or in truth
  kDuration,       // `value` ms are stated, preroll included
  kBroadcast,      // flagged as one that goes on
  kBitrate,        // not stated
  kDataObject,     // its head
  kPackets,        // `value` of them are written anew
  kPacketsGrow,    // each by `value` bytes: error correction data finds no room in them
  kIndexMissing,   // of the video stream `value`
  kIndexWrong,     // of the video stream `value`
  kTrailing,       // what stands behind the data is in another order, or torn
};

// A note and its number.
struct RepairFinding {
  RepairNote note;               // decides what the value is
  unsigned long long value = 0;  // 0 where the note names none
};

// One repair of one file: Survey, then Write as often as wanted.
class Repair {
 public:
  // Called now and then with the packets looked at or written and their number; false
  // cancels. May be empty.
  using Progress = std::function<bool(unsigned long long done, unsigned long long total)>;
  // Takes the next bytes of the mended file; false: it can't.
  using Sink = std::function<bool(const unsigned char* data, std::size_t size)>;

  // `source` (not null) has been opened and must outlive this.
  explicit Repair(IDataSource* source);
  ~Repair();
  Repair(const Repair&) = delete;
  Repair& operator=(const Repair&) = delete;

  // Reads the whole file, once. Memory: the header and the key frames' places.
  RepairStatus Survey(const Progress& progress);

  // Only after Survey has said kGood or kMendable, any number of times. kGood when all
  // is written.
  RepairStatus Write(const Sink& sink, const Progress& progress);

  // These are valid after Survey and owned by this. The file as the kit plays it; null
  // where the header can't be read.
  const PresentedFile* file() const;
  // What will be mended, or would be.
  const std::vector<RepairFinding>& findings() const;
  // What stays lost, of all streams.
  const Damage& damage() const;

 private:
  class Work;

  std::unique_ptr<Work> work_;
};

}  // namespace qo_host

#endif  // QO_HOST_REPAIR_H
