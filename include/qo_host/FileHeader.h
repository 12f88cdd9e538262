// Everything that an ASF file's header says: its objects, streams, tags, lists and
// encryption, read by the host itself, whatever the parser takes from it.
//
// Any bytes are tolerated: what is whole is kept, what made no sense is noted in
// `problems`. Memory grows with the header that is there, not with the sizes that it
// states: its bytes once, up to kMaxFileHeaderBytes, and records for what is in them.
// Text is UTF-8 throughout.
#ifndef QO_HOST_FILEHEADER_H
#define QO_HOST_FILEHEADER_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qo_host/Guid.h"
#include "qo_host/StreamKind.h"
#include "qo_host/TagText.h"
#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// Bytes. A header beyond it is read up to here: several pictures of the largest size
// that are worth having, 16 MiB, fit.
constexpr unsigned long long kMaxFileHeaderBytes = 64ull << 20;

// The entries kept of all lists together, objects and names included. Only a file that
// means harm has more.
constexpr std::size_t kMaxHeaderEntries = 0x20000;

// Bytes [position, position + size) of the file. In a FileHeader they always lie
// within `bytes`.
struct ByteRange {
  std::size_t position = 0;  // from the file's first byte
  std::size_t size = 0;      // 0: the file has nothing there
};

// An object of the header.
struct HeaderObject {
  Guid id;                  // what kind of object it is; listed whether the kit knows it or not
  unsigned long long size;  // bytes, as it says, its own 24 included
  ByteRange range;          // what there is of it, those 24 included: less than `size` where it
                            // reaches beyond what holds it, or where the file ends in it
  unsigned char depth;      // 0: of the header. 1: of the header extension. 2: the stream
                            // properties within extended stream properties
};

// File properties: what the writer says of the whole file, right or not.
struct FileProperties {
  Guid fileId;                      // the data object and the indexes repeat it
  unsigned long long fileSize;      // bytes
  unsigned long long creationDate;  // 100 ns since the year 1601
  unsigned long long dataPackets;   // as counted by the writer; mostly 0 with the broadcast flag
  unsigned long long playDuration;  // 100 ns, preroll included
  unsigned long long sendDuration;  // 100 ns
  unsigned long long prerollMs;     // what presentation times in packets are ahead by
  unsigned int flags;               // bit 0 broadcast, bit 1 seekable
  unsigned int minPacketLength;     // bytes
  unsigned int maxPacketLength;     // bytes
  unsigned int maxBitrate;          // bits per second
};

// What an audio stream's type-specific data begins with.
struct AudioFormat {
  unsigned short formatTag;            // the codec, by its WAVE format number
  unsigned short channels;             // unchecked, like all of these: 0 is possible
  unsigned int samplesPerSecond;       // of one channel
  unsigned int averageBytesPerSecond;  // of the coded stream
  unsigned short blockAlign;           // bytes
  unsigned short bitsPerSample;  // of one channel, decoded; 0 where the codec has no such number
};

// A format tag that leaves the codec to ExtensibleFormat.
constexpr unsigned int kExtensibleTag = 0xFFFE;

// What follows AudioFormat then.
struct ExtensibleFormat {
  unsigned short validBitsPerSample;  // of AudioFormat::bitsPerSample, those in use; some codecs
                                      // state samples in a block
  unsigned int channelMask;  // the speakers, a bit each: 1 front left, 2 front right, 4 centre, ...
  Guid subFormat;            // the codec
  std::optional<unsigned short> formatTag;  // that the sub-format stands for, where it does for one
};

// What that of a video stream begins with, in part.
struct VideoFormat {
  // Pixels, in front of the bitmap header: those that the parser reports.
  unsigned int encodedWidth;
  unsigned int encodedHeight;
  int width;                // pixels; of the bitmap header, like the rest
  int height;               // pixels; negative where the rows begin at the top
  unsigned short bitCount;  // bits in a pixel
};

// Stream properties.
struct StreamHeader {
  unsigned char number;  // 0 to 127
  StreamKind kind;       // kOther where `type` is unknown
  bool encrypted;        // its own flag
  bool hidden;  // described in extended stream properties only, where the parser doesn't look
  std::size_t position;           // of its stream properties object, bytes from the file's first
  Guid type;                      // what `kind` was taken from
  unsigned long long timeOffset;  // 100 ns
  unsigned int codecTag;          // audio: the format tag. video: the FourCC, first character in
                                  // the lowest byte. Otherwise, and where the data is too short: 0
  ByteRange typeSpecific;         // what a decoder needs; as much as is stated and there
  Guid errorCorrectionType;       // none, or audio spread, which interleaves bytes of objects
  ByteRange errorCorrection;      // its parameters; as much as is stated and there
  // The typeSpecific data taken apart; nothing for other kinds, and where it is too short.
  std::optional<AudioFormat> audio;
  std::optional<ExtensibleFormat> extensible;
  std::optional<VideoFormat> video;
  ByteRange codecData;  // behind `audio` or `video`: as much as is stated and there
};

