// ReadAheadSource: the windows of CachedSource over another source, all of one
// length.
#include "qo_host/ReadAheadSource.h"

#include <utility>

namespace qo_host {

ReadAheadSource::ReadAheadSource(std::unique_ptr<IDataSource> inner, std::size_t windowBytes)
    : CachedSource(windowBytes, windowBytes, kWindowCount), inner_(std::move(inner)) {}

ReadAheadSource::~ReadAheadSource() = default;

int ReadAheadSource::Open() {
  SeekTo(0, 0);
  return inner_->Open();
}

int ReadAheadSource::Close() { return inner_->Close(); }

int ReadAheadSource::GetSize(unsigned long long* size) { return inner_->GetSize(size); }

int ReadAheadSource::Fetch(unsigned long long offset, void* buffer, unsigned long long* size) {
  return inner_->ReadAt(offset, buffer, size);
}

}  // namespace qo_host
