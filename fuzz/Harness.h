// What the fuzz targets share: taking an input apart, a byte source that counts
// the parser's work and misbehaves on request, a host that checks every result,
// and the heap's meter. The platform's log and properties are stood in for by
// Harness.cpp.
//
// A property that does not hold ends the process (CHECK), which is a finding.
// docs/safety.md states the properties and where each limit comes from.
#ifndef QO_FUZZ_HARNESS_H
#define QO_FUZZ_HARNESS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "qo_parser_asf/IParser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

[[noreturn]] void Fail(const char* what, const char* file, int line);
#define CHECK(condition) \
  ((condition) ? static_cast<void>(0) : fuzz::Fail(#condition, __FILE__, __LINE__))

// The debug level that parsers constructed from now on read.
void SetDebugLevel(int level);

// Bytes taken from operator new and not given back, the most there were since
// ResetHeapPeak, and all that were ever taken.
std::size_t HeapBytes();
std::size_t HeapPeak();
std::size_t HeapTotal();
void ResetHeapPeak();

// Holds, under the address sanitizer, that all heap memory taken while it lives
// was given back, but for what the parser leaves on purpose and says so.
class LeakCheck {
 public:
  LeakCheck();
  ~LeakCheck();
  LeakCheck(const LeakCheck&) = delete;
  LeakCheck& operator=(const LeakCheck&) = delete;

 private:
  std::size_t before_;
};

// kMaxAccessUnitBytes, for access units. Allocated, so that the address sanitizer
// sees one that is too large.
unsigned char* UnitBuffer();

// Takes numbers off the front of an input; 0 where it has ended.
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  template <typename Number>
  Number Take() {
    Number number{};
    const std::string_view bytes = TakeBytes(sizeof(number));
    if (!bytes.empty()) std::memcpy(&number, bytes.data(), bytes.size());
    return number;
  }
  std::uint8_t Byte() { return Take<std::uint8_t>(); }
  std::string_view TakeBytes(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::string_view Rest() { return TakeBytes(rest_.size()); }
  bool Empty() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

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

// A byte source over memory. Without faults it is honest, and then it also holds
// the parser to its bounds of work, packet by packet.
class Source final : public IDataSource {
 public:
  static constexpr int kFailure = -77;

  explicit Source(std::string_view file) : file_(file) {}

  // Makes the call with the number `call`, counted from 1, misbehave. Calls
  // ascend.
  void Plan(unsigned long call, Fault fault) { plan_.push_back({call, fault}); }

  bool IsHonest() const { return plan_.empty(); }

  // A host that gives up on a file that costs too much: every call fails once
  // the whole session has made its calls.
  bool GaveUp() const { return calls_ > kMaxCalls || bytes_ > kMaxBytes; }

  // Starts counting for one call of the parser's interface, and holds what it
  // did against the bounds.
  void BeginOperation() { work_ = {}; }
  void EndOperation() const;

  int Open() override { return Note(); }
  int Close() override { return Note(); }
  int GetSize(unsigned long long* size) override;
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override;
  int Read(void* buffer, unsigned long long* size) override;
  int SeekTo(unsigned long long offset, int whence) override;
  int GetPosition(unsigned long long* position) override;

 private:
  static constexpr unsigned long kMaxCalls = 200000;
  static constexpr unsigned long long kMaxBytes = 16ull << 20;

  struct PlannedFault {
    unsigned long call;
    Fault fault;
  };
  // The work of one operation: outside packets, and in the current packet.
  struct Work {
    unsigned long long calls = 0, bytes = 0, packets = 0, packetCalls = 0, packetBytes = 0;
  };

  int Note();
  void Misbehave(Fault fault);
  int Deliver(void* buffer, unsigned long long* size);
  void Count(unsigned long long calls, unsigned long long bytes);

  std::string_view file_;
  std::vector<PlannedFault> plan_;
  std::size_t nextFault_ = 0;
  unsigned long calls_ = 0;
  unsigned long long bytes_ = 0;
  unsigned long long position_ = 0;
  unsigned long long maxRead_ = ~0ull;
  unsigned long long sizeAdded_ = 0;
  bool sizeKnown_ = true;
  bool bringNothing_ = false;
  bool overstate_ = false;
  int success_ = 0;
  Work work_;
};

// One file under one parser of the exported factory, from construction to the
// destructor: every operation checks its result. Asks for no kind and no index
// that GetTrackInfo did not name, so the required fatal assertions are findings.
class Host {
 public:
  // `fileBytes` is what the heap's limit is a multiple of. `counted` may be null.
  Host(IDataSource* source, std::size_t fileBytes, Source* counted);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Opens and fetches all that there is to know. False: the file does not open.
  bool Open(int mode);
  // One operation that the next bytes of `script` choose.
  void Step(Input* script);
  void Close();

  // Of every result so far: the same for the same file.
  std::uint64_t Digest() const { return digest_; }

 private:
  template <typename Call>
  auto Run(Call call) -> decltype(call());
  void Note(const void* bytes, std::size_t size);
  template <typename Number>
  void Note(Number number) {
    Note(&number, sizeof(number));
  }

  void Describe();
  void ReadTags();
  void ReadConfigs(unsigned long capacity);
  int ReadAudio();
  int ReadVideo(bool whole, bool keyFrameOnly);
  int NoteUnit(int status);
  void SeekEx(Input* script);
  void InertSlots();

  std::optional<LeakCheck> leaks_;  // goes last
  IDataSource* source_;
  IParser* parser_;
  Source* counted_;
  std::size_t maxHeapBytes_;
  std::uint64_t digest_ = 14695981039346656037ull;
  unsigned long size_ = 0;
  unsigned long timeMs_ = 0;
  long audioTrack_ = -1;  // what GetTrackInfo named; -1 = none
  long videoTrack_ = -1;
  bool closed_ = false;
};

// Plays `script` under one parser: a debug level, an open mode, then steps.
// `fileBytes` and `counted` as for Host. Returns the digest of all results.
std::uint64_t PlayScript(Input script, std::size_t fileBytes, IDataSource* source, Source* counted);

// The same over `file`, also through the read-ahead source; both must give the
// same results.
void CompareReadAhead(Input script, std::string_view file);

}  // namespace fuzz

#endif  // QO_FUZZ_HARNESS_H
