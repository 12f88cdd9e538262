// See FaultySource.h.
#include "testing/FaultySource.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

namespace {

void Append(std::string* text, const char* part) { *text += part; }
void Append(std::string* text, unsigned long long number) { *text += std::to_string(number); }

}  // namespace

// The call's name and numbers; 0 or 1 where it goes well.
template <typename... Parts>
int FaultySource::Note(Parts... parts) {
  ++calls_;
  bringNothing_ = overstate_ = false;
  if (calls_ == actionCall_) action_();
  if (records_) {
    std::string call;
    (Append(&call, parts), ...);
    if (!Record(call)) return kFailure;
  }
  for (; nextFault_ < plan_.size() && plan_[nextFault_].call <= calls_; ++nextFault_) {
    if (plan_[nextFault_].call != calls_) continue;
    if (plan_[nextFault_].fault == Fault::kFail) return kFailure;
    Misbehave(plan_[nextFault_].fault);
  }
  return success_;
}

// False: this call is the one that is to fail.
bool FaultySource::Record(const std::string& call) {
  recorded_ += (recorded_.empty() ? "" : ", ") + call;
  if (call != failOn_) return true;
  failOn_.clear();
  return false;
}

void FaultySource::Misbehave(Fault fault) {
  switch (fault) {
    case Fault::kThrow:
      throw std::runtime_error("byte source");
    case Fault::kThrowBadAlloc:
      throw std::bad_alloc();
    case Fault::kBringNothing:
      bringNothing_ = true;
      break;
    case Fault::kShrink:
      file_.resize(file_.size() / 2);
      break;
    case Fault::kReadShort:
      maxRead_ = 16;
      break;
    case Fault::kSizeUnknown:
      sizeKnown_ = false;
      break;
    case Fault::kSizeTooLarge:
      sizeAdded_ = 1ull << 33;
      break;
    case Fault::kOverstate:
      overstate_ = true;
      break;
    case Fault::kJump:
      position_ += 1ull << (calls_ % 64);
      break;
    case Fault::kPositive:
      success_ = 1;
      break;
    default:
      break;
  }
}

int FaultySource::GetSize(unsigned long long* size) {
  const int status = Note("GetSize");
  *size = file_.size() + sizeAdded_;
  return status != 0 || sizeKnown_ ? status : 1;
}

int FaultySource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  const int status = Note("ReadAt ", offset, "+", *size);
  if (status < 0) return status;
  position_ = offset;
  return Deliver(buffer, size);
}

int FaultySource::Read(void* buffer, unsigned long long* size) {
  const int status = Note("Read ", *size);
  return status < 0 ? status : Deliver(buffer, size);
}

int FaultySource::SeekTo(unsigned long long offset, int whence) {
  const int status = Note(whence == 0 ? "SeekTo " : "Skip ", offset);
  if (status >= 0) position_ = whence == 0 ? offset : position_ + offset;
  return status;
}

int FaultySource::GetPosition(unsigned long long* position) {
  const int status = Note("GetPosition");
  if (status >= 0) *position = position_;
  return status;
}

int FaultySource::Deliver(void* buffer, unsigned long long* size) {
  const unsigned long long asked = *size;
  const unsigned long long left = position_ < file_.size() ? file_.size() - position_ : 0;
  *size = bringNothing_ ? 0 : std::min({asked, left, maxRead_});
  if (*size != 0) std::memcpy(buffer, file_.data() + position_, *size);
  position_ += *size;
  if (overstate_) *size = asked + 1000;
  return success_;
}
