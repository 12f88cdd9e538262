// What can be pulled from a sink pad, as a byte source: one for all sessions that read
// the file, in large reads, answered from memory where another one has been.
#ifndef QO_GST_PADSOURCE_H
#define QO_GST_PADSOURCE_H

#include <gst/gst.h>

#include <atomic>

#include "qo_host/CachedSource.h"

class PadSource final : public qo_host::CachedSource {
 public:
  // `sink` must outlive this.
  explicit PadSource(GstPad* sink);

  // The first flow of a read, since construction or ForgetFlow, that was neither
  // GST_FLOW_OK nor the end: GST_FLOW_FLUSHING where the pad ended the read, or what is
  // wrong upstream. A parser takes both for the end of the data.
  GstFlowReturn flow() const { return flow_; }
  void ForgetFlow() { flow_ = GST_FLOW_OK; }

  int Open() override;   // 0, and nothing else
  int Close() override;  // the same
  int GetSize(unsigned long long* size) override;

 private:
  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override;

  GstPad* const sink_;
  std::atomic<GstFlowReturn> flow_{GST_FLOW_OK};
};

#endif  // QO_GST_PADSOURCE_H
