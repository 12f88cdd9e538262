// Reads from a byte source: the one place that knows what a short read means.
//
// A source that brings fewer bytes than asked for has not failed: what is
// missing counts as 0 and parsing goes on. A length of 0 causes no read, for
// some sources take one for their end.
#ifndef QO_ASF_FORMAT_SOURCEREADER_H
#define QO_ASF_FORMAT_SOURCEREADER_H

#include <algorithm>
#include <cstring>

#include "asf/format/ByteReader.h"
#include "qo_parser_asf/IDataSource.h"

class SourceReader {
 public:
  // `source` is not owned and not null while an operation is called.
  explicit SourceReader(IDataSource* source) : source_(source) {}

  // Read `size` bytes to `out`, zero-filling what the source does not bring,
  // and store in `*got` how many it brought. A negative result is the source's
  // failure; success is 0, whatever the source calls it.
  [[nodiscard]] int ReadAt(unsigned long long offset, void* out, unsigned long long size,
                           unsigned long long* got) {
    *got = size;
    return Finish(size == 0 ? 0 : source_->ReadAt(offset, out, got), out, size, got);
  }
  [[nodiscard]] int Read(void* out, unsigned long long size, unsigned long long* got) {
    *got = size;
    return Finish(size == 0 ? 0 : source_->Read(out, got), out, size, got);
  }
  [[nodiscard]] int ReadAt(unsigned long long offset, void* out, unsigned long long size) {
    unsigned long long got;
    return ReadAt(offset, out, size, &got);
  }
  [[nodiscard]] int Read(void* out, unsigned long long size) {
    unsigned long long got;
    return Read(out, size, &got);
  }

  // Reads what stands behind the object header that `record` begins with.
  template <typename Record>
  [[nodiscard]] int ReadBehindHeader(Record* record) {
    constexpr std::size_t kHeaderBytes = sizeof(record->header);
    return Read(reinterpret_cast<unsigned char*>(record) + kHeaderBytes,
                sizeof(*record) - kHeaderBytes);
  }

  // Reads `size` bytes to `out` and leaves what is missing as it was: for media
  // data, of which only the bytes brought are ever looked at.
  [[nodiscard]] int ReadBody(void* out, unsigned long long size, unsigned long long* got) {
    *got = size;
    const int status = source_->Read(out, got);
    if (*got > size) *got = size;
    return FailureOnly(status);
  }

  [[nodiscard]] int Position(unsigned long long* position) {
    *position = 0;
    return FailureOnly(source_->GetPosition(position));
  }
  [[nodiscard]] int SeekTo(unsigned long long offset) {
    return FailureOnly(source_->SeekTo(offset, 0));
  }
  [[nodiscard]] int Skip(unsigned long long bytes) {
    return FailureOnly(source_->SeekTo(bytes, 1));
  }

  // Reads a field whose width a 2-bit length type gives: 0 = absent, 1, 2 or 3 =
  // one, two or four bytes. An absent field and one that cannot be read are 0.
  // Each width loads what was stored, no more: a wider load would wait for it. The
  // most frequent widths are asked about first.
  unsigned int ReadCoded(unsigned int lengthType) {
    unsigned char bytes[4];
    if (lengthType == 0) return 0;
    if (lengthType == 1) return Read(bytes, 1) < 0 ? 0 : bytes[0];
    if (lengthType == 3) return Read(bytes, 4) < 0 ? 0 : LoadLe32(bytes);
    return lengthType == 2 && Read(bytes, 2) >= 0 ? LoadLe16(bytes) : 0;
  }

 private:
  static int FailureOnly(int status) { return status < 0 ? status : 0; }

  static int Finish(int status, void* out, unsigned long long size, unsigned long long* got) {
    if (status < 0) return status;
    if (*got < size) std::memset(static_cast<char*>(out) + *got, 0, size - *got);
    *got = std::min(*got, size);
    return 0;
  }

  IDataSource* source_;
};

#endif  // QO_ASF_FORMAT_SOURCEREADER_H
