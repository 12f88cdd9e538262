// One file under one parser, from construction to Close.
#ifndef QO_TESTS_PARSERSESSION_H
#define QO_TESTS_PARSERSESSION_H

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "asf/ASFParser.h"
#include "testing/AsfBuilder.h"
#include "testing/FaultySource.h"
#include "testing/PlatformStandIn.h"

class ParserSession {
 public:
  explicit ParserSession(const Bytes& file, const char* level = "1") : source(file) {
    SetLevelProperty(level);
    source.RecordCalls();
    parser = std::make_unique<ASFParser>();
    CaptureLog();
  }
  ~ParserSession() { parser->Close(); }

  int Open() { return parser->Open(&source); }

  // The next access unit as "DATA@MS", or "(STATUS)".
  std::string Audio() {
    return Unit([&](auto... out) { return parser->GetAudioData(out...); });
  }
  std::string Video(bool keyFrameOnly = false) {
    return Unit([&](auto... out) { return parser->GetVideoData(out..., keyFrameOnly); });
  }
  std::string WholeVideo() {
    return Unit([&](auto... out) { return parser->GetVideoData(out...); });
  }
  // Everything up to the end of the stream: "DATA@MS DATA@MS ".
  std::string AllAudio() {
    return All([this] { return Audio(); });
  }
  std::string AllVideo() {
    return All([this] { return Video(); });
  }
  std::string AllWholeVideo() {
    return All([this] { return WholeVideo(); });
  }

  FaultySource source;
  std::unique_ptr<ASFParser> parser;

 private:
  template <typename Get>
  std::string Unit(Get get) {
    unsigned long size = 0, timeMs = 0;
    // A host does as it likes with its buffer between the calls.
    std::memset(buffer_.get(), '?', 4096);
    const int status = get(buffer_.get(), &size, &timeMs, 1ul);
    if (status != 0) return "(" + std::to_string(status) + ")";
    return std::string(buffer_.get(), buffer_.get() + size) + "@" + std::to_string(timeMs);
  }
  template <typename Next>
  static std::string All(Next next) {
    std::string units;
    for (std::string unit = next(); unit.front() != '('; unit = next()) units += unit + " ";
    return units;
  }

  std::unique_ptr<unsigned char[]> buffer_{new unsigned char[kMaxAccessUnitBytes]};
};

// A session whose file is open; what opening called and printed is there to take.
class OpenedSession : public ParserSession {
 public:
  explicit OpenedSession(const Bytes& file, const char* level = "1") : ParserSession(file, level) {
    EXPECT_EQ(0, Open());
  }
};

// The same, with nothing to take yet.
class OpenSession : public OpenedSession {
 public:
  explicit OpenSession(const AsfFile& file, const char* level = "1")
      : OpenedSession(file.Build(), level) {
    source.TakeCalls();
    TakeLog();
  }
};

inline Bytes AudioStream(int number, const Bytes& format = AudioFormat(0xFF)) {
  return Stream(ID_AUDIO_MEDIA, number, format);
}
inline Bytes VideoStream(int number, const Bytes& format = VideoFormat("WMV2")) {
  return Stream(ID_VIDEO_MEDIA, number, format);
}

// Audio stream 1 and video stream 2, both delivered as they are queued. Packet 0
// is at byte 409.
inline AsfFile AvFile(const std::vector<Packet>& packets = {}) {
  return AsfFile({AudioStream(1), VideoStream(2)}, packets);
}

#endif  // QO_TESTS_PARSERSESSION_H
