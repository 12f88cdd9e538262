// H.264 as the kit delivers it: NAL units behind start codes.
#ifndef QO_HOST_H264_H
#define QO_HOST_H264_H

#include <cstddef>
#include <vector>

#include "qo_host/ParserSession.h"

namespace qo_host {

// A NAL unit, without its start code.
struct NalUnit {
  static constexpr unsigned char kFirstSlice = 1;            // types of coded slices: from this one
  static constexpr unsigned char kLastSlice = 5;             // to this one
  static constexpr unsigned char kSequenceParameterSet = 7;  // a type; such a unit says how to read
  static constexpr unsigned char kPictureParameterSet = 8;   // the slices, as does this one

  const unsigned char* data;  // within the bytes that were walked
  std::size_t size;           // bytes, not 0; zeros behind it are not part of it

  // Its type, 0 to 31.
  unsigned char type() const { return data[0] & 0x1F; }
};

// Walks the NAL units of bytes in memory, in their order.
class NalUnits {
 public:
  // `size` bytes at `data` (null only when `size` is 0), which must outlive this and
  // what it finds. What stands in front of the first start code is passed over.
  NalUnits(const unsigned char* data, std::size_t size);

  // Stores the next one that is not empty in `*unit` (not null). False at the end; then
  // `*unit` stays as it was.
  bool Next(NalUnit* unit);

 private:
  const unsigned char* FindStartCode(const unsigned char* from) const;

  const unsigned char* next_;  // a start code's first byte, or `end_`
  const unsigned char* const end_;
};

// The parameter sets of a track behind start codes, as a decoder wants them in front of
// key frames: those of its configuration, a record or a byte stream. Of a record that is
// cut short, those in front of the cut. Empty for other codecs, and where the
// configuration has none: then they come in the units.
std::vector<unsigned char> H264ParameterSets(const Track& track);

// Whether a sequence parameter set stands in front of the first slice of `size` bytes
// behind start codes at `data`: a decoder can start there.
bool StartsWithH264Parameters(const unsigned char* data, std::size_t size);

}  // namespace qo_host

#endif  // QO_HOST_H264_H
