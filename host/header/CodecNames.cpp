// Names of codec numbers and FourCCs: tables, no state.
#include "qo_host/CodecNames.h"

#include <cstdio>

#include "qo_parser_asf/Codecs.h"

namespace qo_host {
namespace {

struct NamedCodec {
  unsigned int codec;
  const char* name;
};

constexpr NamedCodec kCodecs[] = {
    {kCodecMpeg2, "MPEG-2 video"},
    {kCodecMpeg4, "MPEG-4 video"},
    {kCodecH263, "H.263"},
    {kCodecH264, "H.264"},
    {kCodecWmv1, "Windows Media Video 7"},
    {kCodecWmv2, "Windows Media Video 8"},
    {kCodecWmv3, "Windows Media Video 9"},
    {kCodecWvc1, "VC-1 advanced profile"},
    {kCodecWmva, "Windows Media Video 9 Advanced"},
    {kCodecMp42, "MPEG-4 version 2"},
    {kCodecMp43, "MPEG-4 version 3"},
    {kCodecMjpeg, "Motion JPEG"},
    {kCodecVp6, "VP6"},
    {kCodecVp7, "VP7"},
    {kCodecVp8, "VP8"},
    {kCodecDivx3, "DivX 3"},
    {kCodecMpeg1, "MPEG-1 video"},
    {kCodecMp4v, "MPEG-4 video (MP4V)"},
    {kCodecTheora, "Theora"},
    {kCodecDivx4, "DivX 4"},
    {kCodecDivx5, "DivX 5"},
    {kCodecDxmf, "DXMF"},
    {kCodecXvid, "Xvid"},
    {kCodecAac, "AAC"},
    {kCodecMpegAudio, "MPEG audio"},
    {kCodecAc3, "AC-3"},
    {kCodecEac3, "E-AC-3"},
    {kCodecDts, "DTS"},
    {kCodecPcm, "PCM"},
    {kCodecWmaSpdif, "Windows Media Audio over S/PDIF"},
    {kCodecWma1, "Windows Media Audio 1"},
    {kCodecWma2, "Windows Media Audio 2"},
    {kCodecWmaPro, "Windows Media Audio Professional"},
    {kCodecWmaLossless, "Windows Media Audio Lossless"},
    {kCodecWmaVoice, "Windows Media Audio Voice"},
    {kCodecAmr, "AMR"},
    {kCodecMuLaw, "mu-law PCM"},
    {kCodecG726, "G.726 ADPCM"},
};

}  // namespace

const char* CodecName(unsigned int codec) {
  for (const NamedCodec& entry : kCodecs) {
    if (entry.codec == codec) return entry.name;
  }
  return "unknown";
}

std::string FourCcText(unsigned int fourCc) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    const unsigned int byte = fourCc >> shift & 0xFF;
    char escaped[5];
    std::snprintf(escaped, sizeof(escaped), "\\x%02x", byte);
    const bool printable = byte >= 0x20 && byte < 0x7F;
    text += printable ? std::string(1, static_cast<char>(byte)) : escaped;
  }
  return text;
}

}  // namespace qo_host
