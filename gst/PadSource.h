// What can be pulled from a sink pad, as a byte source: one for all sessions that read
// the file, in large pulls, answered from memory where another one has been.
//
// The buffers pulled are the windows: what upstream has read is copied once, to where it is
// wanted. To have upstream fill memory of ours would be no copy less, and not all
// elements can.
#ifndef QO_GST_PADSOURCE_H
#define QO_GST_PADSOURCE_H

#include <gst/gst.h>

#include <array>
#include <atomic>

#include "gst/PositionedSource.h"

class PadSource final : public PositionedSource {
 public:
  // Both are not null and must outlive this. `*flow` becomes the flow of a read that was
  // neither GST_FLOW_OK nor the end, while it is GST_FLOW_OK itself: GST_FLOW_FLUSHING
  // where the pad ended the read, or what is wrong upstream. A parser takes both for the
  // end of the data. Upstream is asked for its size here: it may close the file while a
  // streaming thread still reads, so that only a pull is safe there.
  PadSource(GstPad* sink, std::atomic<GstFlowReturn>* flow);
  ~PadSource() override;
  PadSource(const PadSource&) = delete;
  PadSource& operator=(const PadSource&) = delete;

  int GetSize(unsigned long long* size) override;

 private:
  // A buffer, mapped.
  struct Window {
    GstBuffer* buffer = nullptr;  // null: not in use
    GstMapInfo map = {};
    unsigned long long offset = 0;  // in the file, bytes

    unsigned long long end() const { return offset + map.size; }
    void Drop();
  };

  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override;
  const Window* Find(unsigned long long offset) const;
  guint WindowSize(unsigned long long start) const;
  GstFlowReturn OpenWindow(unsigned long long offset);

  GstPad* const sink_;
  std::atomic<GstFlowReturn>* const flow_;
  gint64 size_ = -1;               // bytes; negative: not known
  std::array<Window, 8> windows_;  // for the readers of a few streams that stand apart
  std::size_t oldest_ = 0;         // of windows_
};

#endif  // QO_GST_PADSOURCE_H
