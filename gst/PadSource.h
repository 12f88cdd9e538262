// What can be pulled from a sink pad, as a byte source: one for all sessions that read
// the file, in large reads, answered from memory where another one has been.
#ifndef QO_GST_PADSOURCE_H
#define QO_GST_PADSOURCE_H

#include <gst/gst.h>

#include <atomic>

#include "qo_host/CachedSource.h"

class PadSource final : public qo_host::CachedSource {
 public:
  // Both are not null and must outlive this. `*flow` becomes the flow of a read that was
  // neither GST_FLOW_OK nor the end, while it is GST_FLOW_OK itself: GST_FLOW_FLUSHING
  // where the pad ended the read, or what is wrong upstream. A parser takes both for the
  // end of the data.
  PadSource(GstPad* sink, std::atomic<GstFlowReturn>* flow);

  int Open() override;   // 0, and nothing else
  int Close() override;  // the same
  int GetSize(unsigned long long* size) override;

 private:
  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override;

  unsigned long long QuerySize();

  unsigned long long size_ = 0;  // bytes; 0: not known, or not asked for
  GstPad* const sink_;
  std::atomic<GstFlowReturn>* const flow_;
};

#endif  // QO_GST_PADSOURCE_H
