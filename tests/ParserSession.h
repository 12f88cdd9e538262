// One file under one parser, from construction to Close.
#ifndef QO_TESTS_PARSERSESSION_H
#define QO_TESTS_PARSERSESSION_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AsfBuilder.h"
#include "FaultySource.h"
#include "LogCapture.h"
#include "asf/ASFParser.h"

using Lines = std::vector<std::string>;

class ParserSession {
 public:
  explicit ParserSession(const Bytes& file, const char* level = "1") : source(file) {
    SetLevelProperty(level);
    parser = std::make_unique<ASFParser>();
    TakeLog();
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
  // Everything up to the end of the stream.
  Lines AllAudio() {
    return All([this] { return Audio(); });
  }
  Lines AllVideo() {
    return All([this] { return Video(); });
  }

  FaultySource source;
  std::unique_ptr<ASFParser> parser;

 private:
  template <typename Get>
  std::string Unit(Get get) {
    unsigned long size = 0, timeMs = 0;
    const int status = get(buffer_.get(), &size, &timeMs, static_cast<unsigned long>(1));
    if (status != 0) return "(" + std::to_string(status) + ")";
    return std::string(buffer_.get(), buffer_.get() + size) + "@" + std::to_string(timeMs);
  }
  template <typename Next>
  static Lines All(Next next) {
    Lines units;
    for (std::string unit = next(); unit.front() != '('; unit = next()) units.push_back(unit);
    return units;
  }

  std::unique_ptr<unsigned char[]> buffer_{new unsigned char[kMaxAccessUnitBytes]};
};

// A session whose file is open; what opening called and printed is forgotten.
class OpenSession : public ParserSession {
 public:
  explicit OpenSession(const AsfFile& file, const char* level = "1")
      : ParserSession(file.Build(), level) {
    EXPECT_EQ(0, Open());
    source.TakeCalls();
    TakeLog();
  }
};

// Audio stream 1 (delivered as it is queued, unless `tag` says otherwise) and
// video stream 2.
inline AsfFile AvFile(int tag = 0xFF, const char* fourcc = "WMV2") {
  AsfFile file;
  file.header = {Stream(ID_AUDIO_MEDIA, 1, AudioFormat(tag)),
                 Stream(ID_VIDEO_MEDIA, 2, VideoFormat(fourcc))};
  return file;
}

#endif  // QO_TESTS_PARSERSESSION_H
