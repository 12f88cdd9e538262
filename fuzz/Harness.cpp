// See Harness.h. Owns the stand-ins for operator new, the platform's log and its
// properties.
#include "fuzz/Harness.h"

#include <malloc.h>
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QO_CLANG_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(QO_CLANG_ADDRESS_SANITIZER)
#define QO_ADDRESS_SANITIZER 1
#endif

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

#include "asf/AsfRecords.h"
#include "host/MemorySource.h"
#include "host/ReadAheadSource.h"
#include "platform/Platform.h"

namespace {

std::atomic<std::size_t> heapBytes{0};
std::atomic<std::size_t> heapPeak{0};
std::atomic<std::size_t> heapTotal{0};
std::size_t keptBytes = 0;            // that the parser left on purpose
unsigned char* keptBlocks = nullptr;  // those of them that are freed; each begins with the next
int debugLevel = 1;

void CountNew(std::size_t bytes) {
  heapTotal += bytes;
  heapBytes += bytes;
  if (heapBytes > heapPeak) heapPeak = heapBytes.load();
}

}  // namespace

// The address sanitizer keeps its own operator new, which tells apart how blocks
// are to be freed, and offers hooks.
#ifdef QO_ADDRESS_SANITIZER

// As <sanitizer/allocator_interface.h> declares them, which g++ comes without.
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* block);
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onNew)(const volatile void*,
                                                                       std::size_t),
                                                         void (*onFree)(const volatile void*));

namespace {

constexpr bool kKnowsWhatIsKept = true;

const int hooked = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t size) { CountNew(size); },
    [](const volatile void* block) { heapBytes -= __sanitizer_get_allocated_size(block); });

}  // namespace

// The link options put this in the place of what the parser calls. Arrays are
// chained, to be freed at the session's end: left alone they would fill the
// memory of a long run.
extern "C" void __real___lsan_ignore_object(const void* block);
extern "C" void __wrap___lsan_ignore_object(const void* block) {
  const std::size_t size = __sanitizer_get_allocated_size(block);
  keptBytes += size;
  // Too small for the chain, or the one record that is not an array.
  if (size < sizeof(keptBlocks) || size == sizeof(asf_content_description_object)) {
    __real___lsan_ignore_object(block);
    return;
  }
  auto* kept = static_cast<unsigned char*>(const_cast<void*>(block));
  std::memcpy(kept, &keptBlocks, sizeof(keptBlocks));
  keptBlocks = kept;
}

#else

namespace {

constexpr bool kKnowsWhatIsKept = false;

}  // namespace

