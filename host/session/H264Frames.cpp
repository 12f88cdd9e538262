// H264Frames: the parameter sets that came so far, and the slice that came last. What
// makes a slice the first of another picture is the standard's list (7.4.1.2.4).
#include "host/header/H264Syntax.h"
#include "qo_host/H264.h"

namespace qo_host {
namespace {

// Units that come in front of a picture's slices, where they don't end what is open.
bool IsInFront(unsigned char type) {
  constexpr unsigned char kSupplement = 6, kDelimiter = 9, kFirstReserved = 15, kLastReserved = 18;
  return (type >= kSupplement && type <= kDelimiter) ||
         (type >= kFirstReserved && type <= kLastReserved);
}

bool HasSameOrder(const H264Slice& a, const H264Slice& b) {
  return a.order == b.order && a.orderDeltas[0] == b.orderDeltas[0] &&
         a.orderDeltas[1] == b.orderDeltas[1];
}

bool IsOfSamePicture(const H264Slice& a, const H264Slice& b) {
  return a.frameNumber == b.frameNumber && a.pictureSet == b.pictureSet && a.isField == b.isField &&
         a.isBottom == b.isBottom && a.isReference == b.isReference && a.isIdr == b.isIdr &&
         a.idrNumber == b.idrNumber && HasSameOrder(a, b);
}

// Whether `b`, of another picture than `a`, is of the other field of its frame.
bool IsOtherField(const H264Slice& a, const H264Slice& b) {
  return a.isField && b.isField && a.isBottom != b.isBottom && a.frameNumber == b.frameNumber &&
         a.isReference == b.isReference && (a.isIdr || !b.isIdr);
}

}  // namespace

struct H264Frames::State {
  Place TakeSlice(const H264Slice& slice);

  H264Sets sets;
  std::optional<H264Slice> last;  // of the frame that goes on
  bool hasFirstMacroblock = false;
  bool hasBothFields = false;
  bool isOpen = false;       // what stands in front of slices came behind `last`
  bool isDelimited = false;  // a delimiter among it
  H264Slice begin;           // what the frame began with
};

H264Frames::H264Frames(const Track& track) : state_(std::make_unique<State>()) {
  const std::vector<unsigned char> sets = H264ParameterSets(track);
  Take(sets.data(), sets.size());
}

H264Frames::~H264Frames() = default;

void H264Frames::Start() {
  state_->last.reset();
  state_->hasFirstMacroblock = state_->hasBothFields = false;
  state_->isOpen = state_->isDelimited = false;
}

bool H264Frames::isIdr() const { return state_->begin.isIdr; }

bool H264Frames::isBidirectional() const { return state_->begin.isBidirectional; }

std::uint16_t H264Frames::order() const {
  constexpr unsigned int kBits = 16;
  const H264Slice& slice = state_->begin;
  return static_cast<std::uint16_t>(slice.order << (kBits - slice.orderBits));
}

H264Frames::Place H264Frames::Take(const unsigned char* data, std::size_t size) {
  NalUnits units(data, size);
  for (NalUnit unit{}; units.NextToSlice(&unit);) {
    constexpr unsigned char kSecondPart = 3, kThirdPart = 4, kDelimiter = 9;
    const unsigned char type = unit.type();
    if (type == NalUnit::kSequenceParameterSet) state_->sets.TakeSequence(unit.data, unit.size);
    if (type == NalUnit::kPictureParameterSet) state_->sets.TakePictureSet(unit.data, unit.size);
    if (state_->last && IsInFront(type)) state_->isOpen = true;
    if (state_->isOpen && type == kDelimiter) state_->isDelimited = true;
    // Parts of a slice behind the first have no header.
    if (!unit.isSlice() || type == kSecondPart || type == kThirdPart) continue;
    const auto slice = state_->sets.ReadSlice(unit.data, unit.size);
    return slice ? state_->TakeSlice(*slice) : Place::kInside;
  }
  return state_->isOpen ? Place::kOpen : Place::kInside;
}

H264Frames::Place H264Frames::State::TakeSlice(const H264Slice& slice) {
  const bool isFirst = slice.firstMacroblock == 0;
  const bool isAgain = isFirst && hasFirstMacroblock && !slice.mayRepeat;
  const bool isPicture = !last || isDelimited || isAgain || !IsOfSamePicture(*last, slice);
  const bool isField = isPicture && last && !hasBothFields && IsOtherField(*last, slice);
  const bool isNext = isPicture && last && !isField;
  if (isNext || !last) {
    begin = slice;
    hasBothFields = false;
  }
  hasBothFields |= isField;
  hasFirstMacroblock = isFirst || (hasFirstMacroblock && !isPicture);
  isOpen = isDelimited = false;
  last = slice;
  return isNext ? Place::kNext : Place::kInside;
}

}  // namespace qo_host