// A stream's name in one language.
struct StreamName {
  unsigned short language;  // index of FileHeader::languages
  std::string text;         // for people to choose by, "Director's commentary" for instance
};

// Data that each payload of a stream brings with it.
struct PayloadExtension {
  Guid system;          // what the data means
  unsigned short size;  // bytes in each payload; 0xFFFF: they vary
  ByteRange info;       // settings of the system; mostly nothing
};

// Extended stream properties.
struct ExtendedStream {
  unsigned short number;    // of the stream
  unsigned short language;  // index of FileHeader::languages
  // When its first object begins and its last one ends; 0 = unknown.
  unsigned long long startTimeMs;
  unsigned long long endTimeMs;
  unsigned int bitsPerSecond;  // without what packets add
  // A buffer that is emptied at that rate never overflows: how much it holds, and how full
  // it is at first. The same for the alternate rate, which is the highest of any moment.
  unsigned int bufferMs;
  unsigned int initialFullnessMs;
  unsigned int alternateBitsPerSecond;
  unsigned int alternateBufferMs;
  unsigned int alternateInitialFullnessMs;
  unsigned int maximumObjectSize;          // bytes; 0 = unknown
  unsigned long long averageTimePerFrame;  // 100 ns; 0 = unknown
  unsigned int flags;  // bit 0 reliable, 1 seekable, 2 no cleanpoints, 3 resend live cleanpoints
  std::vector<StreamName> names;                    // one for each language that it is named in
  std::vector<PayloadExtension> payloadExtensions;  // in the order of their data in a payload
};

// A row of the stream bitrate properties.
struct StreamBitrate {
  unsigned char stream;        // its number, 0 to 127
  unsigned int bitsPerSecond;  // on average, with what packets add
};

// A row of the codec list: words for people, which decide nothing.
struct CodecEntry {
  unsigned short type;      // 1 video, 2 audio
  std::string name;         // "Windows Media Audio 9.2" for instance
  std::string description;  // its settings, as "64 kbps, 44 kHz, stereo"; often empty
  ByteRange info;           // a format tag or FourCC, mostly
};

// A named place in the file.
struct Marker {
  unsigned long long time;    // 100 ns, preroll included
  unsigned long long offset;  // of its packet, bytes from the data object's first
  unsigned int sendTimeMs;    // when its packet is to be sent
  std::string description;    // what a player lists it as
};

// A text for the player at a time.
struct ScriptCommand {
  unsigned int timeMs;  // preroll included
  std::size_t type;     // index of FileHeader::commandTypes; beyond it where the file has none
  std::string text;     // what the type acts on: an address to open, a caption to show
};

// The objects about encryption.
enum class EncryptionKind : unsigned char {
  kContent,   // the parser refuses these files
  kExtended,  // it doesn't refuse what follows
  kAdvanced,
  kSignature,  // a digital signature, which encrypts nothing by itself
};

// An object about encryption. Streams have a flag of their own besides.
struct Encryption {
  EncryptionKind kind;     // decides which of the rest are filled
  std::string scheme;      // kContent: the protection type, "DRM". kAdvanced: the system's GUID
  std::string keyId;       // kContent
  std::string licenseUrl;  // kContent
  std::string text;        // kExtended: the rights header, XML
  std::vector<unsigned char> streams;  // kAdvanced: those it names; none: all
  unsigned int type = 0;               // kAdvanced: the system's version. kSignature: its type
  ByteRange data;                      // secret data, the rights header, the signature
};

// The object that a tag stands in.
enum class TagOrigin : unsigned char {
  kContentDescription,          // the five names "Title", "Author", "Copyright", "Description",
                                // "Rating"; values are text
  kExtendedContentDescription,  // any names
  kMetadata,                    // may belong to a stream
  kMetadataLibrary,             // may belong to a stream, and have a language
};

