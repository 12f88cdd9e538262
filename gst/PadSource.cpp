// PadSource: owns the windows, of which the oldest gives way to a new one.
#include "gst/PadSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// A jump reads the shortest window; reading on the longest, so that a pull's own cost
// doesn't count.
constexpr guint kMinWindowBytes = 64u << 10;
constexpr guint kMaxWindowBytes = 128u << 10;

}  // namespace

PadSource::PadSource(GstPad* sink, std::atomic<GstFlowReturn>* flow) : sink_(sink), flow_(flow) {
  gst_pad_peer_query_duration(sink_, GST_FORMAT_BYTES, &size_);
}

PadSource::~PadSource() {
  for (Window& window : windows_) window.Drop();
}

void PadSource::Window::Drop() {
  if (buffer == nullptr) return;
  gst_buffer_unmap(buffer, &map);
  gst_buffer_unref(buffer);
  *this = {};
}

int PadSource::GetSize(unsigned long long* size) {
  if (size_ < 0) return -ESPIPE;
  *size = static_cast<unsigned long long>(size_);
  return 0;
}

int PadSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  const unsigned long long wanted = *size;
  unsigned long long done = 0;
  *size = 0;
  while (done < wanted) {
    const unsigned long long at = offset + done;
    const Window* window = Find(at);
    if (window == nullptr) {
      const GstFlowReturn flow = OpenWindow(at);
      window = Find(at);
      if (flow != GST_FLOW_OK && flow != GST_FLOW_EOS) {
        if (*flow_ == GST_FLOW_OK) *flow_ = flow;
        return flow == GST_FLOW_FLUSHING ? -ECANCELED : -EIO;
      }
    }
    if (window == nullptr) break;
    const unsigned long long part = std::min(wanted - done, window->end() - at);
    std::memcpy(static_cast<unsigned char*>(buffer) + done,
                window->map.data + (at - window->offset), part);
    done += part;
  }
  *size = done;
  return 0;
}

// The window that has the byte at `offset`; null without.
const PadSource::Window* PadSource::Find(unsigned long long offset) const {
  const auto found = std::find_if(windows_.begin(), windows_.end(), [offset](const Window& window) {
    return offset >= window.offset && offset < window.end();
  });
  return found != windows_.end() ? &*found : nullptr;
}

// Of one that continues another, twice as much.
guint PadSource::WindowSize(unsigned long long start) const {
  guint bytes = kMinWindowBytes;
  for (const Window& window : windows_) {
    if (window.buffer == nullptr || window.end() != start) continue;
    bytes =
        std::max(bytes, 2 * static_cast<guint>(std::min<gsize>(window.map.size, kMaxWindowBytes)));
  }
  return std::min(bytes, kMaxWindowBytes);
}

// Has a window with the byte at `offset`, if there is one.
GstFlowReturn PadSource::OpenWindow(unsigned long long offset) {
  const unsigned long long start = offset - offset % kMinWindowBytes;
  // First, so that upstream gets its memory for the new one.
  windows_[oldest_].Drop();
  Window window;
  const GstFlowReturn flow = gst_pad_pull_range(sink_, start, WindowSize(start), &window.buffer);
  if (flow != GST_FLOW_OK) return flow;
  if (!gst_buffer_map(window.buffer, &window.map, GST_MAP_READ)) {
    gst_buffer_unref(window.buffer);
    return GST_FLOW_ERROR;
  }
  window.offset = start;
  windows_[oldest_] = window;
  oldest_ = (oldest_ + 1) % windows_.size();
  return GST_FLOW_OK;
}
