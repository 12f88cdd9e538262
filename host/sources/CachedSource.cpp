// The windows of CachedSource, which owns them, the position and nothing else.
#include "qo_host/CachedSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qo_host {
namespace {

// Copies two halves, which may overlap: `size` is at least one of them, at most both.
template <typename Half>
inline void CopyHalves(void* to, const unsigned char* from, unsigned long long size) {
  const unsigned long long rest = size - sizeof(Half);
  Half first, last;
  std::memcpy(&first, from, sizeof(Half));
  std::memcpy(&last, from + rest, sizeof(Half));
  std::memcpy(to, &first, sizeof(Half));
  std::memcpy(static_cast<unsigned char*>(to) + rest, &last, sizeof(Half));
}

// Most reads of the demultiplexer are fields of up to 8 bytes, most of these of one:
// each becomes a few moves instead of a call.
inline void CopyBytes(void* to, const unsigned char* from, unsigned long long size) {
  if (size == 1) {
    std::memcpy(to, from, 1);
  } else if (size - 4 <= 4) {
    CopyHalves<unsigned int>(to, from, size);
  } else if (size - 2 <= 1) {
    CopyHalves<unsigned short>(to, from, size);
  } else if (size != 0) {
    std::memcpy(to, from, size);
  }
}

}  // namespace

CachedSource::CachedSource(std::size_t minWindowBytes, std::size_t maxWindowBytes,
                           std::size_t windowCount)
    : minWindowBytes_(minWindowBytes), maxWindowBytes_(maxWindowBytes), windows_(windowCount) {}

CachedSource::~CachedSource() = default;

int CachedSource::Read(void* buffer, unsigned long long* size) {
  const unsigned long long wanted = *size;
  const unsigned char* const from = cursor_;
  if (wanted > static_cast<unsigned long long>(limit_ - from)) {
    return ReadSlow(Position(), buffer, size);
  }
  cursor_ = from + wanted;
  CopyBytes(buffer, from, wanted);
  return 0;
}

int CachedSource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  const unsigned long long at = offset - start_;
  const unsigned long long wanted = *size;
  if (at > length_ || wanted > length_ - at) return ReadSlow(offset, buffer, size);
  const unsigned char* const from = bytes_ + at;
  cursor_ = from + wanted;
  isAway_ = false;
  CopyBytes(buffer, from, wanted);
  return 0;
}

int CachedSource::SeekTo(unsigned long long offset, int whence) {
  if (whence == 1) {
    if (offset <= static_cast<unsigned long long>(limit_ - cursor_)) {
      cursor_ += offset;
    } else {
      MoveTo(Position() + offset);
    }
    return 0;
  }
  if (whence != 0) return -EINVAL;
  MoveTo(offset);
  return 0;
}

int CachedSource::GetPosition(unsigned long long* position) {
  *position = Position();
  return 0;
}

inline unsigned long long CachedSource::Position() const {
  return isAway_ ? away_ : start_ + static_cast<unsigned long long>(cursor_ - bytes_);
}

void CachedSource::MoveTo(unsigned long long position) {
  // Wraps to a large number for a position in front of the window.
  const unsigned long long at = position - start_;
  isAway_ = at > length_;
  away_ = position;
  cursor_ = isAway_ ? limit_ : bytes_ + at;
}

// Reads at `offset`. A failure leaves the position where it is.
int CachedSource::ReadSlow(unsigned long long offset, void* buffer, unsigned long long* size) {
  // The window under the cursor may give way to another.
  away_ = Position();
  isAway_ = true;
  if (offset != away_) otherReader_ = away_;
  if (!CopyFromWindows(offset, static_cast<unsigned char*>(buffer), *size)) {
    const int status = Fetch(offset, buffer, size);
    if (status < 0) {
      *size = 0;
      MoveTo(away_);
      return status;
    }
  }
  MoveTo(offset + *size);
  return 0;
}

// False when the windows don't hold all of it. What is as long as a window is
// left to a read of its own: a copy saved, and the other windows kept.
bool CachedSource::CopyFromWindows(unsigned long long offset, unsigned char* out,
                                   unsigned long long size) {
  if (size >= maxWindowBytes_ || size > ~offset) return size == 0;
  while (size != 0) {
    const Window& window = WindowAt(offset);
    const unsigned long long at = offset - window.offset;
    const unsigned long long part = std::min(size, window.span - at);
    if (at > window.length || part > window.length - at) return false;
    CopyBytes(out, window.bytes.get() + at, part);
    out += part;
    offset += part;
    size -= part;
  }
  return true;
}

// The window around `offset`, which becomes the current one.
const CachedSource::Window& CachedSource::WindowAt(unsigned long long offset) {
  Window* found = nullptr;
  for (Window& window : windows_) {
    if (offset - window.offset < window.span) found = &window;
  }
  const Window& window = found != nullptr ? *found : *OpenWindow(offset);
  bytes_ = window.bytes.get();
  start_ = window.offset;
  length_ = window.length;
  cursor_ = limit_ = bytes_ + length_;
  return window;
}

CachedSource::Extent CachedSource::PlaceWindow(unsigned long long offset, std::size_t size) const {
  return {offset - offset % minWindowBytes_, size};
}

// A window that both readers have passed: its memory is in the processor's cache still.
// Without one the oldest. Jumps within a window aren't seen; the place remembered then lies
// behind the reader's, so that a window is kept longer than needed.
CachedSource::Window& CachedSource::ReplacedWindow(unsigned long long offset) {
  const unsigned long long passed = std::min(offset, otherReader_);
  Window* oldest = &windows_.front();
  for (Window& window : windows_) {
    if (window.span != 0 && window.offset + window.span <= passed) return window;
    if (window.number < oldest->number) oldest = &window;
  }
  if (otherReader_ - oldest->offset < oldest->span) otherReader_ = kNoReader;
  return *oldest;
}

// Reads a new window. One that fails or is cut short stays, so that a bad region isn't
// read anew by every small request.
CachedSource::Window* CachedSource::OpenWindow(unsigned long long offset) {
  Extent extent = PlaceWindow(offset, minWindowBytes_);
  bool continues = false;
  for (const Window& window : windows_) {
    if (window.span != 0 && window.offset + window.span == extent.offset) {
      // A window that ended early says nothing of how much is needed to reach `offset`.
      extent = PlaceWindow(offset, std::clamp(2 * window.span, minWindowBytes_, maxWindowBytes_));
      continues = true;
    }
  }
  // Where one reader begins anew the other one may follow.
  if (!continues) otherReader_ = offset;
  Window& window = ReplacedWindow(offset);
  window.number = ++opened_;
  if (!window.bytes) window.bytes.reset(new unsigned char[maxWindowBytes_]);
  // Should Fetch throw, there is no window.
  bytes_ = cursor_ = limit_ = nullptr;
  start_ = length_ = window.span = window.length = 0;
  unsigned long long got = extent.size;
  if (Fetch(extent.offset, window.bytes.get(), &got) < 0) got = 0;
  window.offset = extent.offset;
  window.span = extent.size;
  window.length = static_cast<std::size_t>(std::min<unsigned long long>(got, extent.size));
  return &window;
}

}  // namespace qo_host