// One value under one name; there may be several.
struct HeaderTag {
  TagOrigin origin;         // one name may have a value in each
  unsigned short type;      // kMetaString to kMetaWord, kMetaGuid, or what else the file says
  unsigned short stream;    // 0: the whole file
  unsigned short language;  // index of FileHeader::languages; 0 also where there is none
  std::string name;         // as in the file, "WM/AlbumTitle" for instance
  std::string text;         // texts, numbers in decimal, "true" and "false", GUIDs; of others empty
  unsigned long long number;  // numbers and kMetaBool; otherwise 0
  ByteRange value;            // as it stands in the file
};

// What made no sense.
enum class HeaderProblem : unsigned char {
  kNotAsf,         // the file does not begin with a header object: nothing else was read
  kHeaderSize,     // the header says that it is smaller than a header can be: it is taken to end
                   // where a data object begins
  kHeaderCut,      // the file ends in the header
  kHeaderTooLong,  // what lies behind kMaxFileHeaderBytes was not read
  kDataInHeader,   // a data object begins in the header: it ends there
  kCountTooSmall,  // more objects than the header counts; those behind are read as well
  kCountTooLarge,  // fewer
  kObjectSize,     // an object states fewer bytes than any has: what follows was not read
  kObjectTooLong,  // an object reaches beyond what holds it: it is read as far as that goes
  kExtensionSize,  // the header extension's data has not the size that it states
  kLooseBytes,     // too few for an object, where one would begin
  kRecordCut,      // an object ends in its fixed fields, or in one of its records: those in front
                   // of it are kept
  kTooMany,        // more entries than kMaxHeaderEntries: the others were left out
};

// A problem and its place.
struct HeaderIssue {
  HeaderProblem problem;  // each that is met; those of the header as a whole come once
  std::size_t position;   // of the object or record, bytes from the file's first
};

// A file's header, as ReadFileHeader finds it.
struct FileHeader {
  bool isAsf = false;  // the file begins with a header object; otherwise nothing else is set
  std::vector<unsigned char> bytes;   // of the file, from its first to the header's end
  unsigned long long statedSize = 0;  // of the header object, bytes
  unsigned int statedCount = 0;       // of objects in it
  std::vector<HeaderIssue> problems;  // in the order in which they were met
  std::vector<HeaderObject> objects;  // in file order, nested ones behind what holds them

  // All in file order.
  std::optional<FileProperties> properties;     // the last, as the parser has it
  std::vector<StreamHeader> streams;            // a number may come twice
  std::vector<ExtendedStream> extendedStreams;  // also of numbers that `streams` hasn't
  std::vector<StreamBitrate> bitrates;          // of the stream bitrate properties
  std::vector<std::string> languages;           // "en-us" (RFC 1766); an index may lie beyond it
  std::vector<CodecEntry> codecs;               // of the codec list; nothing ties them to `streams`
  std::string markersName;                      // of the list that `markers` are; mostly empty
  std::vector<Marker> markers;                  // not sorted by time
  std::vector<std::string> commandTypes;        // "URL", "TEXT", ...
  std::vector<ScriptCommand> commands;          // not those that a stream brings
  std::vector<Encryption> encryptions;  // may be empty where a stream has its flag: see IsEncrypted
  std::vector<HeaderTag> tags;  // of the content description, those that are not empty; else all

  // The first byte of a range, within `bytes`; valid as long as `bytes` is unchanged.
  const unsigned char* Data(ByteRange range) const { return bytes.data() + range.position; }

  // The first of a stream number; null when there is none. Valid while the header is
  // unchanged.
  const StreamHeader* Stream(unsigned char number) const;
  // The same for its extended stream properties.
  const ExtendedStream* Extended(unsigned char number) const;
  std::optional<unsigned int> Bitrate(unsigned char number) const;  // bits per second
  // Of the first tag of this name that a stream has, or else that the whole file has; 0
  // without one.
  unsigned long long TagNumber(unsigned char stream, const char* name) const;

  // An empty text for an index beyond the list.
  std::string Language(unsigned short index) const;

  bool IsEncrypted() const;  // any encryption but a signature, or a stream's own flag

  // The picture that a tag holds; nothing when it is none or cannot be taken apart.
  std::optional<Picture> PictureOf(const HeaderTag& tag) const;
};

// Reads the header through `source` (not null), whose position it moves, into
// `*header` (not null), of which nothing stays as it was. 0, or the source's failure
// (see BorrowedSource for one that throws); then `header` holds what was read until
// then. Bad bytes are no failure: they are told in `problems`.
int ReadFileHeader(IDataSource* source, FileHeader* header);

}  // namespace qo_host

#endif  // QO_HOST_FILEHEADER_H
