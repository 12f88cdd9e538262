// A file as the kit plays it: in the form that the parser handles well, and with the
// truth about it.
//
// Typical use, with a source that has been opened and stays so:
//
//   std::unique_ptr<qo_host::PresentedFile> file;
//   const int status = qo_host::PresentedFile::Make(source, {}, &file);
//   if (status >= 0 && file->isPresented()) {
//     std::unique_ptr<IDataSource> presented = file->MakeSource();
//
// A parser that opens `presented` delivers the streams `file->audio()` and
// `file->video()`. ParserSession does all this by itself, and makes the file's own
// units of what the parser delivers.
#ifndef QO_HOST_PRESENTEDFILE_H
#define QO_HOST_PRESENTEDFILE_H

#include <memory>
#include <optional>
#include <vector>

#include "qo_host/Damage.h"
#include "qo_host/FileHeader.h"
#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// Which streams become the tracks.
struct StreamChoice {
  static constexpr unsigned char kNoStream = 0x80;  // none of that kind; streams have 0 to 127

  // A stream number as in the file, or kNoStream; nothing: the first of the kind, those
  // that the header itself lists in front of hidden ones.
  std::optional<unsigned char> audio;
  std::optional<unsigned char> video;

  // `stream`, audio or video, and nothing else.
  static StreamChoice Only(const StreamHeader& stream);
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

// A note and its number.
struct PlanFinding {
  PlanNote note;                 // decides what the value is
  unsigned long long value = 0;  // 0 where the note names none
};

struct Plan;  // what the parser is to see
class KeyObjects;

// A file, its plan, and what is told of its damage as it is read.
class PresentedFile {
 public:
  ~PresentedFile();
  PresentedFile(const PresentedFile&) = delete;
  PresentedFile& operator=(const PresentedFile&) = delete;

  // `source` (not null) has been opened by its owner and must outlive the file and what
  // is made by it. 0 and the file in `*file`, or the failure of the source in the
  // header; then `*file` is null.
  static int Make(IDataSource* source, const StreamChoice& choice,
                  std::unique_ptr<PresentedFile>* file);

  // The same file with other streams. What has been read of header and damage is shared
  // with this file, which need not outlive the other.
  std::unique_ptr<PresentedFile> WithStreams(const StreamChoice& choice) const;

  // The file's own header, whatever is presented.
  const FileHeader& header() const { return *header_; }
  // False: the parser is to have the file as it is, and will say why it is not played.
  bool isPresented() const;
  // Why it is presented, or isn't; what has to be mended in it.
  const std::vector<PlanFinding>& findings() const;
  // The streams played; null where the file has none of the kind, none was chosen, or it
  // is not presented.
  const StreamHeader* audio() const;
  // The same for video.
  const StreamHeader* video() const;
  // Its data packets; the last one counts where it is cut short, too. 0 where it is
  // not presented.
  unsigned long long packetCount() const;
  // For the kit itself.
  const Plan& plan() const { return *plan_; }

  // Of the packets that have been read through any source made here, or by the file that
  // this one has its header from.
  const Damage& damage() const { return *damage_; }
  // Whether an object of a stream lost fragments: whole only once the next object
  // of the stream has been read, or the last packet.
  bool IsIncomplete(unsigned char stream, unsigned long long timeMs) const {
    // Asked of every unit, nearly always of a file without damage.
    return !damage_->objects.empty() &&
           damage_->objects.count({stream, static_cast<unsigned int>(timeMs)}) != 0;
  }

  // Whether the file flags the video object of this time, read lately, as a key frame.
  bool IsKeyFrame(unsigned long long timeMs) const;

  // A source of its own position over the shared one. It must not outlive this.
  // Only where the file is presented.
  std::unique_ptr<IDataSource> MakeSource();

 private:
  PresentedFile(IDataSource* source, std::shared_ptr<const FileHeader> header,
                std::shared_ptr<Damage> damage, const StreamChoice& choice);

  IDataSource* const source_;
  const std::shared_ptr<const FileHeader> header_;
  const std::shared_ptr<Damage> damage_;
  const std::unique_ptr<const Plan> plan_;
  const std::unique_ptr<KeyObjects> keys_;
};

}  // namespace qo_host

#endif  // QO_HOST_PRESENTEDFILE_H
