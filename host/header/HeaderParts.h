// The readers of single header objects. Each takes the bytes that there are of one
// object and adds what is whole in them to a FileHeader; private to its reading.
#ifndef QO_HOST_HEADERPARTS_H
#define QO_HOST_HEADERPARTS_H

#include <string>
#include <utility>

#include "asf/format/ByteReader.h"
#include "asf/format/Records.h"
#include "qo_host/FileHeader.h"

namespace qo_host {

// What the readers fill: the header, its problems, and the count of entries.
class HeaderFiller {
 public:
  explicit HeaderFiller(FileHeader* header) : header_(header) {}

  FileHeader& operator*() const { return *header_; }
  FileHeader* operator->() const { return header_; }

  void Note(HeaderProblem problem, std::size_t position);

  // Counts an entry that stands at `position`; false, and noted, when there may be no
  // more.
  [[nodiscard]] bool TakeRoom(std::size_t position);

 private:
  FileHeader* header_;
  std::size_t entries_ = 0;
  bool full_ = false;  // and that is noted
};

// A cursor over a range of the header, which must not grow meanwhile. It remembers
// whether everything fitted.
class RangeReader {
 public:
  RangeReader(const FileHeader& header, ByteRange range)
      : header_(header), begin_(range.position), reader_(header.Data(range), range.size) {}

  std::size_t position() const { return begin_ + reader_.position(); }
  std::size_t remaining() const { return reader_.remaining(); }
  bool fits() const { return fits_; }

  // 0 where it doesn't fit.
  unsigned char U8() { return Load<unsigned char>(); }
  unsigned short U16() { return Load<unsigned short>(); }
  unsigned int U32() { return Load<unsigned int>(); }
  unsigned long long U64() { return Load<unsigned long long>(); }
  Guid Id() { return Load<Guid>(); }
  bool Read(void* record, std::size_t size) { return Keep(reader_.ReadBytes(record, size)); }

  // The next `size` bytes; none where they don't fit.
  ByteRange Take(unsigned long long size);
  // As many of them as there are.
  ByteRange TakeUpTo(unsigned long long size);
  // The same as text up to a NUL: UTF-16LE, or ASCII with U+FFFD for each byte beyond
  // it.
  std::string Utf16(unsigned long long bytes);
  std::string Ascii(unsigned long long bytes);

 private:
  template <typename Value>
  Value Load() {
    Value value = {};
    (void)Read(&value, sizeof(value));
    return value;
  }
  bool Keep(bool fits) { return fits_ = fits && fits_; }

  const FileHeader& header_;
  std::size_t begin_;
  ByteReader reader_;
  bool fits_ = true;
};

// Adds `count` records, each as `read(reader)` returns it, to `*list`, up to the first
// that doesn't fit or has no room; then that is noted.
template <typename List, typename Read>
void ReadRecords(HeaderFiller* filler, RangeReader* reader, unsigned long long count, List* list,
                 Read read) {
  std::size_t position = reader->position();
  for (; count != 0 && reader->fits(); --count) {
    position = reader->position();
    typename List::value_type record = read(reader);
    if (!reader->fits()) break;
    if (!filler->TakeRoom(position)) return;
    list->push_back(std::move(record));
  }
  if (!reader->fits()) filler->Note(HeaderProblem::kRecordCut, position);
}

// These two take a whole object, its own header included. Of extended stream
// properties, the position behind names and payload extension systems is returned; 0
// where they don't fit.
void ReadStreamProperties(HeaderFiller* filler, ByteRange object, bool hidden);
std::size_t ReadExtendedStream(HeaderFiller* filler, ByteRange object);

// The others take what stands behind an object's header.
void ReadStreamBitrates(HeaderFiller* filler, ByteRange body);
void ReadContentDescription(HeaderFiller* filler, ByteRange body);
void ReadExtendedContentDescription(HeaderFiller* filler, ByteRange body);
void ReadMetadata(HeaderFiller* filler, ByteRange body, TagOrigin origin);
void ReadLanguages(HeaderFiller* filler, ByteRange body);
void ReadCodecs(HeaderFiller* filler, ByteRange body);
void ReadMarkers(HeaderFiller* filler, ByteRange body);
void ReadCommands(HeaderFiller* filler, ByteRange body);
// `id` is that of one of the four kinds.
void ReadEncryption(HeaderFiller* filler, AsfObjectId id, ByteRange body);

// What an object of any kind says itself. The position of the objects nested in it; 0 where it has
// none, and for those that would nest without end.
std::size_t ReadOwnContents(HeaderFiller* filler, const HeaderObject& object);

}  // namespace qo_host

#endif  // QO_HOST_HEADERPARTS_H
