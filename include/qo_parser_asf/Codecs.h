// Codec numbers, as TrackInfo::codec has them: what a unit of each is, and what
// GetAudioConfig and GetVideoConfig bring for it.
//
// The numbers are the host's; the names are those of the formats. Numbers between
// these are never reported.
//
// Units are media objects as the file has them, unless it says otherwise below: one
// coded picture of video, what one packet of the encoder held of audio. Configuration
// is what the file has behind the fields that every stream of its kind has: behind
// BITMAPINFOHEADER for video, behind WAVEFORMATEX for audio. The parser hands it on
// unchecked, so that it may be missing where this says that there is some, or longer.
// An audio stream behind WAVE_FORMAT_EXTENSIBLE, which the host kit names by its real
// codec, has the 22 bytes of that in front of its configuration.
#ifndef QO_CODECS_H
#define QO_CODECS_H

// A format tag or FourCC that the parser doesn't know, audio or video.
constexpr unsigned int kCodecUnknown = 100;

// Video, by FourCC.

// MPEG-2 video. A unit: one picture, with the headers in front of it. No configuration:
// the sequence header comes in the units.
constexpr unsigned int kCodecMpeg2 = 101;
// MPEG-4 part 2, also under the FourCC DIV2, which holds version 2 of MS MPEG-4.
// Configuration: the headers in front of the first picture (start codes), or nothing
// where they come in the units.
constexpr unsigned int kCodecMpeg4 = 102;
// H.263. No configuration.
constexpr unsigned int kCodecH263 = 103;
// H.264. A unit: one NAL unit behind 00 00 00 01, in place of its 4-byte length in the
// file; a media object that begins with 00 00 00 01 comes whole (through the host kit one
// with other start codes or lengths, too, all behind start codes). NAL units of one picture
// have one time. Configuration: as in the file, mostly an avcC record (first byte
// 1), else parameter sets behind start codes, or nothing where they come in the units.
constexpr unsigned int kCodecH264 = 104;
// Windows Media Video 7. No configuration.
constexpr unsigned int kCodecWmv1 = 106;
// Windows Media Video 8. Configuration: 4 bytes of flags.
constexpr unsigned int kCodecWmv2 = 107;
// Windows Media Video 9: VC-1 simple and main profile. A unit: one frame without start
// codes. Configuration: the sequence header, 4 bytes (STRUCT_C).
constexpr unsigned int kCodecWmv3 = 108;
// VC-1 advanced profile. A unit: one frame, mostly without a start code; where a sequence
// header stands in front of it, all up to and including the frame's start code is taken
// off (the host kit keeps it). Configuration: one byte, then sequence header and entry
// point behind start codes.
constexpr unsigned int kCodecWvc1 = 109;
// Windows Media Video 9 Advanced, as kCodecWvc1.
constexpr unsigned int kCodecWmva = 110;
// MS MPEG-4 version 2 (FourCC MP42): no configuration. MPEG-4 part 2 under the
// FourCC M4S2, as kCodecMpeg4.
constexpr unsigned int kCodecMp42 = 112;
// MS MPEG-4 version 3. No configuration.
constexpr unsigned int kCodecMp43 = 113;
// Motion JPEG. A unit: one JPEG image, which may lack its Huffman tables. No configuration.
constexpr unsigned int kCodecMjpeg = 114;
// VP6. Configuration: nothing, or one byte of alpha or cropping settings.
constexpr unsigned int kCodecVp6 = 115;
// VP7. No configuration.
constexpr unsigned int kCodecVp7 = 116;
// VP8. No configuration.
constexpr unsigned int kCodecVp8 = 117;
// MS MPEG-4 version 3 under the FourCCs DIV1, DIV3 and DIV4. No configuration.
constexpr unsigned int kCodecDivx3 = 118;
// MPEG-1 video, as kCodecMpeg2.
constexpr unsigned int kCodecMpeg1 = 119;
// MPEG-4 part 2 under the FourCC MP4V, as kCodecMpeg4.
constexpr unsigned int kCodecMp4v = 120;
// Theora. Configuration: its three headers, each behind its length in 16 bits,
// big-endian.
constexpr unsigned int kCodecTheora = 121;
// MPEG-4 part 2 under the FourCC DIVX, as kCodecMpeg4.
constexpr unsigned int kCodecDivx4 = 123;
// MPEG-4 part 2 under the FourCCs DX50 and DIV5, as kCodecMpeg4.
constexpr unsigned int kCodecDivx5 = 124;
// The FourCC DXMF.
constexpr unsigned int kCodecDxmf = 125;
// MPEG-4 part 2 under the FourCC XVID, as kCodecMpeg4.
constexpr unsigned int kCodecXvid = 126;

// Audio, by format tag.

// AAC. A unit: one raw frame without an ADTS header. Configuration: the
// AudioSpecificConfig, 2 bytes or more.
constexpr unsigned int kCodecAac = 201;
// MPEG audio, layers II and III. Units begin with a frame header; what is in front of the
// first one of the stream is dropped. Configuration: what is behind WAVEFORMATEX (12 bytes
// for layer III, 22 for layer II), which no decoder needs.
constexpr unsigned int kCodecMpegAudio = 202;
// AC-3. Units begin with a sync frame. No configuration.
constexpr unsigned int kCodecAc3 = 203;
// E-AC-3, as kCodecAc3.
constexpr unsigned int kCodecEac3 = 204;
// DTS. Units begin with a sync frame. No configuration.
constexpr unsigned int kCodecDts = 205;
// PCM, little-endian, TrackInfo::value3 bits a sample. A unit: 16,384 bytes at most, or
// 100 ms where a media object holds a second or more. No configuration.
constexpr unsigned int kCodecPcm = 206;
// Windows Media Audio over S/PDIF, cut as kCodecWma2.
constexpr unsigned int kCodecWmaSpdif = 209;
// Windows Media Audio 1. A unit: one block of TrackInfo::blockAlign bytes. Configuration:
// 4 bytes behind WAVEFORMATEX.
constexpr unsigned int kCodecWma1 = 210;
// Windows Media Audio 2. A unit: one block of TrackInfo::blockAlign bytes. Configuration:
// 10 bytes behind WAVEFORMATEX.
constexpr unsigned int kCodecWma2 = 211;
// Windows Media Audio Professional. A unit: one block. Configuration: 18 bytes behind
// WAVEFORMATEX.
constexpr unsigned int kCodecWmaPro = 212;
// Windows Media Audio Lossless, as kCodecWmaPro.
constexpr unsigned int kCodecWmaLossless = 213;
// Windows Media Audio Voice. Units are media objects. Configuration: what is behind
// WAVEFORMATEX, mostly 46 bytes.
constexpr unsigned int kCodecWmaVoice = 214;
// GSM-AMR. No configuration.
constexpr unsigned int kCodecAmr = 215;
// Mu-law, 8 bits a sample. Units as of kCodecPcm. No configuration.
constexpr unsigned int kCodecMuLaw = 221;
// G.726. Configuration: what is behind WAVEFORMATEX.
constexpr unsigned int kCodecG726 = 222;

#endif  // QO_CODECS_H
