// Writes a file anew in the form that every player handles: header and index right,
// each packet whole. Nothing is lost that can be kept.
//
// Typical use, with a source that has been opened and stays so:
//
//   host::Repair repair(source);
//   if (repair.Survey(progress) == host::RepairStatus::kMendable) {
//     repair.Write(sink, progress);
//   }
#ifndef QO_HOST_REPAIR_H
#define QO_HOST_REPAIR_H

#include <functional>
#include <memory>
#include <vector>

#include "host/KeyFrameIndex.h"
#include "host/Plan.h"

namespace host {

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

struct RepairFinding {
  RepairNote note;
  unsigned long long value = 0;
};

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

  // Reads the whole file, once. Memory: the header and the key frames' places.
  RepairStatus Survey(const Progress& progress);

  // Only after Survey has said kGood or kMendable, any number of times. kGood when all
  // is written.
  RepairStatus Write(const Sink& sink, const Progress& progress);

  // All are valid after Survey. Null where the header can't be read.
  const PresentedFile* file() const { return file_.get(); }
  const std::vector<RepairFinding>& findings() const { return findings_; }
  // What stays lost, of all streams.
  const Damage& damage() const { return damage_; }

 private:
  // What stands behind the packets: made bytes, or those of the file where there are
  // none.
  struct Piece {
    std::vector<unsigned char> made;
    FileExtent copied;
  };
  using Visit = std::function<bool(const PacketMender& mender, unsigned long long number,
                                   const unsigned char* bytes, bool isRight)>;

  const DataExtent& data() const { return file_->plan().data; }
  unsigned long long DataSize() const;
  unsigned int WrittenLength() const { return data().packetLength + growth_; }
  void Note(RepairNote note, unsigned long long value = 0) { findings_.push_back({note, value}); }

  RepairStatus VisitPackets(const Progress& progress, Damage* damage, const Visit& visit);
  RepairStatus SurveyPackets(const Progress& progress);
  bool NeedsRoom(const PacketMender& mender, const unsigned char* bytes);
  bool Read(const FileExtent& extent, std::vector<unsigned char>* bytes);

  void PlaceIndexes();
  std::vector<unsigned char> FittingIndex(std::size_t rank);
  void PlaceOthers();
  bool IsTorn(unsigned long long offset);
  bool IsTailKept() const;
  unsigned long long TailSize() const;
  void MakeHead();
  void NoteHead();
  void NoteProperties(const asf_file_properties_object& made);
  bool WritePiece(const Sink& sink, const Piece& piece, RepairStatus* status);

  IDataSource* const source_;
  std::unique_ptr<PresentedFile> file_;
  Damage damage_;
  std::vector<KeyFrameIndex> indexes_;  // of the video streams, in the order of their numbers
  unsigned long long anew_ = 0;         // packets that are not right
  unsigned int growth_ = 0;             // of each packet, bytes
  std::vector<unsigned char> written_;  // a packet
  std::vector<unsigned char> head_;     // all in front of packet 0
  std::vector<Piece> tail_;
  std::vector<RepairFinding> findings_;
};

}  // namespace host

#endif  // QO_HOST_REPAIR_H
