// A host that knows the binary interface and nothing else: it includes no header
// of the project, declares the slots and the records itself, and plays a sample
// through them. What it expects of the sample is what another reader found.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <vector>

namespace {

using U8 = unsigned char;
using UL = unsigned long;
using U64 = unsigned long long;

constexpr int kVideo = 1, kAudio = 2;
constexpr int kOutOfRange = -1008, kEndOfStream = -1011;

struct Source {
  const void* const* slots;
  std::vector<char> bytes;
  U64 position = 0;
  int opened = 0, closed = 0;
  int throwing = 0;  // 1: a number, 2: std::bad_alloc
};

struct Track {
  unsigned type, codec, values[3], bitrate, seekable, reserved;
  unsigned short blockAlign;
};

struct Bitmap {
  U8 valid;
  U64 headerSize;
  unsigned short planes, bitCount;
  U64 compression, imageSize;
  long long resolution[2];
  U64 colors[2];
};

struct __attribute__((packed)) Tags {
  unsigned short count;
  U8* descriptors;  // 18 bytes each
};

struct Parser {
  const struct Slots* slots;
};

struct Slots {
  const void* destructors[2];                             // 0, 1
  int (*Open)(Parser*, Source*);                          // 2
  const void* slot3;                                      // 3
  unsigned (*GetTrackCount)(Parser*);                     // 4
  int (*GetDurationMs)(Parser*, UL*);                     // 5
  Track* (*GetTrackInfo)(Parser*, UL);                    // 6
  Tags* (*GetMetaInfo)(Parser*);                          // 7
  int (*GetAudioConfig)(Parser*, U8*, UL*, UL);           // 8
  int (*GetAudioData)(Parser*, U8*, UL*, UL*, UL);        // 9
  int (*GetVideoConfig)(Parser*, U8*, UL*, UL);           // 10
  int (*GetVideoData)(Parser*, U8*, UL*, UL*, UL, bool);  // 11
  int (*Seek)(Parser*, UL, int, int);                     // 12
  int (*SetConfig)(Parser*);                              // 13
  int (*SelectAudioTrack)(Parser*, int);                  // 14
  const void* slot15;                                     // 15
  int (*Notify)(Parser*, unsigned short, UL);             // 16
  const void *slot17, *slot18, *slot19;                   // 17 to 19
  U8* (*GetAlbumArt)(Parser*, UL*);                       // 20
  const void* slot21;                                     // 21
  long long (*GetNextVideoKeyFrameTime)(Parser*, UL);     // 22
  int (*Close)(Parser*);                                  // 23
  const char* (*getName)(Parser*);                        // 24
  Bitmap* (*getExtraInterface)(Parser*);                  // 25
  const void* slots26to30[5];                             // 26 to 30
  int (*OpenEx)(Parser*, Source*, int);                   // 31
  int (*SeekEx)(Parser*, UL, int, int, int, U64, int);    // 32
  int (*GetVideoObject)(Parser*, U8*, UL*, UL*, UL);      // 33
};

// The slots of a byte source.
int OpenSource(Source* s) { return s->opened++; }
int CloseSource(Source* s) { return s->closed++; }
int GetSize(Source* s, U64* size) {
  *size = s->bytes.size();
  return 0;
}
int Read(Source* s, void* buffer, U64* size) {
  if (s->throwing == 1) throw 7;
  if (s->throwing == 2) throw std::bad_alloc();
  const U64 begin = std::min<U64>(s->position, s->bytes.size());
  *size = std::min<U64>(*size, s->bytes.size() - begin);
  std::memcpy(buffer, s->bytes.data() + begin, *size);
  s->position += *size;
  return 0;
}
int SeekTo(Source* s, U64 offset, int whence) {
  s->position = offset + (whence == 1 ? s->position : 0);
  return 0;
}
int ReadAt(Source* s, U64 offset, void* buffer, U64* size) {
  SeekTo(s, offset, 0);
  return Read(s, buffer, size);
}
int GetPosition(Source* s, U64* position) {
  *position = s->position;
  return 0;
}

template <typename Function>
const void* Slot(Function* function) {
  return reinterpret_cast<const void*>(function);
}

Source OpenSample() {
  static const void* const slots[] = {nullptr,           nullptr,       Slot(OpenSource),
                                      Slot(CloseSource), Slot(GetSize), Slot(ReadAt),
                                      Slot(Read),        Slot(SeekTo),  Slot(GetPosition)};
  std::ifstream file(QO_SAMPLE, std::ios::binary);
  return {slots, {std::istreambuf_iterator<char>(file), {}}};
}

class SlotHost : public testing::Test {
 protected:
  void SetUp() override {
    library_ = dlopen(QO_PARSER_LIBRARY, RTLD_NOW);
    ASSERT_NE(nullptr, library_) << dlerror();
    parser_ = MakeParser();
    slots_ = parser_->slots;
  }
  void TearDown() override {
    if (!library_) return;
    DestroyParser();
    dlclose(library_);
  }

