// The simple index of a video stream, from its key frames as a walk meets them.
#ifndef QO_HOST_KEYFRAMEINDEX_H
#define QO_HOST_KEYFRAMEINDEX_H

#include <vector>

#include "asf/format/guid.h"
#include "qo_host/PacketReader.h"

namespace qo_host {

class KeyFrameIndex {
 public:
  // Of more key frames an index is neither made nor judged.
  static constexpr std::size_t kMaxKeyFrames = std::size_t{1} << 20;

  // `stream`: its number.
  KeyFrameIndex(unsigned char stream, unsigned long long prerollMs)
      : stream_(stream), prerollMs_(prerollMs) {}

  unsigned char stream() const { return stream_; }
  bool IsEmpty() const { return keyFrames_.empty(); }

  // The next payload in the file that is kept, in packet `number`.
  void Add(unsigned long long number, const Payload& payload);

  // Whether the simple index object in `bytes` leads to key frames throughout, none of
  // them further from the time asked for than it has to be.
  bool Agrees(const std::vector<unsigned char>& bytes) const;

  // A simple index object with an entry a second.
  std::vector<unsigned char> Make(const guid& fileId) const;

 private:
  struct KeyFrame {
    unsigned long long packet;  // that it begins in
    unsigned long long timeMs;  // preroll included; those behind have no smaller one
    unsigned short packets;     // that it lies in
  };
  // The last key frame no later than `timeMs`; the first where there is none.
  const KeyFrame& At(unsigned long long timeMs) const;

  const unsigned char stream_;
  const unsigned long long prerollMs_;
  std::vector<KeyFrame> keyFrames_;
  bool goesOn_ = false;  // the last one does
};

}  // namespace qo_host

#endif  // QO_HOST_KEYFRAMEINDEX_H
