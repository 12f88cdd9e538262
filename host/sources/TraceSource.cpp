// TraceSource: passes every call on and keeps the totals.
#include "qo_host/TraceSource.h"

#include <utility>

namespace qo_host {

const char* SourceOperationName(SourceOperation operation) {
  static constexpr const char* kNames[kSourceOperationCount] = {
      "Open", "Close", "GetSize", "ReadAt", "Read", "SeekTo", "GetPosition"};
  return kNames[static_cast<std::size_t>(operation)];
}

TraceSource::TraceSource(std::unique_ptr<IDataSource> inner, Observer observer)
    : inner_(std::move(inner)), observer_(std::move(observer)) {}

TraceSource::~TraceSource() = default;

void TraceSource::SetObserver(Observer observer) { observer_ = std::move(observer); }

const SourceTotals& TraceSource::Totals(SourceOperation operation) const {
  return totals_[static_cast<std::size_t>(operation)];
}

SourceTotals TraceSource::AllTotals() const {
  SourceTotals sum;
  for (const SourceTotals& totals : totals_) {
    sum.calls += totals.calls;
    sum.failures += totals.failures;
    sum.bytes += totals.bytes;
  }
  return sum;
}

void TraceSource::Reset() { totals_ = {}; }

IDataSource* TraceSource::inner() const { return inner_.get(); }

int TraceSource::Open() {
  position_ = 0;
  return Record({SourceOperation::kOpen, 0, 0, 0, inner_->Open(), 0});
}

int TraceSource::Close() { return Record({SourceOperation::kClose, 0, 0, 0, inner_->Close(), 0}); }

int TraceSource::GetSize(unsigned long long* size) {
  const int status = inner_->GetSize(size);
  return Record({SourceOperation::kGetSize, 0, 0, 0, status, status == 0 ? *size : 0});
}

int TraceSource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  const unsigned long long requested = *size;
  const int status = inner_->ReadAt(offset, buffer, size);
  if (status >= 0) position_ = offset + *size;
  return Record({SourceOperation::kReadAt, 0, offset, requested, status, status >= 0 ? *size : 0});
}

int TraceSource::Read(void* buffer, unsigned long long* size) {
  const unsigned long long offset = position_;
  const unsigned long long requested = *size;
  const int status = inner_->Read(buffer, size);
  if (status >= 0) position_ += *size;
  return Record({SourceOperation::kRead, 0, offset, requested, status, status >= 0 ? *size : 0});
}

int TraceSource::SeekTo(unsigned long long offset, int whence) {
  const int status = inner_->SeekTo(offset, whence);
  if (status >= 0) position_ = whence == 1 ? position_ + offset : offset;
  return Record({SourceOperation::kSeekTo, whence, offset, 0, status, 0});
}

int TraceSource::GetPosition(unsigned long long* position) {
  const int status = inner_->GetPosition(position);
  return Record({SourceOperation::kGetPosition, 0, 0, 0, status, status >= 0 ? *position : 0});
}

int TraceSource::Record(SourceCall call) {
  const bool isRead =
      call.operation == SourceOperation::kReadAt || call.operation == SourceOperation::kRead;
  const bool failed =
      call.status < 0 || (call.operation == SourceOperation::kGetSize && call.status != 0);
  SourceTotals& totals = totals_[static_cast<std::size_t>(call.operation)];
  ++totals.calls;
  totals.failures += failed ? 1 : 0;
  totals.bytes += isRead ? call.value : 0;
  if (observer_) observer_(call);
  return call.status;
}

}  // namespace qo_host
