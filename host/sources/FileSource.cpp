// FileSource: owns the descriptor. It reads with pread, never through a mapping:
// a file that shrinks would turn a mapped read into a fault.
#include "qo_host/FileSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace qo_host {
namespace {

// A jump reads two pages. Eight windows of 64 KiB keep the packets between the
// audio and the video cursor in memory and stay within a second-level cache:
// more bytes, or fewer windows, measured slower on large frames.
constexpr std::size_t kMinWindowBytes = std::size_t{8} << 10;
constexpr std::size_t kMaxWindowBytes = std::size_t{64} << 10;
constexpr std::size_t kWindowCount = 8;

constexpr unsigned long long kMaxOffset =
    static_cast<unsigned long long>(std::numeric_limits<off_t>::max());

std::string Reason(int error) { return std::generic_category().message(error); }

// Why a descriptor cannot serve, in words; empty when it can.
std::string Unreadable(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return Reason(errno);
  if (S_ISDIR(status.st_mode)) return Reason(EISDIR);
  if (lseek(descriptor, 0, SEEK_END) < 0) return "it cannot be read at any position, like a file";
  return "";
}

}  // namespace

std::unique_ptr<FileSource> FileSource::OpenPath(const std::string& path, std::string* error) {
  // Non-blocking: opening a pipe must not wait for its writer.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) {
    *error = "cannot open " + path + ": " + Reason(errno);
    return nullptr;
  }
  std::unique_ptr<FileSource> source(new FileSource(descriptor));
  const std::string reason = Unreadable(descriptor);
  if (reason.empty()) return source;
  *error = "cannot read " + path + ": " + reason;
  return nullptr;
}

FileSource::FileSource(int descriptor)
    : CachedSource(kMinWindowBytes, kMaxWindowBytes, kWindowCount), descriptor_(descriptor) {}

FileSource::~FileSource() { close(descriptor_); }

int FileSource::Open() { return SeekTo(0, 0); }

int FileSource::Close() { return 0; }

int FileSource::GetSize(unsigned long long* size) {
  const off_t end = lseek(descriptor_, 0, SEEK_END);
  if (end < 0) return -errno;
  *size = static_cast<unsigned long long>(end);
  return 0;
}

int FileSource::ReadStraight(unsigned long long offset, void* buffer, unsigned long long* size) {
  const int status = Fetch(offset, buffer, size);
  if (status >= 0) return 0;
  *size = 0;
  return status;
}

int FileSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  // The system refuses to look beyond the largest offset that it knows.
  const unsigned long long wanted = offset < kMaxOffset ? std::min(*size, kMaxOffset - offset) : 0;
  *size = 0;
  while (*size < wanted) {
    const ssize_t got = pread(descriptor_, static_cast<char*>(buffer) + *size, wanted - *size,
                              static_cast<off_t>(offset + *size));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -errno;
    if (got == 0) break;
    *size += static_cast<unsigned long long>(got);
  }
  return 0;
}

}  // namespace qo_host
