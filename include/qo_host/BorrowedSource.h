// A byte source lent to a reader beside the one that opened it.
//
// Reads go to the lender; Open and Close don't, for those are its owner's calls.
// Nothing that it throws passes: it counts as a failure. The first failure is
// kept, for a parser tells a failing source and the end of the data apart by
// nothing.
#ifndef QO_HOST_BORROWEDSOURCE_H
#define QO_HOST_BORROWEDSOURCE_H

#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// A lender's bytes for another reader; see above.
class BorrowedSource final : public IDataSource {
 public:
  // `lender` (not null) has been opened by its owner and must outlive this.
  explicit BorrowedSource(IDataSource* lender);

  // The first failure of any call but GetSize, whose failure is an unknown size; 0
  // when there was none. What was thrown counts as the parser has it:
  // kParserOutOfRange for std::bad_alloc, otherwise kParserEndOfStream.
  int failure() const { return failure_; }
  // The offset of the last ReadAt, which begins every packet; 0 before it.
  unsigned long long lastReadAt() const { return lastReadAt_; }

  int Open() override;   // 0, and nothing else
  int Close() override;  // the same
  int GetSize(unsigned long long* size) override;
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override;
  int Read(void* buffer, unsigned long long* size) override;
  int SeekTo(unsigned long long offset, int whence) override;
  int GetPosition(unsigned long long* position) override;

 private:
  int Keep(int status);

  IDataSource* lender_;
  int failure_ = 0;
  unsigned long long lastReadAt_ = 0;
};

}  // namespace qo_host

#endif  // QO_HOST_BORROWEDSOURCE_H
