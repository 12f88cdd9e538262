// The windows of CachedSource, which owns them, the position and nothing else.
#include "host/CachedSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace host {
namespace {

// Most reads of the demultiplexer are fields of these sizes: each becomes a move
// instead of a call.
inline void CopyBytes(void* to, const unsigned char* from, unsigned long long size) {
  if (size == 1) {
    std::memcpy(to, from, 1);
  } else if (size == 2) {
    std::memcpy(to, from, 2);
  } else if (size == 4) {
    std::memcpy(to, from, 4);
  } else if (size == 8) {
    std::memcpy(to, from, 8);
  } else if (size != 0) {
    std::memcpy(to, from, size);
  }
}

}  // namespace

CachedSource::CachedSource(std::size_t minWindowBytes, std::size_t maxWindowBytes,
                           std::size_t windowCount)
    : minWindowBytes_(minWindowBytes),
      maxWindowBytes_(maxWindowBytes),
      windows_(windowCount),
      current_(&windows_.front()) {}

CachedSource::~CachedSource() = default;

int CachedSource::Read(void* buffer, unsigned long long* size) {
  const unsigned long long wanted = *size;
  if (wanted > remaining_) return ReadSlow(Position(), buffer, size);
  const unsigned char* const from = cursor_;
  cursor_ = from + wanted;
  remaining_ -= wanted;
  CopyBytes(buffer, from, wanted);
  return 0;
}

int CachedSource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  const unsigned long long wanted = *size;
  // Wraps to a large number for an offset in front of the window.
  const unsigned long long at = offset - current_->offset;
  if (at >= current_->length || wanted > current_->length - at) {
    return ReadSlow(offset, buffer, size);
  }
  CopyBytes(buffer, current_->bytes.get() + at, wanted);
  MoveTo(offset + wanted);
  return 0;
}

int CachedSource::SeekTo(unsigned long long offset, int whence) {
  if (whence != 0 && whence != 1) return -EINVAL;
  MoveTo(whence == 1 ? Position() + offset : offset);
  return 0;
}

int CachedSource::GetPosition(unsigned long long* position) {
  *position = Position();
  return 0;
}

void CachedSource::MoveTo(unsigned long long position) {
  const unsigned long long at = position - current_->offset;
  const bool inside = at < current_->length;
  cursor_ = current_->bytes.get() + (inside ? at : 0);
  remaining_ = inside ? current_->length - at : 0;
  end_ = position + remaining_;
}

int CachedSource::ReadSlow(unsigned long long offset, void* buffer, unsigned long long* size) {
  // The window under the cursor may give way to another.
  end_ = Position();
  remaining_ = 0;
  if (!CopyFromWindows(offset, static_cast<unsigned char*>(buffer), *size)) {
    const int status = Fetch(offset, buffer, size);
    if (status < 0) {
      *size = 0;
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
  current_ = found != nullptr ? found : OpenWindow(offset);
  return *current_;
}

// Reads a new window in place of the oldest. One that fails or is cut short stays,
// so that a bad region isn't read anew by every small request.
CachedSource::Window* CachedSource::OpenWindow(unsigned long long offset) {
  const unsigned long long start = offset & ~static_cast<unsigned long long>(minWindowBytes_ - 1);
  std::size_t span = minWindowBytes_;
  for (const Window& window : windows_) {
    if (window.span != 0 && window.offset + window.span == start) {
      span = std::min(2 * window.span, maxWindowBytes_);
    }
  }
  Window& window = windows_[oldest_];
  oldest_ = (oldest_ + 1) % windows_.size();
  if (!window.bytes) window.bytes.reset(new unsigned char[maxWindowBytes_]);
  window.span = window.length = 0;  // should Fetch throw
  unsigned long long got = span;
  if (Fetch(start, window.bytes.get(), &got) < 0) got = 0;
  window.offset = start;
  window.span = span;
  window.length = static_cast<std::size_t>(std::min<unsigned long long>(got, span));
  return &window;
}

}  // namespace host
