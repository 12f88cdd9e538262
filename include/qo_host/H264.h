// H.264 as the kit delivers it: NAL units behind start codes, and the frames that they
// make.
#ifndef QO_HOST_H264_H
#define QO_HOST_H264_H

#include <cstddef>
#include <cstdint>
#include <memory>
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
  // Whether it is part of a coded picture.
  bool isSlice() const { return type() >= kFirstSlice && type() <= kLastSlice; }
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
  // The same up to the first slice, which ends the walk: as its end isn't searched for,
  // it comes with all that is behind it.
  bool NextToSlice(NalUnit* unit);

 private:
  const unsigned char* FindStartCode(const unsigned char* from) const;
  bool Cut(const unsigned char* end, NalUnit* unit);

  const unsigned char* next_;  // a start code's first byte, or `end_`
  const unsigned char* const end_;
};

// The parameter sets of a track behind start codes, as a decoder wants them in front of
// key frames: those of its configuration, a record or a byte stream. Of a record that is
// cut short, those in front of the cut. Empty for other codecs, and where the
// configuration has none: then they come in the units.
std::vector<unsigned char> H264ParameterSets(const Track& track);

// Tells where a frame ends and the next one begins among units of a track that share a
// time. A frame is a picture, or the two fields of one: what Matroska has in a block, and
// GStreamer in an access unit. Each unit, as ParserSession delivers it, is taken once, in
// decoding order, whether its place is asked for or not, as units bring parameter sets. Of a unit
// that holds several pictures the first one counts.
class H264Frames {
 public:
  // Where a unit belongs.
  enum class Place {
    kInside,  // of the frame that goes on, and so is what was open in front of it
    kOpen,    // of the frame that goes on if that does, otherwise of the next
    kNext,    // begins the next frame, with what was open in front of it
  };

  // Knows the parameter sets of the track's configuration.
  explicit H264Frames(const Track& track);
  ~H264Frames();

  // What is taken next begins a frame, or belongs in front of its first slice.
  void Start();
  // Where `size` bytes behind start codes at `data` belong. Where parameter sets are missing
  // or torn, a slice of the first macroblock begins a picture; what can't be read at
  // all is kInside.
  Place Take(const unsigned char* data, std::size_t size);
  // Of the frame that was begun last: whether it does so with an IDR picture;
  bool isIdr() const;
  // whether it is made of B slices, by its first one;
  bool isBidirectional() const;
  // its place in the order of output. Of two frames that are not far apart `a` is shown first
  // where `a - b`, taken as a signed 16-bit number, is negative. 0 where slices don't tell.
  std::uint16_t order() const;

 private:
  struct State;

  const std::unique_ptr<State> state_;  // not null
};

// Whether a sequence parameter set stands in front of the first slice of `size` bytes
// behind start codes at `data`: a decoder can start there.
bool StartsWithH264Parameters(const unsigned char* data, std::size_t size);

}  // namespace qo_host

#endif  // QO_HOST_H264_H
