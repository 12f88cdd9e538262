// The regions of a presented file. Windows hold whole packets, so that a packet is
// looked at once, where it lies.
#include "host/presented/PresentedSource.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace qo_host {
namespace {

// As for a file: a jump reads little; the longest window is long enough for a file's own
// windows to be passed by. Those of a slower source, which are longer, are not.
constexpr std::size_t kMinWindowBytes = std::size_t{8} << 10;
constexpr std::size_t kMaxWindowBytes = std::size_t{128} << 10;
constexpr std::size_t kOneReaderWindows = 2;
// Audio and video lie some 1 MiB apart where units are large.
constexpr std::size_t kTwoReadersWindows = 10;

constexpr std::size_t kResumptions = 4 * kTwoReadersWindows;

constexpr std::size_t RoundUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

std::size_t WindowCount(const PlayedStreams& streams, PresentedSource::Reader reader) {
  const bool hasBoth =
      streams.audio != PlayedStreams::kNone && streams.video != PlayedStreams::kNone;
  const bool isDemultiplexer = reader == PresentedSource::Reader::kDemultiplexer;
  return isDemultiplexer && hasBoth ? kTwoReadersWindows : kOneReaderWindows;
}

// What a mender needs of a layout.
AsfLayout PacketLayout(const Presentation& presentation) {
  AsfLayout layout;
  layout.packetLength = layout.minPacketLength = presentation.packetLength;
  layout.prerollMs = presentation.prerollMs;
  return layout;
}

}  // namespace

PresentedSource::PresentedSource(IDataSource* inner, Presentation presentation, Damage* damage,
                                 Reader reader)
    : CachedSource(RoundUp(kMinWindowBytes, presentation.packetLength),
                   RoundUp(kMaxWindowBytes, presentation.packetLength),
                   WindowCount(presentation.streams, reader)),
      inner_(inner),
      file_(dynamic_cast<FileSource*>(inner)),
      presentation_(std::move(presentation)),
      mender_(PacketLayout(presentation_), presentation_.streams, damage),
      scratch_(presentation_.packetLength) {}

PresentedSource::~PresentedSource() = default;

int PresentedSource::Open() { return SeekTo(0, 0); }

int PresentedSource::Close() { return 0; }

int PresentedSource::GetSize(unsigned long long* size) {
  *size = HeaderSize() + PacketsSize() + presentation_.tailSize;
  return presentation_.isEndKnown ? 0 : -ESPIPE;
}

unsigned long long PresentedSource::HeaderSize() const {
  return presentation_.header.empty() ? presentation_.packetsStart : presentation_.header.size();
}

unsigned long long PresentedSource::PacketsSize() const {
  return presentation_.packetCount * presentation_.packetLength;
}

// A window holds bytes of one region.
CachedSource::Extent PresentedSource::PlaceWindow(unsigned long long offset,
                                                  std::size_t size) const {
  const unsigned long long header = HeaderSize();
  const unsigned long long packetsEnd = header + PacketsSize();
  const unsigned long long begin = offset < header ? 0 : offset < packetsEnd ? header : packetsEnd;
  const unsigned long long end = offset < header       ? header
                                 : offset < packetsEnd ? packetsEnd
                                                       : ~0ull;
  const unsigned long long start = offset - (offset - begin) % presentation_.packetLength;
  return {start, static_cast<std::size_t>(std::min<unsigned long long>(size, end - start))};
}

int PresentedSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  auto* out = static_cast<unsigned char*>(buffer);
  const unsigned long long packetsAt = HeaderSize();
  const unsigned long long tailAt = packetsAt + PacketsSize();
  const unsigned long long wanted = *size;
  unsigned long long done = 0;
  *size = 0;
  while (done < wanted) {
    const unsigned long long at = offset + done;
    unsigned long long part = wanted - done;
    int status;
    if (at < packetsAt) {
      part = std::min(part, packetsAt - at);
      status = FetchHeader(at, out + done, &part);
    } else if (at < tailAt) {
      part = std::min(part, tailAt - at);
      status = FetchPackets(at - packetsAt, out + done, &part);
    } else {
      const unsigned long long tail = at - tailAt;
      part = std::min(part, presentation_.tailSize - std::min(tail, presentation_.tailSize));
      status = part == 0 ? 0 : ReadInner(presentation_.tailStart + tail, out + done, &part);
    }
    if (status < 0) return status;
    if (part == 0) break;
    done += part;
  }
  *size = done;
  return 0;
}

int PresentedSource::FetchHeader(unsigned long long offset, unsigned char* out,
                                 unsigned long long* size) {
  if (presentation_.header.empty()) return ReadInner(offset, out, size);
  const unsigned char* const from = presentation_.header.data() + offset;
  std::copy(from, from + *size, out);
  return 0;
}

// Whole packets where they are to lie; of others, a part of each.
int PresentedSource::FetchPackets(unsigned long long offset, unsigned char* out,
                                  unsigned long long* size) {
  const unsigned int length = presentation_.packetLength;
  const unsigned long long first = offset / length;
  const unsigned long long skipped = offset % length;
  if (skipped == 0 && *size >= length) {
    unsigned long long count = *size / length;
    const int status = FetchWholePackets(first, &count, out);
    *size = count * length;
    return status;
  }
  unsigned long long count = 1;
  const int status = FetchWholePackets(first, &count, scratch_.data());
  *size = count == 0 ? 0 : std::min(*size, length - skipped);
  if (status >= 0) std::copy_n(scratch_.data() + skipped, *size, out);
  return status;
}

// Stores in `*count` how many there are at least a part of.
int PresentedSource::FetchWholePackets(unsigned long long first, unsigned long long* count,
                                       unsigned char* out) {
  const unsigned int length = presentation_.packetLength;
  const unsigned long long start = presentation_.packetsStart + first * length;
  unsigned long long present = *count * length;
  present = std::min(present, presentation_.packetsEnd - std::min(start, presentation_.packetsEnd));
  const int status = ReadInner(start, out, &present);
  *count = (present + length - 1) / length;
  if (status < 0 || *count == 0) return status;
  PrepareFor(first);
  mender_.Mend(first, *count, out, present);
  if (first + *count == presentation_.packetCount) mender_.Finish();
  Resumption next{first + *count, mender_.chains()};
  if (resumptions_.size() < kResumptions) {
    resumptions_.push_back(next);
  } else {
    resumptions_[oldestResumption_] = next;
    oldestResumption_ = (oldestResumption_ + 1) % kResumptions;
  }
  return 0;
}

void PresentedSource::PrepareFor(unsigned long long number) {
  PacketMender::Chains chains = {};
  const std::size_t count = resumptions_.size();
  for (std::size_t age = 1; age <= count; ++age) {
    const Resumption& resumption = resumptions_[(oldestResumption_ + count - age) % count];
    if (resumption.packet != number) continue;
    chains = resumption.chains;
    break;
  }
  mender_.Resume(chains);
}

int PresentedSource::ReadInner(unsigned long long offset, unsigned char* out,
                               unsigned long long* size) {
  if (*size == 0) return 0;
  const unsigned long long wanted = *size;
  const int status =
      file_ != nullptr ? file_->ReadStraight(offset, out, size) : inner_->ReadAt(offset, out, size);
  *size = status < 0 ? 0 : std::min(*size, wanted);
  return status;
}

}  // namespace qo_host
