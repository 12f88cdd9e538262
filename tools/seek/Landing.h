// A seek, where it landed, and what it cost.
#ifndef QO_TOOLS_SEEK_LANDING_H
#define QO_TOOLS_SEEK_LANDING_H

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "qo_host/ExactSeek.h"
#include "qo_host/ParserSession.h"
#include "qo_host/TraceSource.h"
#include "tools/common/Tool.h"

namespace tool {

struct Landing {
  std::string problem;  // why the seek failed; empty when it did not
  std::optional<unsigned long long> packet;
  unsigned long long probes = 0;                            // packets whose header the seek read
  unsigned long long bytesRead = 0;                         // by the seek alone
  std::map<qo_host::TrackKind, qo_host::AccessUnit> first;  // the first unit of each track
};

// Ms from the target to a time.
long long Distance(unsigned long long timeMs, unsigned long long target);

// Puts a new parser in the place of that of `session`, which has been opened: what the old
// one held is free, and units come from the beginning. Both not null. Throws Failure.
void RenewParser(const Input& input, qo_host::ParserSession* session);

// How a seek is made.
struct SeekWay {
  int mode = kSeekPreviousSync;  // kSeekPreviousSync ...
  int flags = 0;                 // kSeekByteMode or 0
  bool exact = false;            // then neither of them counts
};

// Seeks in an open file and reads the first unit of each track. What a seek costs is
// told by the calls of a parser of its own on the file as it is played, whatever mends
// it or reads ahead underneath.
class Seeker {
 public:
  // `input` (not null) has been opened and must outlive this. Throws Failure.
  explicit Seeker(Input* input);

  Landing Land(unsigned long long timeMs, const SeekWay& way);

  // Frees what seeks have left in memory; the next seek is as any other. Throws Failure.
  void Renew();

 private:
  void Seek(unsigned long long timeMs, const SeekWay& way, Landing* landing);

  const qo_host::AsfLayout& layout_;  // of what is played
  const Input& input_;
  qo_host::TraceSource* calls_ = nullptr;  // owned by the session
  std::unique_ptr<qo_host::ParserSession> session_;
  qo_host::ExactSeeker exact_;
};

}  // namespace tool

#endif  // QO_TOOLS_SEEK_LANDING_H
