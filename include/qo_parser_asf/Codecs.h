// Codec numbers, as TrackInfo::codec has them.
//
// The numbers are the host's; the names are those of the formats. Numbers between
// these are never reported.
#ifndef QO_CODECS_H
#define QO_CODECS_H

// A format tag or FourCC that the parser doesn't know, audio or video.
constexpr unsigned int kCodecUnknown = 100;

// Video, by FourCC.
constexpr unsigned int kCodecMpeg2 = 101;
constexpr unsigned int kCodecMpeg4 = 102;  // also "DIV2", which holds MPEG-4 version 2
constexpr unsigned int kCodecH263 = 103;
constexpr unsigned int kCodecH264 = 104;
constexpr unsigned int kCodecWmv1 = 106;  // Windows Media Video 7
constexpr unsigned int kCodecWmv2 = 107;  // Windows Media Video 8
constexpr unsigned int kCodecWmv3 = 108;  // Windows Media Video 9: VC-1 simple and main profile
constexpr unsigned int kCodecWvc1 = 109;  // VC-1 advanced profile
constexpr unsigned int kCodecWmva = 110;  // Windows Media Video 9 Advanced
constexpr unsigned int kCodecMp42 = 112;  // MPEG-4 version 2
constexpr unsigned int kCodecMp43 = 113;  // MPEG-4 version 3
constexpr unsigned int kCodecMjpeg = 114;
constexpr unsigned int kCodecVp6 = 115;
constexpr unsigned int kCodecVp7 = 116;
constexpr unsigned int kCodecVp8 = 117;
constexpr unsigned int kCodecDivx3 = 118;
constexpr unsigned int kCodecMpeg1 = 119;
constexpr unsigned int kCodecMp4v = 120;  // MPEG-4
constexpr unsigned int kCodecTheora = 121;
constexpr unsigned int kCodecDivx4 = 123;  // MPEG-4
constexpr unsigned int kCodecDivx5 = 124;  // MPEG-4
constexpr unsigned int kCodecDxmf = 125;
constexpr unsigned int kCodecXvid = 126;  // MPEG-4

// Audio, by format tag.
constexpr unsigned int kCodecAac = 201;
constexpr unsigned int kCodecMpegAudio = 202;  // layers II and III
constexpr unsigned int kCodecAc3 = 203;
constexpr unsigned int kCodecEac3 = 204;
constexpr unsigned int kCodecDts = 205;
constexpr unsigned int kCodecPcm = 206;
constexpr unsigned int kCodecWmaSpdif = 209;     // Windows Media Audio over S/PDIF
constexpr unsigned int kCodecWma1 = 210;         // Windows Media Audio 1
constexpr unsigned int kCodecWma2 = 211;         // Windows Media Audio 2
constexpr unsigned int kCodecWmaPro = 212;       // Windows Media Audio Professional
constexpr unsigned int kCodecWmaLossless = 213;  // Windows Media Audio Lossless
constexpr unsigned int kCodecWmaVoice = 214;     // Windows Media Audio Voice
constexpr unsigned int kCodecAmr = 215;
constexpr unsigned int kCodecMuLaw = 221;
constexpr unsigned int kCodecG726 = 222;

#endif  // QO_CODECS_H
