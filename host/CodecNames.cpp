// Names of codec numbers and FourCCs: tables, no state.
#include "host/CodecNames.h"

#include <cstdio>

namespace host {
namespace {

struct CodecEntry {
  unsigned int codec;
  const char* name;
};

constexpr CodecEntry kCodecs[] = {
    {101, "MPEG-2 video"},
    {102, "MPEG-4 video"},
    {103, "H.263"},
    {104, "H.264"},
    {106, "Windows Media Video 7"},
    {107, "Windows Media Video 8"},
    {108, "Windows Media Video 9"},
    {109, "VC-1 advanced profile"},
    {110, "Windows Media Video 9 Advanced"},
    {112, "MPEG-4 version 2"},
    {113, "MPEG-4 version 3"},
    {114, "Motion JPEG"},
    {115, "VP6"},
    {116, "VP7"},
    {117, "VP8"},
    {118, "DivX 3"},
    {119, "MPEG-1 video"},
    {120, "MPEG-4 video (MP4V)"},
    {121, "Theora"},
    {123, "DivX 4"},
    {124, "DivX 5"},
    {125, "DXMF"},
    {126, "Xvid"},
    {201, "AAC"},
    {202, "MPEG audio"},
    {203, "AC-3"},
    {204, "E-AC-3"},
    {205, "DTS"},
    {206, "PCM"},
    {209, "Windows Media Audio over S/PDIF"},
    {210, "Windows Media Audio 1"},
    {211, "Windows Media Audio 2"},
    {212, "Windows Media Audio Professional"},
    {213, "Windows Media Audio Lossless"},
    {214, "Windows Media Audio Voice"},
    {215, "AMR"},
    {221, "mu-law PCM"},
    {222, "G.726 ADPCM"},
};

}  // namespace

const char* CodecName(unsigned int codec) {
  for (const CodecEntry& entry : kCodecs) {
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

}  // namespace host
