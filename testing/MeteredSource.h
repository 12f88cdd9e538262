// Counts what the parser asks of a byte source, and holds an honest source's
// share to the bounds that docs/safety.md states. Owns the counts, not the source.
#ifndef QO_TESTING_METEREDSOURCE_H
#define QO_TESTING_METEREDSOURCE_H

#include "testing/FaultySource.h"

class MeteredSource final : public IDataSource {
 public:
  explicit MeteredSource(FaultySource* source)
      : source_(*source), fileBytes_(source->FileBytes()) {}

  bool IsHonest() const { return source_.IsHonest(); }
  std::size_t FileBytes() const { return fileBytes_; }

  // A host that gives up on a file that costs too much: every call fails once
  // the whole session has made its calls.
  bool GaveUp() const { return calls_ > kMaxCalls || bytes_ > kMaxBytes; }

  // Starts counting for one call of the parser's interface, and holds what it
  // did against the bounds.
  void BeginOperation() { work_ = {}; }
  void EndOperation() const;

  int Open() override;
  int Close() override;
  int GetSize(unsigned long long* size) override;
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override;
  int Read(void* buffer, unsigned long long* size) override;
  int SeekTo(unsigned long long offset, int whence) override;
  int GetPosition(unsigned long long* position) override;

 private:
  static constexpr unsigned long kMaxCalls = 200000;
  static constexpr unsigned long long kMaxBytes = 16ull << 20;

  // The work of one operation: outside packets, and in the current packet.
  struct Work {
    unsigned long long calls = 0, bytes = 0, packets = 0, packetCalls = 0, packetBytes = 0;
  };

  template <typename Call>
  int Count(Call call);
  template <typename Call>
  int CountRead(unsigned long long* size, Call call);
  void Add(unsigned long long calls, unsigned long long bytes);

  FaultySource& source_;
  std::size_t fileBytes_;
  unsigned long calls_ = 0;
  unsigned long long bytes_ = 0;
  Work work_;
};

#endif  // QO_TESTING_METEREDSOURCE_H
