// How a frame of video was coded, by its own first bits: what files flag is not always so.
#ifndef QO_GST_FRAMETYPES_H
#define QO_GST_FRAMETYPES_H

#include <cstddef>

#include "qo_host/ParserSession.h"

enum class FrameType {
  kUnknown,        // its bits don't say, or mean nothing; H.264
  kIntra,          // stands for itself
  kPredicted,      // refers to frames before it
  kBidirectional,  // refers to frames shown behind it as well, which are stored in front of it
};

class FrameTypes {
 public:
  explicit FrameTypes(const qo_host::Track& track);

  // Of the frame that begins with `size` bytes at `data`, as ParserSession delivers it.
  FrameType Of(const unsigned char* data, std::size_t size) const;

 private:
  enum class Syntax { kOther, kMpeg12, kMpeg4, kMsMpeg4, kWmv2, kH263 };
  static Syntax SyntaxOf(const qo_host::Track& track);

  const Syntax syntax_;
};

#endif  // QO_GST_FRAMETYPES_H
