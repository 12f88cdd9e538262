// A file as a byte source.
//
// Files above 4 GiB are fine. A file that shrinks while it is open gives short
// reads, never a fault; what is still in memory may be answered from there. A
// read error of the system comes back as -errno.
#ifndef QO_HOST_FILESOURCE_H
#define QO_HOST_FILESOURCE_H

#include <memory>
#include <string>

#include "qo_host/CachedSource.h"

namespace qo_host {

// A file, open from OpenPath until it is destroyed.
class FileSource final : public CachedSource {
 public:
  // Opens the file at `path` for reading. Null when it cannot be opened, is a
  // directory or cannot be read at any position (a pipe); then `*error` (not
  // null) says so in words, with the file's name.
  static std::unique_ptr<FileSource> OpenPath(const std::string& path, std::string* error);

  // Closes the descriptor.
  ~FileSource() override;

  // The file is open from OpenPath until destruction: Open rewinds and Close
  // does nothing, so that a host can go on reading after the parser's Close.
  int Open() override;
  int Close() override;
  // The file's size at this moment. 0, or -errno.
  int GetSize(unsigned long long* size) override;

  // As ReadAt, but straight from the file: for a reader that has windows of its own. The
  // windows and the position stay as they are.
  int ReadStraight(unsigned long long offset, void* buffer, unsigned long long* size);

 private:
  explicit FileSource(int descriptor);
  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override;

  int descriptor_;
};

}  // namespace qo_host

#endif  // QO_HOST_FILESOURCE_H
