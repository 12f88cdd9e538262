// Builds the measured files with the tests' builder.
#include "bench/Workloads.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "testing/AsfBuilder.h"

namespace bench {
namespace {

constexpr unsigned int kPacketBytes = 3200;
constexpr int kAudioStream = 1;
constexpr int kVideoStream = 2;
constexpr unsigned int kWmaBytes = 743;
constexpr unsigned int kWmaMs = 46;
constexpr unsigned int kFrameMs = 33;

// What stands in a packet besides the media data.
constexpr std::size_t kPacketHeaderBytes = 14;
constexpr std::size_t kPayloadHeaderBytes = 17;
// No object is split to fill less than this, and no packet has more payloads.
constexpr std::size_t kLeastFragment = 32;
constexpr std::size_t kMostPayloads = 63;

// Random numbers; the same ones in every run and with every library.
class Random {
 public:
  unsigned int Between(unsigned int least, unsigned int most) {
    return least + static_cast<unsigned int>(engine_() % (most - least + 1));
  }
  Bytes Data(std::size_t size) {
    Bytes data(size, '\0');
    for (char& byte : data) byte = static_cast<char>(engine_() >> 11);
    return data;
  }

 private:
  std::mt19937 engine_{20240607};
};

// Fills packets with media objects, one behind the other.
class Muxer {
 public:
  explicit Muxer(AsfFile* file) : file_(file) { file->packetLength = kPacketBytes; }

  void Add(int stream, unsigned int timeMs, bool isKeyFrame, const Bytes& object) {
    const unsigned int time = timeMs + static_cast<unsigned int>(file_->preroll);
    for (std::size_t offset = 0; offset < object.size();) {
      const std::size_t room = Room();
      const std::size_t rest = object.size() - offset;
      if (room == 0 || (room < rest && room < kLeastFragment)) {
        Flush();
        continue;
      }
      const std::size_t size = std::min(room, rest);
      Payload payload = Media(stream, time, object.substr(offset, size));
      payload.Key(isKeyFrame).Offset(static_cast<unsigned int>(offset));
      payload.Replicated(Le(object.size(), 4) + Le(time, 4));
      payloads_.push_back(std::move(payload));
      used_ += kPayloadHeaderBytes + size;
      offset += size;
    }
    file_->duration = std::max(file_->duration, time * 10000ull);
  }

  void Flush() {
    if (!payloads_.empty()) file_->packets.emplace_back(std::exchange(payloads_, {}));
    used_ = kPacketHeaderBytes;
  }

  // The packet that the next object begins in.
  unsigned int Packet() const { return static_cast<unsigned int>(file_->packets.size()); }

 private:
  std::size_t Room() const {
    const std::size_t used = used_ + kPayloadHeaderBytes;
    return used < kPacketBytes && payloads_.size() < kMostPayloads ? kPacketBytes - used : 0;
  }

  AsfFile* file_;
  std::vector<Payload> payloads_;
  std::size_t used_ = kPacketHeaderBytes;
};

Bytes AudioStream() {
  return Stream(ID_AUDIO_MEDIA, kAudioStream, AudioFormat(0x161, 16000, kWmaBytes, Bytes(10, 'c')));
}

Bytes VideoStream(const char* fourcc) {
  return Stream(ID_VIDEO_MEDIA, kVideoStream, VideoFormat(fourcc, Bytes(4, 'c')));
}

// Adds the audio objects that begin before `timeMs`.
void AddAudioUntil(unsigned int timeMs, unsigned int* audioMs, Random* random, Muxer* muxer) {
  for (; *audioMs < timeMs; *audioMs += kWmaMs) {
    muxer->Add(kAudioStream, *audioMs, true, random->Data(kWmaBytes));
  }
}

Bytes NalUnits(Random* random) {
  Bytes frame;
  for (int k = 0; k < 6; ++k) {
    const Bytes unit = random->Data(random->Between(20, 6000));
    for (int shift = 24; shift >= 0; shift -= 8) frame += static_cast<char>(unit.size() >> shift);
    frame += unit;
  }
  return frame;
}

}  // namespace

std::string AudioVideoFile(bool withIndex) {
  constexpr unsigned int kFrames = 1800;
  constexpr unsigned int kFramesPerKey = 30;
  AsfFile file;
  file.header = {AudioStream(), VideoStream("WMV2")};
  Muxer muxer(&file);
  Random random;
  std::vector<unsigned int> index;
  unsigned int audioMs = 0;
  for (unsigned int k = 0; k < kFrames; ++k) {
    const bool isKeyFrame = k % kFramesPerKey == 0;
    AddAudioUntil(k * kFrameMs, &audioMs, &random, &muxer);
    if (isKeyFrame) {
      muxer.Flush();
      index.push_back(muxer.Packet());
    }
    const unsigned int most = isKeyFrame ? 40000 : 15000;
    muxer.Add(kVideoStream, k * kFrameMs, isKeyFrame, random.Data(random.Between(1000, most)));
  }
  muxer.Flush();
  file.bitrate = static_cast<unsigned int>(muxer.Packet() * kPacketBytes * 8ull * 1000 / audioMs);
  if (withIndex) file.trailing = SimpleIndex(kFramesPerKey * kFrameMs * 10000ull, index);
  return file.Build();
}

std::string AudioFile() {
  constexpr unsigned int kObjects = 16000;
  AsfFile file;
  file.header = {AudioStream()};
  Muxer muxer(&file);
  Random random;
  unsigned int audioMs = 0;
  AddAudioUntil(kObjects * kWmaMs, &audioMs, &random, &muxer);
  muxer.Flush();
  return file.Build();
}

std::string LargeKeyFrameFile() {
  constexpr unsigned int kFrames = 48;
  constexpr std::size_t kFrameBytes = std::size_t{1} << 20;
  AsfFile file;
  file.header = {VideoStream("WMV2")};
  Muxer muxer(&file);
  Random random;
  for (unsigned int k = 0; k < kFrames; ++k) {
    muxer.Flush();
    muxer.Add(kVideoStream, k * kFrameMs, true, random.Data(kFrameBytes));
  }
  muxer.Flush();
  return file.Build();
}

std::string TinyObjectFile() {
  constexpr unsigned int kObjects = 60000;
  AsfFile file;
  file.header = {AudioStream(), VideoStream("WMV2")};
  Muxer muxer(&file);
  Random random;
  for (unsigned int k = 0; k < kObjects; ++k) {
    const int stream = k % 3 == 0 ? kVideoStream : kAudioStream;
    muxer.Add(stream, k * 10, k % 90 == 0, random.Data(random.Between(40, 250)));
  }
  muxer.Flush();
  return file.Build();
}

std::string AvcFile() {
  constexpr unsigned int kFrames = 900;
  AsfFile file;
  file.header = {VideoStream("H264")};
  Muxer muxer(&file);
  Random random;
  for (unsigned int k = 0; k < kFrames; ++k) {
    muxer.Add(kVideoStream, k * kFrameMs, k % 30 == 0, NalUnits(&random));
  }
  muxer.Flush();
  return file.Build();
}

}  // namespace bench
