// A byte source over memory that records its calls and misbehaves on request.
#ifndef QO_TESTS_FAULTYSOURCE_H
#define QO_TESTS_FAULTYSOURCE_H

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "qo_parser_asf/IDataSource.h"

class FaultySource : public IDataSource {
 public:
  // What happens at the call with the number `faultCall`, counted from 1.
  enum Fault { kFail, kThrow, kThrowBadAlloc };
  static constexpr int kFailure = -77;

  explicit FaultySource(std::string bytes) : bytes_(std::move(bytes)) {}

  Fault fault = kFail;
  std::string failOn;  // the first call of this text fails
  long faultCall = 0;  // 0 = never
  bool sizeKnown = true;
  unsigned long long sizeAdded = 0;  // bytes that GetSize says too many
  bool record = true;

  // "Open, ReadAt 0+30, Read 24, Skip 8, SeekTo 100, GetPosition, GetSize"
  std::string TakeCalls() { return std::exchange(calls_, {}); }
  long callCount() const { return count_; }

  int Open() override { return Note("Open"); }
  int Close() override { return Note("Close"); }

  int GetSize(unsigned long long* size) override {
    if (const int status = Note("GetSize"); status < 0) return status;
    *size = bytes_.size() + sizeAdded;
    return sizeKnown ? 0 : 1;
  }

  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override {
    const int status = Note("ReadAt ", offset, "+", *size);
    if (status < 0) return status;
    position_ = offset;
    return Deliver(buffer, size);
  }

  int Read(void* buffer, unsigned long long* size) override {
    const int status = Note("Read ", *size);
    return status < 0 ? status : Deliver(buffer, size);
  }

  int SeekTo(unsigned long long offset, int whence) override {
    const int status = Note(whence == 0 ? "SeekTo " : "Skip ", offset);
    if (status >= 0) position_ = whence == 0 ? offset : position_ + offset;
    return status;
  }

  int GetPosition(unsigned long long* position) override {
    const int status = Note("GetPosition");
    if (status >= 0) *position = position_;
    return status;
  }

 private:
  template <typename... Parts>
  int Note(Parts... parts) {
    ++count_;
    if (record) {
      std::string text;
      (Append(&text, parts), ...);
      calls_ += (calls_.empty() ? "" : ", ") + text;
      if (text == failOn) return failOn.clear(), kFailure;
    }
    if (count_ != faultCall) return 0;
    if (fault == kThrow) throw std::runtime_error("byte source");
    if (fault == kThrowBadAlloc) throw std::bad_alloc();
    return kFailure;
  }
  static void Append(std::string* text, const char* part) { *text += part; }
  static void Append(std::string* text, unsigned long long number) {
    *text += std::to_string(number);
  }

  int Deliver(void* buffer, unsigned long long* size) {
    const unsigned long long left = position_ < bytes_.size() ? bytes_.size() - position_ : 0;
    *size = std::min(*size, left);
    if (*size != 0) std::memcpy(buffer, bytes_.data() + position_, *size);
    position_ += *size;
    return 0;
  }

  std::string bytes_;
  std::string calls_;
  unsigned long long position_ = 0;
  long count_ = 0;
};

#endif  // QO_TESTS_FAULTYSOURCE_H
