// Codec numbers by format tag and by FourCC: tables, no state.
#include "asf/format/CodecTags.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "asf/format/FourCc.h"
#include "qo_parser_asf/Codecs.h"

namespace {

struct CodecRow {
  unsigned int identifier;  // WAVE format tag or FourCC
  unsigned int codec;
};

constexpr CodecRow kAudioCodecs[] = {
    {0x0001, kCodecPcm},      {0x0007, kCodecMuLaw},     {0x000A, kCodecWmaVoice},
    {0x0045, kCodecG726},     {0x0050, kCodecMpegAudio}, {0x0055, kCodecMpegAudio},
    {0x0092, kCodecAc3},      {0x00FF, kCodecAac},       {0x0160, kCodecWma1},
    {0x0161, kCodecWma2},     {0x0162, kCodecWmaPro},    {0x0163, kCodecWmaLossless},
    {0x0164, kCodecWmaSpdif}, {0x2000, kCodecAc3},       {0x2001, kCodecDts},
    {0x7A21, kCodecAmr},      {0x7A22, kCodecAmr},
};

// Exactly these, gaps and mixed case included: "vp62" is unknown and "DIV2" goes
// with MPEG-4. Hosts choose their decoders by it.
constexpr CodecRow kVideoCodecs[] = {
    {FourCc("MPG2"), kCodecMpeg2},  {FourCc("mpg2"), kCodecMpeg2}, {FourCc("MPG4"), kCodecMpeg4},
    {FourCc("mpg4"), kCodecMpeg4},  {FourCc("FMP4"), kCodecMpeg4}, {FourCc("fmp4"), kCodecMpeg4},
    {FourCc("DIV2"), kCodecMpeg4},  {FourCc("div2"), kCodecMpeg4}, {FourCc("H263"), kCodecH263},
    {FourCc("h263"), kCodecH263},   {FourCc("AVC1"), kCodecH264},  {FourCc("avc1"), kCodecH264},
    {FourCc("H264"), kCodecH264},   {FourCc("h264"), kCodecH264},  {FourCc("x264"), kCodecH264},
    {FourCc("WMV1"), kCodecWmv1},   {FourCc("wmv1"), kCodecWmv1},  {FourCc("WMV2"), kCodecWmv2},
    {FourCc("wmv2"), kCodecWmv2},   {FourCc("WMV3"), kCodecWmv3},  {FourCc("wmv3"), kCodecWmv3},
    {FourCc("WVC1"), kCodecWvc1},   {FourCc("wvc1"), kCodecWvc1},  {FourCc("WMVA"), kCodecWmva},
    {FourCc("wmva"), kCodecWmva},   {FourCc("MP42"), kCodecMp42},  {FourCc("mp42"), kCodecMp42},
    {FourCc("M4S2"), kCodecMp42},   {FourCc("m4s2"), kCodecMp42},  {FourCc("MP43"), kCodecMp43},
    {FourCc("mp43"), kCodecMp43},   {FourCc("MJPG"), kCodecMjpeg}, {FourCc("mjpg"), kCodecMjpeg},
    {FourCc("VP60"), kCodecVp6},    {FourCc("vp60"), kCodecVp6},   {FourCc("VP61"), kCodecVp6},
    {FourCc("vp61"), kCodecVp6},    {FourCc("VP62"), kCodecVp6},   {FourCc("Vp62"), kCodecVp6},
    {FourCc("VP6F"), kCodecVp6},    {FourCc("VP70"), kCodecVp7},   {FourCc("vp70"), kCodecVp7},
    {FourCc("VP71"), kCodecVp7},    {FourCc("vp71"), kCodecVp7},   {FourCc("VP72"), kCodecVp7},
    {FourCc("vp72"), kCodecVp7},    {FourCc("VP80"), kCodecVp8},   {FourCc("vp80"), kCodecVp8},
    {FourCc("VP81"), kCodecVp8},    {FourCc("vp81"), kCodecVp8},   {FourCc("VP82"), kCodecVp8},
    {FourCc("vp82"), kCodecVp8},    {FourCc("DIV1"), kCodecDivx3}, {FourCc("div1"), kCodecDivx3},
    {FourCc("DIV3"), kCodecDivx3},  {FourCc("div3"), kCodecDivx3}, {FourCc("DIV4"), kCodecDivx3},
    {FourCc("div4"), kCodecDivx3},  {FourCc("MPG1"), kCodecMpeg1}, {FourCc("mpg1"), kCodecMpeg1},
    {FourCc("MP4V"), kCodecMp4v},   {FourCc("mp4v"), kCodecMp4v},  {FourCc("THEO"), kCodecTheora},
    {FourCc("theo"), kCodecTheora}, {FourCc("DIVX"), kCodecDivx4}, {FourCc("divx"), kCodecDivx4},
    {FourCc("DX50"), kCodecDivx5},  {FourCc("dx50"), kCodecDivx5}, {FourCc("DIV5"), kCodecDivx5},
    {FourCc("div5"), kCodecDivx5},  {FourCc("DXMF"), kCodecDxmf},  {FourCc("dxmf"), kCodecDxmf},
    {FourCc("XVID"), kCodecXvid},   {FourCc("xvid"), kCodecXvid},
};

template <std::size_t N>
unsigned int CodecOf(const CodecRow (&table)[N], unsigned int identifier) {
  const auto* row = std::find_if(std::begin(table), std::end(table),
                                 [=](const CodecRow& r) { return r.identifier == identifier; });
  return row != std::end(table) ? row->codec : kCodecUnknown;
}

}  // namespace

unsigned int AudioCodecOf(unsigned int formatTag) { return CodecOf(kAudioCodecs, formatTag); }
unsigned int VideoCodecOf(unsigned int fourCc) { return CodecOf(kVideoCodecs, fourCc); }