void* operator new(std::size_t size) {
  void* block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  CountNew(malloc_usable_size(block));
  return block;
}
void operator delete(void* block) noexcept {
  if (block != nullptr) heapBytes -= malloc_usable_size(block);
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

#endif

// Formats every message, so that its arguments are looked at, and drops it.
int __android_log_print(int, const char* tag, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  CHECK(std::strcmp(tag, "ASFParser") == 0);
  return length;
}

void __android_log_assert(const char* condition, const char*, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  fuzz::Fail(condition, "fatal assertion", 0);
}

int property_get(const char*, char* value, const char*) {
  return std::snprintf(value, kPropertyValueBytes, "%d", debugLevel);
}

namespace fuzz {
namespace {

// Outside packets, per byte of the file and in all: what docs/safety.md says.
constexpr unsigned long long kCallsPerByte = 1;
constexpr unsigned long long kCallsConstant = 450000;
constexpr unsigned long long kBytesPerByte = 4;
constexpr unsigned long long kBytesConstant = 17ull << 20;
// Within one packet.
constexpr unsigned long long kPacketCallsConstant = 1024;
constexpr unsigned long long kPacketBytesConstant = 1024;
// Packets in one operation.
constexpr unsigned long long kPacketsPerByte = 3;
constexpr unsigned long long kPacketsConstant = 64;
// Heap.
constexpr std::size_t kHeapPerByte = 64;
constexpr std::size_t kHeapConstant = 32 << 20;

bool IsParserStatus(int status) {
  switch (status) {
    case kParserOk:
    case kParserMalformed:
    case kParserOutOfRange:
    case kParserUnsupported:
    case kParserEndOfStream:
    case kParserInternal:
    case Source::kFailure:
      return true;
    default:
      return false;
  }
}

}  // namespace

void Fail(const char* what, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
  std::abort();
}

void SetDebugLevel(int level) { debugLevel = level; }

std::size_t HeapBytes() { return heapBytes; }
std::size_t HeapPeak() { return heapPeak; }
std::size_t HeapTotal() { return heapTotal; }
void ResetHeapPeak() { heapPeak = heapBytes.load(); }

LeakCheck::LeakCheck() : before_(heapBytes - keptBytes) {}

LeakCheck::~LeakCheck() {
  CHECK(!kKnowsWhatIsKept || heapBytes - keptBytes == before_);
  while (keptBlocks != nullptr) {
    unsigned char* const block = keptBlocks;
    std::memcpy(&keptBlocks, block, sizeof(keptBlocks));
    const std::size_t with = heapBytes;
    delete[] block;
    keptBytes -= with - heapBytes;
  }
}

unsigned char* UnitBuffer() {
  static auto* const buffer = static_cast<unsigned char*>(std::malloc(kMaxAccessUnitBytes));
  return buffer;
}

int Source::Note() {
  ++calls_;
  bringNothing_ = overstate_ = false;
  Count(1, 0);
  for (; nextFault_ < plan_.size() && plan_[nextFault_].call <= calls_; ++nextFault_) {
    if (plan_[nextFault_].call != calls_) continue;
    if (plan_[nextFault_].fault == Fault::kFail) return kFailure;
    Misbehave(plan_[nextFault_].fault);
  }
  return GaveUp() ? kFailure : success_;
}

void Source::Misbehave(Fault fault) {
  switch (fault) {
    case Fault::kThrow:
      throw std::runtime_error("byte source");
    case Fault::kThrowBadAlloc:
      throw std::bad_alloc();
    case Fault::kBringNothing:
      bringNothing_ = true;
      break;
    case Fault::kShrink:
      file_ = file_.substr(0, file_.size() / 2);
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

void Source::Count(unsigned long long calls, unsigned long long bytes) {
  bytes_ += bytes;
  const bool inPacket = work_.packets != 0;
  (inPacket ? work_.packetCalls : work_.calls) += calls;
  (inPacket ? work_.packetBytes : work_.bytes) += bytes;
  if (!IsHonest()) return;
  CHECK(work_.packetCalls <= file_.size() + kPacketCallsConstant);
  CHECK(work_.packetBytes <= file_.size() + kPacketBytesConstant);
}

void Source::EndOperation() const {
  if (!IsHonest()) return;
  CHECK(work_.calls <= kCallsPerByte * file_.size() + kCallsConstant);
  CHECK(work_.bytes <= kBytesPerByte * file_.size() + kBytesConstant);
  CHECK(work_.packets <= kPacketsPerByte * file_.size() + kPacketsConstant);
}

int Source::GetSize(unsigned long long* size) {
  const int status = Note();
  *size = file_.size() + sizeAdded_;
  return status != 0 || sizeKnown_ ? status : 1;
}

// A packet begins with a read of its first byte, and nothing else reads like it.
int Source::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  if (*size == 1) {
    ++work_.packets;
    work_.packetCalls = work_.packetBytes = 0;
  }
  const int status = Note();
  if (status < 0) return status;
  position_ = offset;
  return Deliver(buffer, size);
}

int Source::Read(void* buffer, unsigned long long* size) {
  const int status = Note();
  return status < 0 ? status : Deliver(buffer, size);
}

int Source::SeekTo(unsigned long long offset, int whence) {
  CHECK(whence == 0 || whence == 1);
  const int status = Note();
  if (status >= 0) position_ = whence == 0 ? offset : position_ + offset;
  return status;
}

int Source::GetPosition(unsigned long long* position) {
  const int status = Note();
  if (status >= 0) *position = position_;
  return status;
}

int Source::Deliver(void* buffer, unsigned long long* size) {
  CHECK(*size != 0);  // some sources take a read of nothing for their end
  const unsigned long long asked = *size;
  const unsigned long long left = position_ < file_.size() ? file_.size() - position_ : 0;
  *size = bringNothing_ ? 0 : std::min({asked, left, maxRead_});
  if (*size != 0) std::memcpy(buffer, file_.data() + position_, *size);
  position_ += *size;
  Count(0, *size);
  if (overstate_) *size = asked + 1000;
  return success_;
}

Host::Host(IDataSource* source, std::size_t fileBytes, Source* counted)
    : source_(source), counted_(counted) {
  CHECK(UnitBuffer() != nullptr);
  if (counted != nullptr) leaks_.emplace();  // other sources allocate as they are read
  ResetHeapPeak();
  maxHeapBytes_ = HeapBytes() + kHeapPerByte * fileBytes + kHeapConstant;
  parser_ = createParser();
  CHECK(parser_ != nullptr);
  CHECK(parser_->GetTrackCount() == 0 && parser_->GetMetaInfo() == nullptr);
  CHECK(parser_->getExtraInterface() == nullptr && parser_->GetTrackInfo(0) == nullptr);
}

Host::~Host() {
  Close();
  destroyParser(parser_);
}

template <typename Call>
auto Host::Run(Call call) -> decltype(call()) {
  if (counted_ != nullptr) counted_->BeginOperation();
  const auto result = call();
  if (counted_ != nullptr) counted_->EndOperation();
  CHECK(HeapPeak() <= maxHeapBytes_);
  return result;
}

// FNV-1a. Also makes sure that every byte noted may be read.
void Host::Note(const void* bytes, std::size_t size) {
  const auto* byte = static_cast<const unsigned char*>(bytes);
  for (std::size_t k = 0; k < size; ++k) digest_ = (digest_ ^ byte[k]) * 1099511628211ull;
}

bool Host::Open(int mode) {
  const std::size_t before = HeapTotal();
  const int status =
      Run([=] { return mode == 0 ? parser_->Open(source_) : parser_->OpenEx(source_, mode); });
  CHECK(IsParserStatus(status) && status != kParserInternal);
  CHECK(HeapTotal() - before <= 2 * maxHeapBytes_);
  Note(status);
  if (status != kParserOk) return false;
  Describe();
  ReadTags();
  ReadConfigs(kMaxAccessUnitBytes);
  return true;
}

void Host::Describe() {
  const unsigned int tracks = parser_->GetTrackCount();
  CHECK(tracks <= 2);
  for (unsigned int index = 0; index < tracks; ++index) {
    const TrackInfo* info = Run([=] { return parser_->GetTrackInfo(index); });
    if (info == nullptr) continue;  // memory ran out
    CHECK(info->trackType == kTrackVideo || info->trackType == kTrackAudio);
    CHECK(info->codec >= kCodecUnknown && info->reserved == 0);
    (info->trackType == kTrackVideo ? videoTrack_ : audioTrack_) = index;
    Note(*info);
  }
  CHECK(Run([=] { return parser_->GetTrackInfo(tracks); }) == nullptr);
  CHECK(parser_->getExtraInterface() != nullptr);
  Note(*parser_->getExtraInterface());
  unsigned long durationMs = 1;
  CHECK(parser_->GetDurationMs(&durationMs) == kParserOk);
  Note(durationMs);
}

void Host::ReadTags() {
  const meta_info* info = parser_->GetMetaInfo();
  CHECK(info != nullptr && info->count == 9);
  for (unsigned int k = 0; k < info->count; ++k) {
    const meta_descriptor& tag = info->descriptors[k];
    Note(tag.type);
    Note(static_cast<unsigned int>(tag.length));
    if (tag.length == 0 || tag.type > kMetaWord) continue;
    if (tag.type > kMetaBytes) {
      Note(tag.value, sizeof(tag.value));
      continue;
    }
    const void* bytes;
    std::memcpy(&bytes, tag.value, sizeof(bytes));
    CHECK(bytes != nullptr);
    Note(bytes, tag.length);
  }
}

void Host::ReadConfigs(unsigned long capacity) {
  for (const bool video : {false, true}) {
    if ((video ? videoTrack_ : audioTrack_) < 0) continue;
    unsigned long size = 0;
    const int status = video ? parser_->GetVideoConfig(UnitBuffer(), &size, capacity)
                             : parser_->GetAudioConfig(UnitBuffer(), &size, capacity);
    CHECK(status == (size <= capacity ? kParserOk : kParserMalformed));
    Note(status);
    Note(UnitBuffer(), status == kParserOk ? size : 0);
  }
}

int Host::NoteUnit(int status) {
  const bool mayRunOut = counted_ != nullptr && !counted_->IsHonest();
  CHECK(status == kParserOk || status == kParserEndOfStream ||
        (mayRunOut && status == kParserOutOfRange));
  Note(status);
  if (status != kParserOk) return status;
  CHECK(size_ >= 1 && size_ <= kMaxAccessUnitBytes && timeMs_ <= 0xFFFFFFFF);
  Note(timeMs_);
  Note(UnitBuffer(), size_);
  return status;
}

int Host::ReadAudio() {
  if (audioTrack_ < 0) return kParserEndOfStream;
  return NoteUnit(Run([this] { return parser_->GetAudioData(UnitBuffer(), &size_, &timeMs_, 0); }));
}

int Host::ReadVideo(bool whole, bool keyFrameOnly) {
  if (videoTrack_ < 0) return kParserEndOfStream;
  return NoteUnit(Run([=] {
    return whole ? parser_->GetVideoData(UnitBuffer(), &size_, &timeMs_, 0)
                 : parser_->GetVideoData(UnitBuffer(), &size_, &timeMs_, 0, keyFrameOnly);
  }));
}

void Host::Step(Input* script) {
  const unsigned int operation = script->Byte() % 10;
  const unsigned int argument = script->Byte();
  switch (operation) {
    case 0:
      for (unsigned int k = 0; k <= argument && ReadAudio() == kParserOk; ++k) {
      }
      break;
    case 1:
    case 2:
      for (unsigned int k = 0; k <= argument / 2; ++k) {
        if (ReadVideo(operation == 2, (argument & 1) != 0) != kParserOk) break;
      }
      break;
    case 3:
      CHECK(parser_->Seek(argument, static_cast<int>(argument % 4), 0) == kParserOk);
      break;
    case 4:
    case 5:
      SeekEx(script);
      break;
    case 6:
      if (audioTrack_ >= 0) {
        CHECK(parser_->SelectAudioTrack(static_cast<int>(audioTrack_)) == kParserOk);
      }
      break;
    case 7:
      ReadConfigs(argument);
      break;
    case 8:
      Describe();
      ReadTags();
      break;
    default:
      InertSlots();
      break;
  }
}

// Small times and packet offsets are what files have; the rest is for wrapping.
void Host::SeekEx(Input* script) {
  const unsigned int how = script->Byte();
  const auto scale = [](unsigned long long value, unsigned int bits) {
    return bits == 3 ? value << 48 : value << (8 * bits);
  };
  const unsigned long long timeMs = scale(script->Take<std::uint16_t>(), how & 3);
  const unsigned long long offset = scale(script->Take<std::uint16_t>(), how >> 2 & 3);
  const unsigned int modes = script->Byte();
  const int status = Run([=] {
    return parser_->SeekEx(timeMs, static_cast<int>(how >> 4 & 3), static_cast<int>(modes & 3),
                           static_cast<int>(modes >> 2 & 1), offset,
                           static_cast<int>(modes >> 3 & 7) - 1);
  });
  // Also a packet's time of 2^31 ms and more, which counts as a failure.
  CHECK(status <= kParserOk);
  Note(status);
}

void Host::InertSlots() {
  unsigned long size = 1;
  CHECK(parser_->GetAlbumArt(&size) == nullptr && size == 0);
  CHECK(parser_->SetConfig() == 0 && parser_->Notify(1, 2) == 0);
  CHECK(parser_->GetNextVideoKeyFrameTime(1) == 0 && parser_->GetSeekPointCount() == 0);
  CHECK(parser_->OpenForSmoothStreaming(nullptr, nullptr) == 0);
  CHECK(std::strcmp(parser_->getName(), "ASFParser") == 0);
}

void Host::Close() {
  if (closed_) return;
  closed_ = true;
  CHECK(Run([this] { return parser_->Close(); }) == kParserOk);
  CHECK(parser_->GetTrackCount() == 0 && parser_->GetMetaInfo() == nullptr);
  CHECK(parser_->getExtraInterface() == nullptr && parser_->GetTrackInfo(0) == nullptr);
  CHECK(ReadAudio() == kParserEndOfStream);
  CHECK(ReadVideo(false, false) == kParserEndOfStream);
  CHECK(ReadVideo(true, false) == kParserEndOfStream);
  CHECK(parser_->Close() == kParserOk);
}

std::uint64_t PlayScript(Input script, std::size_t fileBytes, IDataSource* source,
                         Source* counted) {
  SetDebugLevel(script.Byte() % 8);
  Host host(source, fileBytes, counted);
  if (host.Open(script.Byte() % 8)) {
    while (!script.Empty()) host.Step(&script);
  }
  host.Close();
  return host.Digest();
}

void CompareReadAhead(Input script, std::string_view file) {
  Source plain(file);
  const std::uint64_t digest = PlayScript(script, file.size(), &plain, &plain);
  if (plain.GaveUp()) return;
  constexpr std::size_t kWindowBytes = 1024;
  host::ReadAheadSource ahead(std::make_unique<host::MemorySource>(file.data(), file.size()),
                              kWindowBytes);
  CHECK(PlayScript(script, file.size(), &ahead, nullptr) == digest);
}

}  // namespace fuzz
