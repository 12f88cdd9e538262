// A host that checks every result of the parser, and plays scripts of operations.
// Owns its parser, which the exported factory makes; not the source.
//
// A property that does not hold ends the process (CHECK), which is a finding.
// docs/safety.md states the properties and where each limit comes from.
#ifndef QO_TESTING_CHECKINGHOST_H
#define QO_TESTING_CHECKINGHOST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "qo_parser_asf/IParser.h"
#include "testing/HeapMeter.h"
#include "testing/Input.h"
#include "testing/MeteredSource.h"

// kMaxAccessUnitBytes, for access units. Allocated, so that the address sanitizer
// sees one that is too large.
unsigned char* UnitBuffer();

// One file under one parser of the exported factory, from construction to the
// destructor: every operation checks its result. Asks for no kind and no index
// that GetTrackInfo did not name, so the required fatal assertions are findings.
class CheckingHost {
 public:
  // Over a metered source work is held to its bounds as well, and what is left behind
  // is; other sources allocate as they are read. The heap's limit is a multiple of
  // the file's size.
  explicit CheckingHost(MeteredSource* source)
      : CheckingHost(source, source->FileBytes(), source) {}
  CheckingHost(IDataSource* source, std::size_t fileBytes)
      : CheckingHost(source, fileBytes, nullptr) {}
  ~CheckingHost();
  CheckingHost(const CheckingHost&) = delete;
  CheckingHost& operator=(const CheckingHost&) = delete;

  // Opens and fetches all that there is to know. False: the file does not open.
  bool Open(int mode);
  // One operation that the next bytes of `script` choose.
  void Step(Input* script);
  void Close();

  // Of every result so far: the same for the same file.
  std::uint64_t Digest() const { return digest_; }

 private:
  CheckingHost(IDataSource* source, std::size_t fileBytes, MeteredSource* counted);

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
  MeteredSource* counted_;  // the source where it is metered, else null
  std::size_t maxHeapBytes_;
  std::uint64_t digest_ = 14695981039346656037ull;
  unsigned long size_ = 0;
  unsigned long timeMs_ = 0;
  long audioTrack_ = -1;  // what GetTrackInfo named; -1 = none
  long videoTrack_ = -1;
  bool closed_ = false;
};

// Plays `script` under one parser: a debug level, an open mode, then steps. Returns
// the digest of all results.
std::uint64_t PlayScript(Input script, MeteredSource* source);
std::uint64_t PlayScript(Input script, IDataSource* source, std::size_t fileBytes);

// The same over `file`, also through the read-ahead source; both must give the
// same results.
void CompareReadAhead(Input script, std::string_view file);

#endif  // QO_TESTING_CHECKINGHOST_H
