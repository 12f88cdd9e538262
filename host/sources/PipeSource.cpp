// PipeSource: owns the blocks that it has read, the oldest first.
#include "qo_host/PipeSource.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace qo_host {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{64} << 10;
constexpr unsigned long long kBlocks = PipeSource::kHeldBytes / kBlockBytes;

// As for a file.
constexpr std::size_t kMinPipeWindowBytes = std::size_t{8} << 10;
constexpr std::size_t kMaxPipeWindowBytes = std::size_t{64} << 10;
constexpr std::size_t kPipeWindowCount = 8;

// A read that begins this near behind what is held goes on with it; any other looks ahead.
constexpr unsigned long long kNearBytes = 1ull << 20;

}  // namespace

PipeSource::PipeSource(int descriptor, int stop)
    : CachedSource(kMinPipeWindowBytes, kMaxPipeWindowBytes, kPipeWindowCount),
      descriptor_(descriptor),
      stop_(stop) {}

PipeSource::~PipeSource() = default;

int PipeSource::Open() { return SeekTo(0, 0); }

int PipeSource::Close() { return 0; }

int PipeSource::GetSize(unsigned long long* size) {
  const int status = FillTo(start_ + kHeldBytes);
  if (status < 0) return status;
  if (!isEnded_) return -ESPIPE;
  *size = end_;
  return 0;
}

CachedSource::Extent PipeSource::PlaceWindow(unsigned long long offset, std::size_t size) const {
  Extent extent = CachedSource::PlaceWindow(offset, size);
  if (offset >= start_) extent.offset = std::max(extent.offset, start_);
  return extent;
}

int PipeSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  const unsigned long long wanted = *size;
  *size = 0;
  const unsigned long long last = wanted > ~offset ? ~0ull : offset + wanted;
  const bool isNear = offset <= end_ || offset - end_ <= kNearBytes;
  if (!isNear && last > start_ + kHeldBytes) return 0;
  const int status = FillTo(last);
  if (status < 0) return status;
  if (offset < start_) {
    if (failure_ == 0) failure_ = -ESPIPE;
    return -ESPIPE;
  }
  if (offset >= end_) return 0;
  *size = std::min(wanted, end_ - offset);
  Copy(offset, static_cast<unsigned char*>(buffer), *size);
  return 0;
}

// Reads on until `end` is held, or the stream ends. A parser goes on behind a failure: it
// would wait again.
int PipeSource::FillTo(unsigned long long end) {
  while (end_ < end && !isEnded_ && readFailure_ == 0) {
    readFailure_ = FillOnce();
    if (failure_ == 0) failure_ = readFailure_;
  }
  return end_ < end ? readFailure_ : 0;
}

int PipeSource::FillOnce() {
  const std::size_t used = static_cast<std::size_t>(end_ % kBlockBytes);
  if (used == 0 && end_ - start_ == blocks_.size() * kBlockBytes) {
    std::unique_ptr<unsigned char[]> block;
    if (blocks_.size() == kBlocks) {
      block = std::move(blocks_.front());
      blocks_.pop_front();
      start_ += kBlockBytes;
    } else {
      block.reset(new unsigned char[kBlockBytes]);
    }
    blocks_.push_back(std::move(block));
  }
  if (const int status = Wait()) return status;
  const ssize_t got = read(descriptor_, blocks_.back().get() + used, kBlockBytes - used);
  if (got >= 0) {
    isEnded_ = got == 0;
    end_ += static_cast<unsigned long long>(got);
    return 0;
  }
  return errno == EAGAIN ? 0 : -errno;
}

int PipeSource::Wait() const {
  pollfd inputs[] = {{stop_, POLLIN, 0}, {descriptor_, POLLIN, 0}};
  if (poll(inputs, std::size(inputs), -1) < 0) return -errno;
  return inputs[0].revents != 0 ? -EINTR : 0;
}

// What is held.
void PipeSource::Copy(unsigned long long offset, unsigned char* out,
                      unsigned long long size) const {
  while (size != 0) {
    const unsigned long long at = offset - start_;
    const std::size_t inBlock = static_cast<std::size_t>(at % kBlockBytes);
    const unsigned long long part = std::min<unsigned long long>(size, kBlockBytes - inBlock);
    std::memcpy(out, blocks_[static_cast<std::size_t>(at / kBlockBytes)].get() + inBlock,
                static_cast<std::size_t>(part));
    out += part;
    offset += part;
    size -= part;
  }
}

}  // namespace qo_host
