// How a file is to be played: which streams, what the parser is to see, and what is
// wrong with the file. Decided by its header, its first packets and what stands
// behind its data; plain data.
//
// Typical use, with a source that has been opened and stays so:
//
//   std::unique_ptr<host::PresentedFile> file;
//   const int status = host::PresentedFile::Make(source, {}, &file);
//   std::unique_ptr<IDataSource> presented = file->MakeSource();
//
// A parser that opens `presented` delivers the streams of `file->plan()`; what its
// units are, UnitForm tells.
#ifndef QO_HOST_PLAN_H
#define QO_HOST_PLAN_H

#include <memory>
#include <optional>
#include <vector>

#include "host/DataExtent.h"
#include "host/FileHeader.h"
#include "host/PresentedSource.h"
#include "host/UnitForm.h"

namespace host {

// Stream numbers as in the file; nothing: the first of the kind, those that the header
// itself lists in front of hidden ones.
struct StreamChoice {
  std::optional<unsigned char> audio;
  std::optional<unsigned char> video;
};

struct PlannedStream {
  StreamHeader header;  // its ranges are those of PresentedFile::header()
  StreamForm form;
};

// Why the parser has to be shown something else than the file, or is better not shown
// it at all.
enum class PlanNote : unsigned char {
  kNotAsf,           // no ASF file: not presented, and neither are the next four
  kNoStream,         // neither audio nor video
  kEncrypted,        // by content encryption, which the parser refuses
  kPacketLength,     // `value` bytes: no length for a packet, or above kMaxPacketLength
  kNoPackets,        // the file ends in front of the first
  kStreamAbsent,     // no audio or video, as chosen, has the number `value`
  kHeaderMisread,    // the parser would take something else from the header than it says
  kDataSize,         // `value` bytes are stated for the data object, which has others
  kDuration,         // `value` ms are stated, preroll included, but the last packets say otherwise
  kIndexUnreached,   // the parser's walk behind the data doesn't come to the index
  kErrorCorrection,  // packet 0 has not two bytes of error correction data, which the parser takes
                     // for granted
  kStreamHidden,     // the stream `value` stands in the header extension only
  kUnitsBent,        // the parser would cut, strip or stamp the units of the stream `value` wrongly
};

struct PlanFinding {
  PlanNote note;
  unsigned long long value = 0;
};

// Bytes. Files have packets of up to 64 KiB.
constexpr unsigned int kMaxPacketLength = 1u << 20;

struct Plan {
  // False: the parser is to have the file as it is, and will say why it is not played.
  bool isPresented = false;
  Presentation presentation;  // its header is empty where the file's own does
  DataExtent data;
  unsigned long long playDuration = 0;  // 100 ns, preroll included, as it is presented
  std::optional<PlannedStream> audio;
  std::optional<PlannedStream> video;
  std::vector<PlanFinding> findings;
};

// `source` (not null) has been opened; its position is moved. What cannot be read counts
// as not there.
Plan MakePlan(IDataSource* source, const FileHeader& header, const StreamChoice& choice);

// A file, its plan, and what is told of its damage as it is read.
class PresentedFile {
 public:
  // `source` (not null) has been opened by its owner and must outlive the file and what
  // is made by it. 0 and the file in `*file`, or the failure of the source in the
  // header; then `*file` is null.
  static int Make(IDataSource* source, const StreamChoice& choice,
                  std::unique_ptr<PresentedFile>* file);

  const FileHeader& header() const { return header_; }
  const Plan& plan() const { return plan_; }

  // Of the packets that have been read through any source made here.
  const Damage& damage() const { return damage_; }
  // Whether an object of a stream lost fragments: whole only once the next object
  // of the stream has been read, or the last packet.
  bool IsIncomplete(unsigned char stream, unsigned long long timeMs) const {
    // Asked of every unit, nearly always of a file without damage.
    return !damage_.objects.empty() &&
           damage_.objects.count({stream, static_cast<unsigned int>(timeMs)}) != 0;
  }

  // A source of its own position over the shared one. It must not outlive this.
  // Only where the plan says that the file is presented.
  std::unique_ptr<IDataSource> MakeSource();

 private:
  explicit PresentedFile(IDataSource* source) : source_(source) {}

  IDataSource* const source_;
  FileHeader header_;
  Plan plan_;
  Damage damage_;
};

}  // namespace host

#endif  // QO_HOST_PLAN_H
