// What a file holds that the parser's interface doesn't tell: the host's own,
// read-only view of the header, the data object and what lies behind it.
//
// Any bytes are tolerated: reading ends where they make no sense, and `problem`
// tells. Memory grows with the number of streams in the header alone.
#ifndef QO_HOST_ASFLAYOUT_H
#define QO_HOST_ASFLAYOUT_H

#include <optional>
#include <vector>

#include "qo_host/StreamKind.h"
#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// One stream of the header.
struct StreamLayout {
  unsigned int codecTag;  // audio: the format tag. video: the FourCC, first character in the lowest
                          // byte. Otherwise, and where the header is too short, 0
  unsigned char number;   // 0 to 127
  StreamKind kind;        // kOther where the GUID of its type is unknown
  bool encrypted;         // the stream's own flag
  bool hidden;            // described in the header extension only, where the parser doesn't look
  bool isTrack;           // the first audio or the first video stream: the parser drops all others
};

// The first simple index object behind the data.
struct IndexLayout {
  unsigned int entries;         // as the object counts them, unchecked
  unsigned long long interval;  // between two entries, 100 ns
};

// What ended the reading of a layout early, or is odd about it. An object of
// impossible size is smaller than an object can be, or reaches beyond what holds it.
enum class LayoutProblem : unsigned char {
  kNone,
  kNotAsf,               // the file does not begin with a header object
  kHeaderSize,           // the header says that it is smaller than a header can be
  kHeaderCut,            // the file ends in the header
  kHeaderObjectSize,     // an object of impossible size in the header
  kExtensionCut,         // the file ends in the header extension
  kExtensionObjectSize,  // an object of impossible size there
  kDataCut,              // the file ends in front of the first packet
  kNoDataObject,         // something else stands behind the header
  kDataEmpty,            // the data object says that it is empty, but something follows it
  kTrailingCut,          // the file ends in what lies behind the data
  kTrailingObjectSize,   // an object of impossible size there
};

// A file's layout, as ReadLayout finds it.
struct AsfLayout {
  bool isAsf = false;  // the file begins with a header object; otherwise nothing below is set
  LayoutProblem problem = LayoutProblem::kNone;  // the first met
  std::optional<unsigned long long> fileSize;    // bytes; nothing when the source doesn't know

  // The header. The file properties are 0 where the header has none.
  unsigned long long headerSize = 0;       // bytes, as the header says
  unsigned long long prerollMs = 0;        // what presentation times in packets are ahead
  unsigned int minPacketLength = 0;        // bytes
  unsigned int maxPacketLength = 0;        // bytes
  std::vector<StreamLayout> streams;       // in file order
  bool contentEncryption = false;          // the parser refuses these files
  bool extendedContentEncryption = false;  // it plays these, what is encrypted included
  bool advancedContentEncryption = false;  // the same

  // The data object.
  bool hasDataObject = false;           // there is one where the header ends
  unsigned long long dataSize = 0;      // bytes, as it says, its 50-byte header included
  unsigned long long packetsStart = 0;  // file offset of packet 0
  unsigned int packetLength = 0;        // bytes, as the parser reckons it when it opens the file

  // Nothing, too, where there is no data in front of it, or the source doesn't know the
  // file's size.
  std::optional<IndexLayout> simpleIndex;

  // File offset of the end of the data object; the largest number there is when
  // the sizes don't add up.
  unsigned long long DataEnd() const;
  // File offset of a packet; the largest number there is when no file has it.
  unsigned long long PacketPosition(unsigned long long number) const;
  // The packet that lies at a file offset; 0 for one in front of the packets.
  unsigned long long PacketAt(unsigned long long offset) const;
  // Packets that begin inside the data object: those that the parser walks. With
  // a packet length of 0 there is at most one.
  unsigned long long PacketsInData() const;
  // Those of them that the file holds whole; all of them when its size is not
  // known.
  unsigned long long PacketsInFile() const;
  // Whether the file ends before the data object does.
  bool IsTruncated() const;
  bool IsEncrypted() const;  // any of the three objects, or a stream's own flag
};

// Reads the layout through `source` (not null), whose position it moves, into
// `*layout` (not null), of which nothing stays as it was. 0, or the source's
// failure (see BorrowedSource for one that throws); then `layout` holds what was
// read until then. Bad bytes are no failure:
// they are told in `layout->problem`.
int ReadLayout(IDataSource* source, AsfLayout* layout);

}  // namespace qo_host

#endif  // QO_HOST_ASFLAYOUT_H