  Parser* MakeParser() {
    return reinterpret_cast<Parser* (*)()>(dlsym(library_, "createParser"))();
  }
  void DestroyParser() {
    reinterpret_cast<void (*)(Parser*)>(dlsym(library_, "destroyParser"))(parser_);
  }

  // Status, size and ms of the next access unit.
  using Unit = std::array<UL, 3>;
  template <typename Slot, typename... More>
  Unit Deliver(Slot* slot, More... more) {
    UL size = 0, ms = 0;
    const int status = slot(parser_, buffer_.data(), &size, &ms, buffer_.size(), more...);
    return {static_cast<UL>(status), size, ms};
  }

  Source source_ = OpenSample();
  std::vector<U8> buffer_ = std::vector<U8>(0x100000);
  void* library_ = nullptr;
  Parser* parser_ = nullptr;
  const Slots* slots_ = nullptr;
};

TEST_F(SlotHost, PlaysASampleThroughEveryNamedSlot) {
  ASSERT_EQ(0, slots_->Open(parser_, &source_));
  EXPECT_EQ(1, source_.opened);
  ASSERT_EQ(2u, slots_->GetTrackCount(parser_));
  UL number = 0;
  EXPECT_EQ(0, slots_->GetDurationMs(parser_, &number));
  EXPECT_EQ(3046u, number);
  EXPECT_STREQ("ASFParser", slots_->getName(parser_));

  const Track* video = slots_->GetTrackInfo(parser_, 0);
  using Values = std::vector<unsigned>;
  EXPECT_EQ(Values({kVideo, 107, 128, 96, 1}), Values({video->type, video->codec, video->values[0],
                                                       video->values[1], video->seekable}));
  const Track* audio = slots_->GetTrackInfo(parser_, 1);
  EXPECT_EQ(Values({kAudio, 211, 1, 22050, 16, 185}),
            Values({audio->type, audio->codec, audio->values[0], audio->values[1], audio->values[2],
                    audio->blockAlign}));
  const Bitmap* bitmap = slots_->getExtraInterface(parser_);
  EXPECT_EQ(Values({1, 44, 24, 0x32564D57}),
            Values({bitmap->valid, static_cast<unsigned>(bitmap->headerSize), bitmap->bitCount,
                    static_cast<unsigned>(bitmap->compression)}));
  EXPECT_EQ(9, slots_->GetMetaInfo(parser_)->count);
  EXPECT_EQ(0, slots_->GetVideoConfig(parser_, buffer_.data(), &number, 100));
  EXPECT_EQ(4u, number);
  EXPECT_EQ(0, slots_->GetAudioConfig(parser_, buffer_.data(), &number, 100));
  EXPECT_EQ(10u, number);

  EXPECT_EQ(Unit({0, 185, 0}), Deliver(slots_->GetAudioData));
  EXPECT_EQ(Unit({0, 185, 46}), Deliver(slots_->GetAudioData));
  EXPECT_EQ(Unit({0, 5226, 46}), Deliver(slots_->GetVideoData, false));
  EXPECT_EQ(0, slots_->SeekEx(parser_, 2000, kVideo, 0, 0, 0, 0));
  EXPECT_EQ(Unit({0, 3501, 1046}), Deliver(slots_->GetVideoData, true));
  EXPECT_EQ(0, slots_->Seek(parser_, 2000, kVideo, 0));
  EXPECT_EQ(Unit({0, 5226, 46}), Deliver(slots_->GetVideoObject));
  EXPECT_EQ(0, slots_->SelectAudioTrack(parser_, 1));

  EXPECT_EQ(nullptr, slots_->GetAlbumArt(parser_, &number));
  EXPECT_EQ(0u, number);
  EXPECT_EQ(0, slots_->SetConfig(parser_));
  EXPECT_EQ(0, slots_->Notify(parser_, 1, 2));
  EXPECT_EQ(0, slots_->GetNextVideoKeyFrameTime(parser_, 3));

  EXPECT_EQ(0, slots_->Close(parser_));
  EXPECT_EQ(1, source_.closed);
  EXPECT_EQ(0u, slots_->GetTrackCount(parser_));
}

TEST_F(SlotHost, OpensWithoutTheIndexWhereTheModeSaysSo) {
  ASSERT_EQ(0, slots_->OpenEx(parser_, &source_, 2));
  EXPECT_EQ(0u, slots_->GetTrackInfo(parser_, 0)->seekable);
  slots_->Close(parser_);
}

TEST_F(SlotHost, MeetsNoException) {
  for (source_.throwing = 1; source_.throwing <= 2; ++source_.throwing) {
    DestroyParser();
    parser_ = MakeParser();
    EXPECT_EQ(source_.throwing == 1 ? kEndOfStream : kOutOfRange, slots_->Open(parser_, &source_));
    slots_->Close(parser_);
  }
}

}  // namespace
