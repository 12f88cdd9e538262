// PadSource: each read is pulled into the window itself, without a copy where upstream
// fills what it is given.
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

int PadSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  unsigned long long end = 0;
  const bool isEndKnown = GetSize(&end) == 0;
  unsigned long long wanted = std::min<unsigned long long>(*size, G_MAXINT);
  if (isEndKnown) wanted = std::min(wanted, end - std::min(offset, end));
  *size = 0;
  if (wanted == 0) return 0;
  // A source that ends early may leave the size of what it is given as it was: only one
  // that has all that is asked for may fill the window.
  GstBuffer* const given = isEndKnown
                               ? gst_buffer_new_wrapped_full(static_cast<GstMemoryFlags>(0), buffer,
                                                             wanted, 0, wanted, nullptr, nullptr)
                               : nullptr;
  GstBuffer* got = given;
  const GstFlowReturn flow = gst_pad_pull_range(sink_, offset, static_cast<guint>(wanted), &got);
  if (flow == GST_FLOW_OK) {
    *size = std::min<unsigned long long>(wanted, gst_buffer_get_size(got));
    if (got != given) {
      gst_buffer_extract(got, 0, buffer, *size);
      gst_buffer_unref(got);
    }
  }
  if (given != nullptr) gst_buffer_unref(given);
  if (flow == GST_FLOW_OK || flow == GST_FLOW_EOS) return 0;
  if (*flow_ == GST_FLOW_OK) *flow_ = flow;
  return flow == GST_FLOW_FLUSHING ? -ECANCELED : -EIO;
}
