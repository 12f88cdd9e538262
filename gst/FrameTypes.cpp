// FrameTypes: the picture headers of several codecs, no further than the type.
#include "gst/FrameTypes.h"

#include <gst/base/gstbitreader.h>
#include <gst/gst.h>

#include <algorithm>
#include <iterator>

namespace {

// A coding type: for each number what it means.
template <std::size_t kCount>
FrameType Among(const FrameType (&types)[kCount], std::size_t number) {
  return number < kCount ? types[number] : FrameType::kUnknown;
}

// The `count` bits from bit `at` on; all ones where there are not so many.
unsigned int Bits(const unsigned char* data, std::size_t size, unsigned int at,
                  unsigned int count) {
  constexpr std::size_t kLooked = 16;
  GstBitReader reader;
  gst_bit_reader_init(&reader, data, static_cast<guint>(std::min(size, kLooked)));
  guint32 bits = 0;
  const bool isThere =
      gst_bit_reader_skip(&reader, at) && gst_bit_reader_get_bits_uint32(&reader, &bits, count);
  return isThere ? bits : G_MAXUINT;
}

// The type behind the first start code `code`, `at` bits from there.
FrameType BehindCode(const unsigned char* data, std::size_t size, unsigned char code,
                     unsigned int at, unsigned int count, const FrameType (&types)[4]) {
  const unsigned char start[] = {0, 0, 1, code};
  const unsigned char* const end = data + size;
  const unsigned char* const found = std::search(data, end, std::begin(start), std::end(start));
  constexpr unsigned int kCodeBits = 32;
  return Among(types, Bits(found, static_cast<std::size_t>(end - found), kCodeBits + at, count));
}

FrameType OfH263(const unsigned char* data, std::size_t size) {
  constexpr unsigned int kStartBits = 22, kStart = 0x20, kFormatAt = 35, kExtended = 7;
  static constexpr FrameType kTypes[] = {FrameType::kIntra, FrameType::kPredicted};
  if (Bits(data, size, 0, kStartBits) != kStart) return FrameType::kUnknown;
  // Behind an extended format comes another header.
  if (Bits(data, size, kFormatAt, 3) == kExtended) return FrameType::kUnknown;
  return Among(kTypes, Bits(data, size, kFormatAt + 3, 1));
}

}  // namespace

FrameTypes::FrameTypes(const qo_host::Track& track) : syntax_(SyntaxOf(track)) {}

FrameTypes::Syntax FrameTypes::SyntaxOf(const qo_host::Track& track) {
  switch (track.info.codec) {
    case kCodecMpeg1:
    case kCodecMpeg2:
      return Syntax::kMpeg12;
    case kCodecMpeg4:
      return track.codecTag == GST_MAKE_FOURCC('D', 'I', 'V', '2') ? Syntax::kMsMpeg4
                                                                   : Syntax::kMpeg4;
    case kCodecMp42:
      return track.codecTag == GST_MAKE_FOURCC('M', '4', 'S', '2') ? Syntax::kMpeg4
                                                                   : Syntax::kMsMpeg4;
    case kCodecMp4v:
    case kCodecDivx4:
    case kCodecDivx5:
    case kCodecXvid:
      return Syntax::kMpeg4;
    case kCodecMp43:
    case kCodecDivx3:
    case kCodecWmv1:
      return Syntax::kMsMpeg4;
    case kCodecWmv2:
      return Syntax::kWmv2;
    case kCodecH263:
      return Syntax::kH263;
    default:
      return Syntax::kOther;
  }
}

FrameType FrameTypes::Of(const unsigned char* data, std::size_t size) const {
  constexpr FrameType kI = FrameType::kIntra, kP = FrameType::kPredicted,
                      kB = FrameType::kBidirectional, kNone = FrameType::kUnknown;
  static constexpr FrameType kMpeg12[4] = {kNone, kI, kP, kB}, kMpeg4[4] = {kI, kP, kB, kP};
  static constexpr FrameType kTwo[2] = {kI, kP};
  switch (syntax_) {
    case Syntax::kMpeg12:
      return BehindCode(data, size, 0x00, 10, 3, kMpeg12);
    case Syntax::kMpeg4:
      return BehindCode(data, size, 0xB6, 0, 2, kMpeg4);
    case Syntax::kMsMpeg4:
      return Among(kTwo, Bits(data, size, 0, 2));
    case Syntax::kWmv2:
      return Among(kTwo, Bits(data, size, 0, 1));
    case Syntax::kH263:
      return OfH263(data, size);
    case Syntax::kOther:
      break;
  }
  return FrameType::kUnknown;
}
