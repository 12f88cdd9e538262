// Files for the targets whose header is valid and whose packets are the input's.
#ifndef QO_FUZZ_FILES_H
#define QO_FUZZ_FILES_H

#include "testing/AsfBuilder.h"
#include "testing/Input.h"

namespace fuzz {

// Takes codecs, packet bounds and preroll from `input`, whose rest becomes the
// data packets. `layouts` is the number of layouts to choose from: audio and
// video; two audio and a video; two video and an audio.
inline Bytes MakeFile(Input* input, int layouts) {
  static constexpr int kTags[] = {0x55, 0x01, 0x161, 0x50, 0x07, 0xFF, 0x2000, 0x160};
  static const char* const kFourCcs[] = {"WMV2", "H264", "MPG2", "WVC1",
                                         "MJPG", "H263", "avc1", "WMV3"};
  const int tag = kTags[input->Byte() % 8];
  const char* fourcc = kFourCcs[input->Byte() % 8];
  const Bytes config = Hex("00 00 01 0F C0 00 00 00 00 40 82");
  const Bytes audio = Stream(ID_AUDIO_MEDIA, 1,
                             AudioFormat(tag, input->Take<std::uint16_t>(), input->Byte(), config));
  const Bytes video = Stream(ID_VIDEO_MEDIA, 2, VideoFormat(fourcc, config));
  AsfFile file;
  switch (input->Byte() % layouts) {
    case 1:
      file.header = {audio, Stream(ID_AUDIO_MEDIA, 3, AudioFormat(0xFF)), video};
      break;
    case 2:
      file.header = {video, Stream(ID_VIDEO_MEDIA, 3, VideoFormat("H264")), audio};
      break;
    default:
      file.header = {audio, video};
  }
  file.packetLength = input->Take<std::uint16_t>();
  file.maxPacket = file.packetLength + input->Byte();
  file.preroll = input->Byte();
  file.packetCount = input->Byte();
  file.bitrate = 8000 * input->Byte();
  const Bytes packets(input->Rest());
  file.dataSize = 50 + packets.size();
  return file.Build() + packets;
}

}  // namespace fuzz

#endif  // QO_FUZZ_FILES_H
