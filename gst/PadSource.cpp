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
  gint64 bytes = -1;
  if (!gst_pad_peer_query_duration(sink_, GST_FORMAT_BYTES, &bytes) || bytes < 0) return -ESPIPE;
  *size = static_cast<unsigned long long>(bytes);
  return 0;
}

// Not into memory of our own: an element in between may not be able to fill it, and one
// that ends early may not say how much of it it has filled.
int PadSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  const auto wanted = static_cast<guint>(std::min<unsigned long long>(*size, G_MAXINT));
  *size = 0;
  GstBuffer* got = nullptr;
  const GstFlowReturn flow = gst_pad_pull_range(sink_, offset, wanted, &got);
  if (flow == GST_FLOW_OK) {
    *size = gst_buffer_extract(got, 0, buffer, wanted);
    gst_buffer_unref(got);
  }
  if (flow == GST_FLOW_OK || flow == GST_FLOW_EOS) return 0;
  if (*flow_ == GST_FLOW_OK) *flow_ = flow;
  return flow == GST_FLOW_FLUSHING ? -ECANCELED : -EIO;
}
