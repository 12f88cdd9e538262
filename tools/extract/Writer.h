// What every writer of frames offers, and how each is made.
#ifndef QO_TOOLS_EXTRACT_WRITER_H
#define QO_TOOLS_EXTRACT_WRITER_H

#include <memory>
#include <vector>

#include "tools/common/OutputFile.h"
#include "tools/extract/StreamReader.h"

namespace tool {

class Writer {
 public:
  virtual ~Writer() = default;
  // `stream` counts as the streams did from which the writer was made; `frame` is the
  // stream's next.
  virtual void Write(std::size_t stream, const Frame& frame) = 0;
  // What can be said only at the end; the last call. The file stays open.
  virtual void Finish() = 0;
};
using WriterPointer = std::unique_ptr<Writer>;
using StreamList = std::vector<StreamSetup>;

// These take an empty file, which must outlive the writer, and streams that fit (see
// Format.h), of which they keep nothing but what they copy: one, but for Matroska. All
// throw Failure(kExitCannotRun) where the file can't be written.

// Frames one behind the other, with parameter sets and headers that the stream's
// configuration has and its first frame lacks in front.
WriterPointer MakeElementaryWriter(OutputFile* file, const StreamList& streams);
// The same without anything in front.
WriterPointer MakeRawWriter(OutputFile* file);
WriterPointer MakeWavWriter(OutputFile* file, const StreamList& streams);
WriterPointer MakeAdtsWriter(OutputFile* file, const StreamList& streams);
WriterPointer MakeIvfWriter(OutputFile* file, const StreamList& streams);
WriterPointer MakeMatroskaWriter(OutputFile* file, const StreamList& streams);

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_WRITER_H
