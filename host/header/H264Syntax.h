// What H.264's parameter sets and slices begin with, as far as it tells pictures apart
// and says what they look like.
#ifndef QO_HOST_HEADER_H264SYNTAX_H
#define QO_HOST_HEADER_H264SYNTAX_H

#include <cstddef>
#include <optional>

namespace qo_host {

// A sequence parameter set.
struct H264Sequence {
  static constexpr unsigned int kMaxId = 31;

  unsigned int id = 0;
  unsigned int chromaFormat = 1;  // 0: none, 1: 4:2:0, 2: 4:2:2, 3: 4:4:4
  bool hasSeparatePlanes = false;
  unsigned int lumaBits = 8;  // of a sample; 8 to 14
  unsigned int chromaBits = 8;
  unsigned int frameNumberBits = 0;
  unsigned int orderType = 0;  // how slices tell the order of output: 0 to 2
  unsigned int orderBits = 0;
  bool isOrderFixed = false;
  unsigned int referenceFrames = 0;  // at most
  bool hasFramesOnly = true;         // no fields
};

// A picture parameter set.
struct H264PictureSet {
  static constexpr unsigned int kMaxId = 255;

  unsigned int id = 0;
  unsigned int sequence = 0;
  bool hasFrameOrder = false;  // slices of frames tell the order of the fields
  bool mayRepeat = false;      // a macroblock may come again in a picture
};

// A slice's header, in front of which its NAL unit's first byte stands.
struct H264Slice {
  unsigned int firstMacroblock = 0;
  unsigned int pictureSet = 0;
  bool isReference = false;
  bool isIdr = false;
  bool isBidirectional = false;
  bool mayRepeat = false;
  // These only where the parameter sets are known.
  unsigned int frameNumber = 0;
  bool isField = false;
  bool isBottom = false;
  unsigned int idrNumber = 0;
  unsigned int orderBits = 0;  // of `order`; 0: it isn't told
  unsigned int order = 0;
  int orderDeltas[2] = {0, 0};
};

// Each reads a NAL unit of `size` bytes, not 0, at `data`. Nothing where it ends too
// early, or holds what is out of range.
std::optional<H264Sequence> ReadH264Sequence(const unsigned char* data, std::size_t size);
std::optional<H264PictureSet> ReadH264PictureSet(const unsigned char* data, std::size_t size);

// The parameter sets that came so far.
class H264Sets {
 public:
  // Those that can't be read leave all as it was.
  void TakeSequence(const unsigned char* data, std::size_t size);
  void TakePictureSet(const unsigned char* data, std::size_t size);
  // Where the sets that the slice names are not known, it has the fields in front of
  // theirs.
  std::optional<H264Slice> ReadSlice(const unsigned char* data, std::size_t size) const;

 private:
  std::optional<H264Sequence> sequences_[H264Sequence::kMaxId + 1];
  std::optional<H264PictureSet> pictureSets_[H264PictureSet::kMaxId + 1];
};

}  // namespace qo_host

#endif  // QO_HOST_HEADER_H264SYNTAX_H
