// Wraps a byte source and records every call on it: what a slow source will
// feel.
#ifndef QO_HOST_TRACESOURCE_H
#define QO_HOST_TRACESOURCE_H

#include <array>
#include <cstddef>
#include <functional>
#include <memory>

#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// The operations of IDataSource.
enum class SourceOperation : unsigned char {
  kOpen,
  kClose,
  kGetSize,
  kReadAt,
  kRead,
  kSeekTo,
  kGetPosition,
};
constexpr std::size_t kSourceOperationCount = 7;  // of them

// The operation's name as IDataSource has it, "ReadAt" for instance.
const char* SourceOperationName(SourceOperation operation);

// One call.
struct SourceCall {
  SourceOperation operation;     // decides what the rest mean
  int whence;                    // SeekTo: 0 or 1; otherwise 0
  unsigned long long offset;     // ReadAt, SeekTo: the argument. Read: the position it reads at
  unsigned long long requested;  // ReadAt, Read: bytes asked for; otherwise 0
  int status;                    // what the call returned
  unsigned long long value;      // ReadAt, Read: bytes brought. GetSize: the size. GetPosition: the
                                 // position. Otherwise, and after a failure, 0
};

// Calls of one operation, added up.
struct SourceTotals {
  unsigned long long calls = 0;     // failures included
  unsigned long long failures = 0;  // calls with a negative status (GetSize: any but 0)
  unsigned long long bytes = 0;     // brought by reads
};

// A source that is watched, and which it owns.
class TraceSource final : public IDataSource {
 public:
  // Sees a call right after it; may not call the source.
  using Observer = std::function<void(const SourceCall&)>;

  // Takes `inner` (not null). `observer`, when not empty, is called after each
  // call, in the order of the calls.
  explicit TraceSource(std::unique_ptr<IDataSource> inner, Observer observer = {});
  ~TraceSource() override;

  // Takes the place of the observer there is; empty: none.
  void SetObserver(Observer observer);

  // Since construction or the last Reset.
  const SourceTotals& Totals(SourceOperation operation) const;
  // Of all operations together.
  SourceTotals AllTotals() const;
  // Sets the totals to 0.
  void Reset();

  // The wrapped source, for reads that are not to be recorded; owned by this.
  IDataSource* inner() const;

  int Open() override;
  int Close() override;
  int GetSize(unsigned long long* size) override;
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override;
  int Read(void* buffer, unsigned long long* size) override;
  int SeekTo(unsigned long long offset, int whence) override;
  int GetPosition(unsigned long long* position) override;

 private:
  int Record(SourceCall call);

  std::unique_ptr<IDataSource> inner_;
  Observer observer_;
  std::array<SourceTotals, kSourceOperationCount> totals_{};
  // Where the wrapped source stands, worked out from the calls: asking it would
  // be a call that the traced host never made.
  unsigned long long position_ = 0;
};

}  // namespace qo_host

#endif  // QO_HOST_TRACESOURCE_H
