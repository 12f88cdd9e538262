// Decodes a file's first picture by FFmpeg's libavcodec and writes it as PPM: what becomes
// of a track's codec number, configuration and units. The demultiplexer decodes nothing.
#include <qo_host/FileSource.h>
#include <qo_host/ParserSession.h>
extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

namespace {

struct Release {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;
using Bytes = std::vector<unsigned char>;

// The decoder for a codec number; those left out go the same way.
AVCodecID DecoderOf(unsigned int codec) {
  static const std::map<unsigned int, AVCodecID> kDecoders = {
      {kCodecWmv1, AV_CODEC_ID_WMV1},        {kCodecWmv2, AV_CODEC_ID_WMV2},
      {kCodecWmv3, AV_CODEC_ID_WMV3},        {kCodecMpeg4, AV_CODEC_ID_MPEG4},
      {kCodecMpeg2, AV_CODEC_ID_MPEG2VIDEO}, {kCodecH264, AV_CODEC_ID_H264},
      {kCodecMjpeg, AV_CODEC_ID_MJPEG}};
  const auto found = kDecoders.find(codec);
  return found != kDecoders.end() ? found->second : AV_CODEC_ID_NONE;
}

// The parameter sets of an avcC record behind start codes, as the units of H.264 come too.
Bytes WithStartCodes(const Bytes& avcc) {
  Bytes sets;
  std::size_t at = 5;
  for (const int countMask : {0x1F, 0xFF}) {  // sequence, then picture parameter sets
    int count = at < avcc.size() ? avcc[at++] & countMask : 0;
    for (; count > 0 && at + 2 <= avcc.size(); --count) {
      const std::size_t size = avcc[at] << 8 | avcc[at + 1];
      at += 2;
      if (size > avcc.size() - at) return sets;
      sets.insert(sets.end(), {0, 0, 0, 1});
      sets.insert(sets.end(), &avcc[at], &avcc[at] + size);
      at += size;
    }
  }
  return sets;
}

Owned<AVCodecContext> OpenDecoder(const qo_host::Track& track) {
  const AVCodec* codec = avcodec_find_decoder(DecoderOf(track.info.codec));
  if (!codec) return nullptr;
  Owned<AVCodecContext> decoder(avcodec_alloc_context3(codec));
  decoder->width = static_cast<int>(track.info.value1);
  decoder->height = static_cast<int>(track.info.value2);
  const bool isAvcc =
      codec->id == AV_CODEC_ID_H264 && !track.config.empty() && track.config[0] == 1;
  const Bytes config = isAvcc ? WithStartCodes(track.config) : track.config;
  // The context frees it.
  decoder->extradata =
      static_cast<std::uint8_t*>(av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  decoder->extradata_size = static_cast<int>(config.size());
  std::copy(config.begin(), config.end(), decoder->extradata);
  if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return nullptr;
  return decoder;
}

// The next picture's bytes, in `packet`: the units of one time belong together (H.264
// comes as one NAL unit a call). False at the end.
bool ReadPicture(qo_host::ParserSession* session, AVPacket* packet) {
  constexpr auto kVideo = qo_host::TrackKind::kVideo;
  av_packet_unref(packet);
  const qo_host::AccessUnit* unit = session->NextUnit(kVideo);
  if (!unit) return false;
  const unsigned long long timeMs = unit->timeMs;
  packet->pts = static_cast<std::int64_t>(timeMs);
  while (unit) {
    const int end = packet->size;
    if (av_grow_packet(packet, static_cast<int>(unit->size)) < 0) return false;
    std::memcpy(packet->data + end, unit->data, unit->size);
    const qo_host::AccessUnit* next = session->PeekUnit(kVideo);
    unit = next && next->timeMs == timeMs ? session->NextUnit(kVideo) : nullptr;
  }
  return true;
}

bool DecodeFirst(qo_host::ParserSession* session, AVCodecContext* decoder, AVFrame* frame) {
  const Owned<AVPacket> packet(av_packet_alloc());
  bool isDraining = false;
  while (avcodec_receive_frame(decoder, frame) < 0) {
    if (isDraining) return false;
    isDraining = !ReadPicture(session, packet.get());
    avcodec_send_packet(decoder, isDraining ? nullptr : packet.get());
  }
  return true;
}

bool WritePpm(const AVFrame& frame, std::FILE* out) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const Owned<SwsContext> scaler(sws_getContext(frame.width, frame.height, format, frame.width,
                                                frame.height, AV_PIX_FMT_RGB24, SWS_BILINEAR,
                                                nullptr, nullptr, nullptr));
  if (!scaler) return false;
  const int stride[] = {3 * frame.width};
  Bytes pixels(static_cast<std::size_t>(stride[0]) * frame.height);
  std::uint8_t* const rows[] = {pixels.data()};
  sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, rows, stride);
  std::fprintf(out, "P6\n%d %d\n255\n", frame.width, frame.height);
  return std::fwrite(pixels.data(), 1, pixels.size(), out) == pixels.size();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::fputs("usage: picture FILE OUT.ppm\n", stderr), 2;
  std::string error;
  auto file = qo_host::FileSource::OpenPath(argv[1], &error);
  if (!file) return std::fprintf(stderr, "%s\n", error.c_str()), 2;
  qo_host::ParserSession session({createParser, destroyParser}, std::move(file));
  if (const int status = session.Open(); status != kParserOk) {
    return std::fprintf(stderr, "%s: refused, status %d\n", argv[1], status), 1;
  }
  const qo_host::Track* track = session.FindTrack(qo_host::TrackKind::kVideo);
  const Owned<AVCodecContext> decoder = track ? OpenDecoder(*track) : nullptr;
  const Owned<AVFrame> frame(av_frame_alloc());
  if (!decoder || !DecodeFirst(&session, decoder.get(), frame.get())) {
    return std::fprintf(stderr, "%s: no picture that can be decoded\n", argv[1]), 1;
  }
  std::FILE* out = std::fopen(argv[2], "wb");
  if (!out) return std::perror(argv[2]), 2;
  const bool written = WritePpm(*frame, out);
  return std::fclose(out) == 0 && written ? 0 : 2;
}
