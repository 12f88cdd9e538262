// Plays files out through libavformat and throws their packets away: the least that it
// can be asked for, its parsers off, for a peer to hold qo_play against.
//
//   qo_lavf_play FILE...
extern "C" {
#include <libavformat/avformat.h>
}

#include <cstdio>

namespace {

bool Play(const char* path) {
  AVFormatContext* context = nullptr;
  if (avformat_open_input(&context, path, nullptr, nullptr) < 0) {
    std::fprintf(stderr, "qo_lavf_play: cannot open %s\n", path);
    return false;
  }
  context->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
  AVPacket* packet = av_packet_alloc();
  unsigned long long packets = 0, bytes = 0;
  while (av_read_frame(context, packet) >= 0) {
    ++packets;
    bytes += static_cast<unsigned long long>(packet->size);
    av_packet_unref(packet);
  }
  std::printf("%s: %llu packets, %llu bytes\n", path, packets, bytes);
  av_packet_free(&packet);
  avformat_close_input(&context);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  bool played = true;
  for (int k = 1; k < argc; ++k) played &= Play(argv[k]);
  return played ? 0 : 1;
}
