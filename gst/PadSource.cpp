// PadSource: each read is one pull.
#include "gst/PadSource.h"

#include <algorithm>
#include <cerrno>

namespace {

// A jump reads the shortest window; reading on the longest, so that a pull's own cost
// doesn't count. Windows for the readers of a few streams that stand apart.
constexpr std::size_t kMinWindowBytes = std::size_t{64} << 10;
constexpr std::size_t kMaxWindowBytes = std::size_t{256} << 10;
constexpr std::size_t kWindowCount = 8;

}  // namespace

PadSource::PadSource(GstPad* sink, std::atomic<GstFlowReturn>* flow)
    : CachedSource(kMinWindowBytes, kMaxWindowBytes, kWindowCount), sink_(sink), flow_(flow) {}

int PadSource::Open() { return 0; }

int PadSource::Close() { return 0; }

int PadSource::GetSize(unsigned long long* size) {
  if (size_ == 0) size_ = QuerySize();
  *size = size_;
  return size_ != 0 ? 0 : -ESPIPE;
}

// 0 where upstream doesn't know.
unsigned long long PadSource::QuerySize() {
  gint64 bytes = -1;
  const bool isKnown = gst_pad_peer_query_duration(sink_, GST_FORMAT_BYTES, &bytes) && bytes > 0;
  return isKnown ? static_cast<unsigned long long>(bytes) : 0;
}

// Into the window itself. What lies at the end, or of a file of no known size, comes in a
// buffer of upstream's: an element that is given one of ours doesn't always say how much
// of it it has filled.
int PadSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  const auto wanted = static_cast<guint>(std::min<unsigned long long>(*size, G_MAXINT));
  *size = 0;
  const bool isWhole = offset <= size_ && wanted <= size_ - offset;
  GstBuffer* const ours =
      isWhole ? gst_buffer_new_wrapped_full(static_cast<GstMemoryFlags>(0), buffer, wanted, 0,
                                            wanted, nullptr, nullptr)
              : nullptr;
  GstBuffer* got = ours;
  const GstFlowReturn flow = gst_pad_pull_range(sink_, offset, wanted, &got);
  if (flow == GST_FLOW_OK) {
    // Another one, where an element in between doesn't fill what it is given.
    *size = got == ours ? gst_buffer_get_size(got) : gst_buffer_extract(got, 0, buffer, wanted);
    if (got != ours) gst_buffer_unref(got);
  }
  if (ours != nullptr) gst_buffer_unref(ours);
  if (flow == GST_FLOW_OK || flow == GST_FLOW_EOS) return 0;
  if (*flow_ == GST_FLOW_OK) *flow_ = flow;
  return flow == GST_FLOW_FLUSHING ? -ECANCELED : -EIO;
}
