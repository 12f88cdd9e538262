// Reads H.264's parameter sets and slice headers, in the order of their syntax.
#include "host/header/H264Syntax.h"

#include <algorithm>
#include <iterator>

#include "host/header/BitReader.h"

namespace qo_host {
namespace {

constexpr unsigned int kColour444 = 3;

// Profiles whose sequences say what samples are like.
bool HasChromaFormat(unsigned int profile) {
  static constexpr unsigned int kProfiles[] = {100, 110, 122, 244, 44,  83, 86,
                                               118, 128, 138, 139, 134, 135};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

void SkipScalingList(BitReader* bits, unsigned int size) {
  unsigned int last = 8;
  for (unsigned int i = 0; i < size && bits->ok(); ++i) {
    last = static_cast<unsigned int>(static_cast<long long>(last) + bits->SignedGolomb()) & 0xFF;
    if (last == 0) return;
  }
}

void SkipScalingMatrix(BitReader* bits, unsigned int chromaFormat) {
  constexpr unsigned int kSmallLists = 6;
  const unsigned int lists = chromaFormat == kColour444 ? 12 : 8;
  for (unsigned int i = 0; i < lists; ++i) {
    if (bits->Flag()) SkipScalingList(bits, i < kSmallLists ? 16 : 64);
  }
}

void ReadSampleFormat(BitReader* bits, H264Sequence* sequence) {
  sequence->chromaFormat = bits->Golomb(kColour444);
  if (sequence->chromaFormat == kColour444) sequence->hasSeparatePlanes = bits->Flag();
  sequence->lumaBits = bits->Golomb(6) + 8;
  sequence->chromaBits = bits->Golomb(6) + 8;
  bits->Flag();  // lossless
  if (bits->Flag()) SkipScalingMatrix(bits, sequence->chromaFormat);
}

void ReadOrder(BitReader* bits, H264Sequence* sequence) {
  sequence->orderType = bits->Golomb(2);
  if (sequence->orderType == 0) sequence->orderBits = bits->Golomb(12) + 4;
  if (sequence->orderType != 1) return;
  sequence->isOrderFixed = bits->Flag();
  bits->SignedGolomb();
  bits->SignedGolomb();
  for (unsigned int cycle = bits->Golomb(); cycle != 0 && bits->ok(); --cycle) bits->SignedGolomb();
}

// From the order's numbers on, which end what tells pictures apart.
void ReadSliceOrder(BitReader* bits, const H264Sequence& sequence, const H264PictureSet& set,
                    H264Slice* slice) {
  const bool hasFields = set.hasFrameOrder && !slice->isField;
  if (sequence.orderType == 0) {
    slice->orderBits = sequence.orderBits;
    slice->order = bits->Bits(sequence.orderBits);
    if (hasFields) slice->orderDeltas[0] = bits->SignedGolomb();
  } else if (sequence.orderType == 1 && !sequence.isOrderFixed) {
    slice->orderDeltas[0] = bits->SignedGolomb();
    if (hasFields) slice->orderDeltas[1] = bits->SignedGolomb();
  }
}

}  // namespace

std::optional<H264Sequence> ReadH264Sequence(const unsigned char* data, std::size_t size) {
  BitReader bits(data + 1, size - 1);
  const unsigned int profile = bits.Bits(8);
  bits.Bits(16);  // constraints, level
  H264Sequence sequence;
  sequence.id = bits.Golomb(H264Sequence::kMaxId);
  if (HasChromaFormat(profile)) ReadSampleFormat(&bits, &sequence);
  sequence.frameNumberBits = bits.Golomb(12) + 4;
  ReadOrder(&bits, &sequence);
  sequence.referenceFrames = bits.Golomb(16);
  bits.Flag();    // gaps in frame numbers
  bits.Golomb();  // width
  bits.Golomb();  // height
  sequence.hasFramesOnly = bits.Flag();
  return bits.ok() ? std::optional(sequence) : std::nullopt;
}

std::optional<H264PictureSet> ReadH264PictureSet(const unsigned char* data, std::size_t size) {
  BitReader bits(data + 1, size - 1);
  H264PictureSet set;
  set.id = bits.Golomb(H264PictureSet::kMaxId);
  set.sequence = bits.Golomb(H264Sequence::kMaxId);
  bits.Flag();  // entropy coding
  set.hasFrameOrder = bits.Flag();
  // Where macroblocks come in groups, only baseline's profiles, so may slices again: what
  // follows the groups isn't looked at.
  set.mayRepeat = bits.Golomb() != 0;
  if (!set.mayRepeat) {
    bits.Golomb();                                    // references, forward
    bits.Golomb();                                    // and backward
    bits.Bits(3);                                     // weighted prediction
    for (int i = 0; i < 3; ++i) bits.SignedGolomb();  // quantisers
    bits.Bits(2);                                     // deblocking, constrained prediction
    set.mayRepeat = bits.Flag();
  }
  return bits.ok() ? std::optional(set) : std::nullopt;
}

void H264Sets::TakeSequence(const unsigned char* data, std::size_t size) {
  if (const auto sequence = ReadH264Sequence(data, size)) sequences_[sequence->id] = sequence;
}

void H264Sets::TakePictureSet(const unsigned char* data, std::size_t size) {
  if (const auto set = ReadH264PictureSet(data, size)) pictureSets_[set->id] = set;
}

std::optional<H264Slice> H264Sets::ReadSlice(const unsigned char* data, std::size_t size) const {
  constexpr unsigned char kIdr = 5, kTypeBits = 0x1F, kReferenceBits = 0x60;
  BitReader bits(data + 1, size - 1);
  H264Slice slice;
  slice.isReference = (data[0] & kReferenceBits) != 0;
  slice.isIdr = (data[0] & kTypeBits) == kIdr;
  slice.firstMacroblock = bits.Golomb();
  constexpr unsigned int kB = 1, kTypes = 5;
  slice.isBidirectional = bits.Golomb() % kTypes == kB;
  slice.pictureSet = bits.Golomb(H264PictureSet::kMaxId);
  if (!bits.ok()) return std::nullopt;
  const auto& set = pictureSets_[slice.pictureSet];
  if (!set || !sequences_[set->sequence]) return slice;
  const H264Sequence& sequence = *sequences_[set->sequence];
  slice.mayRepeat = set->mayRepeat || sequence.hasSeparatePlanes;
  if (sequence.hasSeparatePlanes) bits.Bits(2);
  slice.frameNumber = bits.Bits(sequence.frameNumberBits);
  slice.isField = !sequence.hasFramesOnly && bits.Flag();
  slice.isBottom = slice.isField && bits.Flag();
  if (slice.isIdr) slice.idrNumber = bits.Golomb();
  ReadSliceOrder(&bits, sequence, *set, &slice);
  return bits.ok() ? std::optional(slice) : std::nullopt;
}

}  // namespace qo_host
