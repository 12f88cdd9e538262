// What a call leaves behind that was cut short, by an exception of the source, memory
// that ran out or a thread that was cancelled, or that was made a second time.
#include "ParserSession.h"

// The address sanitizer loses its way in a stack that is unwound by force.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QO_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QO_ADDRESS_SANITIZER
#endif
#if defined(__GLIBC__) && !defined(QO_ADDRESS_SANITIZER)
#define QO_CANCELS_THREADS
#include <pthread.h>
#endif

namespace {

// Five packets, each an audio and a video object; video packets 2 and 3 alone hold
// key frames.
AsfFile FivePackets() {
  std::vector<Packet> packets;
  for (unsigned int k = 0; k < 5; ++k) {
    const Bytes digit(1, static_cast<char>('0' + k));
    packets.push_back(Packet(
        {Media(1, 3000 + k, "a" + digit), Media(2, 3000 + k, "v" + digit).Key(k == 2 || k == 3)}));
  }
  return AvFile(packets);
}

// Calls on the source that reading a packet for one track takes.
unsigned long CallsOfAPacket() {
  OpenSession session(FivePackets());
  const unsigned long before = session.source.CallCount();
  session.parser->ParseDataPacket(1, kTrackVideo);
  return session.source.CallCount() - before;
}

// Wherever a packet is cut short, what was queued before it comes first, and no
// object comes twice.
TEST(Aftermath, OfAPacketCutShort) {
  const struct {
    Fault fault;
    const char* status;  // of the call that met it
    const char* rest;    // comes at most, behind what was queued
  } cases[] = {{Fault::kThrow, "(-1011)", ""}, {Fault::kThrowBadAlloc, "(-1008)", "v3@3 v4@4 "}};
  const unsigned long calls = CallsOfAPacket();
  for (const auto& test : cases) {
    for (unsigned long n = 1; n <= calls; ++n) {
      OpenSession session(FivePackets());
      EXPECT_EQ("v0@0", session.Video());  // packets 0 and 1 are read
      session.source.PlanIn(n, test.fault);
      std::string units;  // of the next calls: packet 2 is the one cut short
      for (int call = 0; call < 6; ++call) units += session.Video() + " ";
      EXPECT_EQ(0u, units.find(test.fault == Fault::kThrow ? "v1@1 " : "(-1008) v1@1 "))
          << n << ": " << units;
      EXPECT_EQ(units.find("v2@2"), units.rfind("v2@2")) << n << ": " << units;
      const std::string rest = std::string(test.rest) + "(-1011) ";
      EXPECT_NE(units.npos, units.find(rest)) << n << ": " << units;
    }
  }
}

// The gate that was not passed still stands: the first unit is a key frame.
TEST(Aftermath, OfAKeyFrameGate) {
  for (const Fault fault : {Fault::kThrow, Fault::kThrowBadAlloc}) {
    for (unsigned long n = 1; n <= 2 * CallsOfAPacket(); ++n) {
      OpenSession session(FivePackets());
      session.parser->Seek(0, kTrackVideo, 0);
      session.source.PlanIn(n, fault);
      std::string unit = session.Video();
      if (unit == "(-1008)") unit = session.Video();
      const bool isKey = unit == "v2@2" || unit == "v3@3";
      EXPECT_TRUE(isKey || (fault == Fault::kThrow && unit == "(-1011)")) << n << ": " << unit;
    }
  }
}

// The probe's objects are gone and the track is described anew.
TEST(Aftermath, OfTheEac3Probe) {
  const Bytes frame = Hex("0B 77 00 00 00 80 00 00");
  const Bytes format = AudioFormat(0x2000, 16000, 100);
  const AsfFile file({AudioStream(1, format)},
                     {Packet({Media(1, 3000, "no sync word"), Media(1, 3010, "none")}),
                      Packet({Media(1, 3020, frame)})});
  const std::string units = "no sync word@0 none@10 " + frame + "@20 ";
  for (const Fault fault : {Fault::kThrow, Fault::kThrowBadAlloc}) {
    for (unsigned long n = 1; n < 40; n += 3) {
      OpenSession session(file);
      session.source.PlanIn(n, fault);
      const unsigned long before = session.source.CallCount();
      if (session.parser->GetTrackInfo(0) != nullptr) {
        EXPECT_LT(session.source.CallCount() - before, n);  // it ended before the fault
        continue;
      }
      EXPECT_TRUE(session.parser->IsEmptyMediaData(1)) << n;
      const TrackInfo* info = session.parser->GetTrackInfo(0);
      ASSERT_NE(nullptr, info);
      EXPECT_EQ(kCodecEac3, info->codec) << n;
      EXPECT_EQ(units, session.AllAudio()) << n;
    }
  }
}

TEST(Aftermath, OfAHeaderReadAgain) {
  const Bytes name = Utf16("WM/TrackTitle"), title = Utf16("a title");
  OpenSession session(AsfFile({ExtendedContent({Descriptor(name, 0, title)}), AudioStream(1)}));
  const meta_descriptor& tag = session.parser->GetMetaInfo()->descriptors[0];
  ASSERT_EQ(0, session.parser->ParseHeaderObjects());
  ASSERT_EQ(0, session.parser->ParseHeaderObjects());
  const unsigned char* value;
  std::memcpy(&value, tag.value, sizeof(value));
  EXPECT_EQ(title, Bytes(value, value + tag.length));
}

// The packet whose header is read next is the one behind, whatever the padding.
TEST(Aftermath, OfAPacketWalkedWhole) {
  OpenSession session(FivePackets());
  payload_parsing_info info;
  unsigned int length;
  ASSERT_EQ(0, session.parser->ParseDataPacket(1, kTrackVideo));
  session.source.TakeCalls();
  ASSERT_EQ(0, session.parser->ParsePayloadParsingInfo(&info, &length));
  EXPECT_EQ(0u, session.source.TakeCalls().find("ReadAt 809+1, "));  // 409 + 2 * 200
}

#ifdef QO_CANCELS_THREADS

// Opens and plays; the thread's result tells whether it came to its end.
void* PlayOut(void* parserAndSource) {
  const auto& [parser, source] =
      *static_cast<std::pair<ASFParser*, FaultySource*>*>(parserAndSource);
  unsigned char unit[16];
  unsigned long size, timeMs;
  parser->Open(source);
  while (parser->GetVideoData(unit, &size, &timeMs, sizeof(unit), false) == 0) {
  }
  return nullptr;
}

TEST(Aftermath, OfAThreadCancelledInTheSource) {
  const Bytes file = FivePackets().Build();
  for (unsigned long n = 1; n < 100; n += 7) {
    FaultySource source(file);
    source.ActAt(n, [] {
      pthread_cancel(pthread_self());
      pthread_testcancel();
    });
    ASFParser parser;
    std::pair<ASFParser*, FaultySource*> argument(&parser, &source);
    pthread_t thread;
    ASSERT_EQ(0, pthread_create(&thread, nullptr, PlayOut, &argument));
    void* result = nullptr;
    ASSERT_EQ(0, pthread_join(thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result) << n;
    EXPECT_EQ(0, parser.Close()) << n;
    EXPECT_EQ(0u, parser.GetTrackCount());
  }
}

#endif

}  // namespace
