// See CheckingHost.h.
#include "testing/CheckingHost.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "qo_host/MemorySource.h"
#include "qo_host/ReadAheadSource.h"
#include "testing/Check.h"
#include "testing/PlatformStandIn.h"

namespace {

// What docs/safety.md says of the heap.
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
    case FaultySource::kFailure:
      return true;
    default:
      return false;
  }
}

}  // namespace

unsigned char* UnitBuffer() {
  static auto* const buffer = static_cast<unsigned char*>(std::malloc(kMaxAccessUnitBytes));
  return buffer;
}

CheckingHost::CheckingHost(IDataSource* source, std::size_t fileBytes, MeteredSource* counted)
    : source_(source), counted_(counted) {
  CHECK(UnitBuffer() != nullptr);
  if (counted != nullptr) leaks_.emplace();
  ResetHeapPeak();
  maxHeapBytes_ = HeapBytes() + kHeapPerByte * fileBytes + kHeapConstant;
  parser_ = createParser();
  CHECK(parser_ != nullptr);
  CHECK(parser_->GetTrackCount() == 0 && parser_->GetMetaInfo() == nullptr);
  CHECK(parser_->getExtraInterface() == nullptr && parser_->GetTrackInfo(0) == nullptr);
}

CheckingHost::~CheckingHost() {
  Close();
  destroyParser(parser_);
}

template <typename Call>
auto CheckingHost::Run(Call call) -> decltype(call()) {
  if (counted_ != nullptr) counted_->BeginOperation();
  const auto result = call();
  if (counted_ != nullptr) counted_->EndOperation();
  CHECK(HeapPeak() <= maxHeapBytes_);
  return result;
}

// FNV-1a. Also makes sure that every byte noted may be read.
void CheckingHost::Note(const void* bytes, std::size_t size) {
  const auto* byte = static_cast<const unsigned char*>(bytes);
  for (std::size_t k = 0; k < size; ++k) digest_ = (digest_ ^ byte[k]) * 1099511628211ull;
}

bool CheckingHost::Open(int mode) {
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

void CheckingHost::Describe() {
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

void CheckingHost::ReadTags() {
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

void CheckingHost::ReadConfigs(unsigned long capacity) {
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

int CheckingHost::NoteUnit(int status) {
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

int CheckingHost::ReadAudio() {
  if (audioTrack_ < 0) return kParserEndOfStream;
  return NoteUnit(Run([this] { return parser_->GetAudioData(UnitBuffer(), &size_, &timeMs_, 0); }));
}

int CheckingHost::ReadVideo(bool whole, bool keyFrameOnly) {
  if (videoTrack_ < 0) return kParserEndOfStream;
  return NoteUnit(Run([=] {
    return whole ? parser_->GetVideoData(UnitBuffer(), &size_, &timeMs_, 0)
                 : parser_->GetVideoData(UnitBuffer(), &size_, &timeMs_, 0, keyFrameOnly);
  }));
}

void CheckingHost::Step(Input* script) {
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
void CheckingHost::SeekEx(Input* script) {
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

void CheckingHost::InertSlots() {
  unsigned long size = 1;
  CHECK(parser_->GetAlbumArt(&size) == nullptr && size == 0);
  CHECK(parser_->SetConfig() == 0 && parser_->Notify(1, 2) == 0);
  CHECK(parser_->GetNextVideoKeyFrameTime(1) == 0 && parser_->GetSeekPointCount() == 0);
  CHECK(parser_->OpenForSmoothStreaming(nullptr, nullptr) == 0);
  CHECK(std::strcmp(parser_->getName(), "ASFParser") == 0);
}

void CheckingHost::Close() {
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

namespace {

template <typename... Source>
std::uint64_t Play(Input script, Source... source) {
  SetLevelProperty(std::to_string(script.Byte() % 8).c_str());
  CheckingHost host(source...);
  if (host.Open(script.Byte() % 8)) {
    while (!script.Empty()) host.Step(&script);
  }
  host.Close();
  return host.Digest();
}

}  // namespace

std::uint64_t PlayScript(Input script, MeteredSource* source) { return Play(script, source); }
std::uint64_t PlayScript(Input script, IDataSource* source, std::size_t fileBytes) {
  return Play(script, source, fileBytes);
}

void CompareReadAhead(Input script, std::string_view file) {
  FaultySource source(file);
  MeteredSource plain(&source);
  const std::uint64_t digest = PlayScript(script, &plain);
  if (plain.GaveUp()) return;
  constexpr std::size_t kWindowBytes = 1024;
  qo_host::ReadAheadSource ahead(std::make_unique<qo_host::MemorySource>(file.data(), file.size()),
                                 kWindowBytes);
  CHECK(PlayScript(script, &ahead, file.size()) == digest);
}
