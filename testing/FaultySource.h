// A byte source over memory that misbehaves on request and can record its calls.
// Owns the bytes and the plan of its faults.
#ifndef QO_TESTING_FAULTYSOURCE_H
#define QO_TESTING_FAULTYSOURCE_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qo_parser_asf/IDataSource.h"

// What the source does at one of its calls.
enum class Fault : std::uint8_t {
  kFail,
  kThrow,
  kThrowBadAlloc,
  kBringNothing,
  kShrink,        // to half of what it had
  kReadShort,     // 16 bytes a read at most from now on
  kSizeUnknown,   // from now on
  kSizeTooLarge,  // from now on
  kOverstate,     // says that a read brought more than was asked for
  kJump,          // stands elsewhere than it should
  kPositive,      // success is 1 from now on
  kCount,
};

class FaultySource final : public IDataSource {
 public:
  static constexpr int kFailure = -77;

  explicit FaultySource(std::string_view file) : file_(file) {}

  // Makes the call with the number `call`, counted from 1, misbehave. Calls
  // ascend.
  void Plan(unsigned long call, Fault fault) { plan_.push_back({call, fault}); }
  // The same for the call that is the `count`-th from now on.
  void PlanIn(unsigned long count, Fault fault) { Plan(calls_ + count, fault); }
  // At the call with the number `call` something of the test's own happens, which may
  // end the thread.
  void ActAt(unsigned long call, std::function<void()> action) {
    actionCall_ = call;
    action_ = std::move(action);
  }
  // Fails the next call of this text, in the words of TakeCalls.
  void FailOn(std::string text) { failOn_ = std::move(text); }
  bool HasFailedOn() const { return failOn_.empty(); }
  // GetSize says so many bytes too many.
  void OverstateSize(unsigned long long bytes) { sizeAdded_ = bytes; }
  void LimitReads(unsigned long long bytes) { maxRead_ = bytes; }

  bool IsHonest() const { return plan_.empty(); }
  std::size_t FileBytes() const { return file_.size(); }
  unsigned long CallCount() const { return calls_; }

  // From now on calls are kept as text; FailOn needs it.
  void RecordCalls() { records_ = true; }
  // "Open, ReadAt 0+30, Read 24, Skip 8, SeekTo 100, GetPosition, GetSize"
  std::string TakeCalls() { return std::exchange(recorded_, {}); }

  int Open() override { return Note("Open"); }
  int Close() override { return Note("Close"); }
  int GetSize(unsigned long long* size) override;
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override;
  int Read(void* buffer, unsigned long long* size) override;
  int SeekTo(unsigned long long offset, int whence) override;
  int GetPosition(unsigned long long* position) override;

 private:
  struct PlannedFault {
    unsigned long call;
    Fault fault;
  };

  template <typename... Parts>
  int Note(Parts... parts);
  bool Record(const std::string& call);
  void Misbehave(Fault fault);
  int Deliver(void* buffer, unsigned long long* size);

  std::string file_;
  std::vector<PlannedFault> plan_;
  std::size_t nextFault_ = 0;
  unsigned long actionCall_ = 0;
  std::function<void()> action_;
  std::string failOn_;
  bool records_ = false;
  std::string recorded_;
  unsigned long calls_ = 0;
  unsigned long long position_ = 0;
  unsigned long long maxRead_ = ~0ull;
  unsigned long long sizeAdded_ = 0;
  bool sizeKnown_ = true;
  bool bringNothing_ = false;
  bool overstate_ = false;
  int success_ = 0;
};

#endif  // QO_TESTING_FAULTYSOURCE_H
