// Looks at every packet of a file, and at the header in the light of them: all streams,
// as the file has them, whatever is presented of it.
//
// Typical use, of a session that has just been opened:
//
//   qo_host::FileCheck check(session, file);
//   while (const qo_host::AccessUnit* unit = session.NextUnit()) {
//     if (check.Follow() < 0) ...
//   }
//   if (check.Finish({}, &findings) < 0) ...
//
// Following a play-out, it reads what that has just read, so that a file too large for
// memory comes from the disk once. Memory: that of a PresentedFile's damage, some 64 KiB
// or a packet, 32 KiB of times, and the places of a video stream's key frames, of which
// 2^20 are kept.
#ifndef QO_HOST_FILECHECK_H
#define QO_HOST_FILECHECK_H

#include <memory>
#include <vector>

#include "qo_host/Findings.h"

namespace qo_host {

// Follows a play-out packet by packet.
class FileCheck {
 public:
  // `session` is open. `file` (not null) brings the file's own bytes; reads may move its
  // position. Both must outlive this. Where the session has not presented the file, its
  // header is read here.
  FileCheck(const ParserSession& session, IDataSource* file);
  ~FileCheck();
  FileCheck(const FileCheck&) = delete;
  FileCheck& operator=(const FileCheck&) = delete;

  // Looks at the packets up to the one that the session reads. 0, or the failure of a
  // read; after that nothing more is looked at.
  int Follow();

  // Looks at the rest and adds to `*findings` (not null) what was found, but for what
  // `told`, the findings of JudgeOpen and JudgePlayOut, tells already. 0, or the failure
  // of a read; then nothing is added.
  int Finish(const std::vector<Finding>& told, std::vector<Finding>* findings);

 private:
  class Work;

  std::unique_ptr<Work> work_;
};

}  // namespace qo_host

#endif  // QO_HOST_FILECHECK_H
