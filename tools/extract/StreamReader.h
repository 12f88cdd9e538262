// The frames of one stream, one after the other.
#ifndef QO_TOOLS_EXTRACT_STREAMREADER_H
#define QO_TOOLS_EXTRACT_STREAMREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "qo_host/FileHeader.h"
#include "qo_host/H264.h"
#include "qo_host/ParserSession.h"

namespace tool {

// An access unit; of H.264 all NAL units of a frame.
struct Frame {
  const unsigned char* data;
  std::size_t size;
  std::int64_t timeMs;  // negative in front of the presentation's start
  bool isKeyFrame;
  bool isIncomplete;  // it lost fragments
};

// What writers know of a stream before they get its frames.
struct StreamSetup {
  const qo_host::FileHeader& header;
  const qo_host::StreamHeader& stream;  // of `header`
  const qo_host::Track& track;          // as the session delivers it
  const Frame& first;
};

class StreamReader {
 public:
  // Reads the track of `kind`, which the session (open, not null) has, and which no
  // other reads. The session must outlive this.
  StreamReader(qo_host::ParserSession* session, qo_host::TrackKind kind);
  // The same in a session of its own, in which `stream` (audio or video) of the file
  // behind `shared` (not null, opened) is the only one; both must outlive the reader. Null
  // where it can't be played.
  static std::unique_ptr<StreamReader> OpenBeside(const qo_host::ParserFactory& factory,
                                                  IDataSource* shared,
                                                  const qo_host::StreamHeader& stream);

  const qo_host::Track& track() const { return track_; }
  // Null where the session reads the file as it is.
  const qo_host::StreamHeader* header() const;
  // Only where there is a header, and a frame.
  StreamSetup setup();

  // The next frame, valid until Drop; null at the end.
  const Frame* Peek();
  void Drop() { hasFrame_ = false; }

  // Of the frames looked at.
  unsigned long long frames() const { return frames_; }
  unsigned long long incompleteFrames() const { return incompleteFrames_; }

 private:
  explicit StreamReader(std::unique_ptr<qo_host::ParserSession> session);
  bool Read();
  void Join(const qo_host::AccessUnit& first);
  bool Append(const qo_host::AccessUnit& unit);

  std::unique_ptr<qo_host::ParserSession> owned_;
  qo_host::ParserSession* const session_;
  const qo_host::Track track_;
  const std::uint64_t prerollMs_;
  Frame frame_{};
  bool hasFrame_ = false;
  std::unique_ptr<qo_host::H264Frames> h264_;  // null: a unit is a frame
  std::vector<unsigned char> joined_;          // `frame_`, and what the next one begins with
  std::ptrdiff_t open_ = 0;                    // of that, bytes
  std::optional<unsigned long long> beganMs_;  // the time of which a frame has been read
  unsigned long long frames_ = 0;
  unsigned long long incompleteFrames_ = 0;
};

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_STREAMREADER_H
