// BorrowedSource: passes reads on and keeps what went wrong.
#include "qo_host/BorrowedSource.h"

#include "host/sources/Guarded.h"

namespace qo_host {

BorrowedSource::BorrowedSource(IDataSource* lender) : lender_(lender) {}

int BorrowedSource::Open() { return 0; }

int BorrowedSource::Close() { return 0; }

int BorrowedSource::GetSize(unsigned long long* size) {
  return Guarded([=] { return lender_->GetSize(size); });
}

int BorrowedSource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  lastReadAt_ = offset;
  return Keep(Guarded([=] { return lender_->ReadAt(offset, buffer, size); }));
}

int BorrowedSource::Read(void* buffer, unsigned long long* size) {
  return Keep(Guarded([=] { return lender_->Read(buffer, size); }));
}

int BorrowedSource::SeekTo(unsigned long long offset, int whence) {
  return Keep(Guarded([=] { return lender_->SeekTo(offset, whence); }));
}

int BorrowedSource::GetPosition(unsigned long long* position) {
  return Keep(Guarded([=] { return lender_->GetPosition(position); }));
}

int BorrowedSource::Keep(int status) {
  if (status < 0 && failure_ == 0) failure_ = status;
  return status;
}

}  // namespace qo_host
