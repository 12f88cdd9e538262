// Caps by GStreamer's helper for RIFF formats, which the stream's own header is handed
// to; then what that helper can't know.
#include "gst/StreamCaps.h"

#include <gst/riff/riff-media.h>
#include <gst/video/video.h>

#include <cstdlib>

#include "gst/ExtraCaps.h"
#include "qo_host/CodecNames.h"
#include "qo_parser_asf/Codecs.h"

namespace {

using qo_host::TrackKind;

GstCaps* RiffAudioCaps(const StreamFacts& facts) {
  if (!facts.stream.audio) return nullptr;
  const qo_host::AudioFormat& format = *facts.stream.audio;
  gst_riff_strf_auds riff = {};
  riff.format = format.formatTag;
  riff.channels = format.channels;
  riff.rate = format.samplesPerSecond;
  riff.av_bps = format.averageBytesPerSecond;
  riff.blockalign = format.blockAlign;
  riff.bits_per_sample = format.bitsPerSample;
  int reorder[18];
  return gst_riff_create_audio_caps(format.formatTag, nullptr, &riff, CodecData(facts).get(),
                                    nullptr, nullptr, reorder);
}

GstCaps* RiffVideoCaps(const StreamFacts& facts) {
  if (!facts.stream.video) return nullptr;
  const qo_host::VideoFormat& format = *facts.stream.video;
  gst_riff_strf_vids riff = {};
  riff.size = sizeof(riff);
  riff.width = static_cast<guint32>(format.width);
  riff.height = static_cast<guint32>(std::abs(format.height));
  riff.planes = 1;
  riff.bit_cnt = format.bitCount;
  // The helper knows most in one spelling only.
  const guint32 tag = facts.track.codecTag;
  for (const guint32 fourCc :
       {tag, FourCcWith(tag, g_ascii_toupper), FourCcWith(tag, g_ascii_tolower)}) {
    riff.compression = fourCc;
    GstCaps* const caps = gst_riff_create_video_caps(fourCc, nullptr, &riff, CodecData(facts).get(),
                                                     nullptr, nullptr);
    if (caps != nullptr) return caps;
  }
  return nullptr;
}

GstCaps* UnknownCaps(const StreamFacts& facts) {
  const unsigned int tag = facts.track.codecTag;
  if (facts.track.kind == TrackKind::kAudio) {
    return gst_caps_new_simple("audio/x-asf-unknown", "codec_id", G_TYPE_INT, static_cast<int>(tag),
                               nullptr);
  }
  const std::string text = qo_host::FourCcText(tag);
  return gst_caps_new_simple("video/x-asf-unknown", "fourcc", G_TYPE_STRING, text.c_str(), nullptr);
}

// A codec that is told by the stream's first bytes, or goes by a tag that the helper
// doesn't know. Null for all others.
GstCaps* CapsOfCodec(unsigned int codec) {
  switch (codec) {
    case kCodecH264:
      return gst_caps_new_simple("video/x-h264", "stream-format", G_TYPE_STRING, "byte-stream",
                                 "alignment", G_TYPE_STRING, "au", nullptr);
    case kCodecAc3:
      return gst_caps_new_empty_simple("audio/x-ac3");
    case kCodecEac3:
      return gst_caps_new_empty_simple("audio/x-eac3");
    default:
      return nullptr;
  }
}

// The number that a tag of the stream, or of the whole file, has; 0 without.
int NumberTag(const StreamFacts& facts, const char* name) {
  const unsigned long long number = facts.header.TagNumber(facts.stream.number, name);
  return number <= G_MAXINT ? static_cast<int>(number) : 0;
}

void SetAudioFields(const StreamFacts& facts, GstCaps* caps) {
  const qo_host::AudioFormat& format = *facts.stream.audio;
  if (format.samplesPerSecond != 0 && format.samplesPerSecond <= G_MAXINT) {
    gst_caps_set_simple(caps, "rate", G_TYPE_INT, static_cast<int>(format.samplesPerSecond),
                        nullptr);
  }
  if (format.channels != 0) {
    gst_caps_set_simple(caps, "channels", G_TYPE_INT, static_cast<int>(format.channels), nullptr);
  }
}

void SetVideoFields(const StreamFacts& facts, GstCaps* caps) {
  const qo_host::VideoFormat& format = *facts.stream.video;
  if (format.width > 0 && format.height != 0) {
    gst_caps_set_simple(caps, "width", G_TYPE_INT, format.width, "height", G_TYPE_INT,
                        std::abs(format.height), nullptr);
  }
  if (gst_structure_has_name(gst_caps_get_structure(caps, 0), "video/x-wmv")) {
    const std::string fourCc =
        qo_host::FourCcText(FourCcWith(facts.track.codecTag, g_ascii_toupper));
    gst_caps_set_simple(caps, "format", G_TYPE_STRING, fourCc.c_str(), nullptr);
  }
  const int across = NumberTag(facts, "AspectRatioX"), down = NumberTag(facts, "AspectRatioY");
  if (across > 0 && down > 0) {
    gst_caps_set_simple(caps, "pixel-aspect-ratio", GST_TYPE_FRACTION, across, down, nullptr);
  }
  int numerator = 0, denominator = 1;
  const GstClockTime duration = FrameDuration(facts);
  if (GST_CLOCK_TIME_IS_VALID(duration) &&
      gst_video_guess_framerate(duration, &numerator, &denominator)) {
    gst_caps_set_simple(caps, "framerate", GST_TYPE_FRACTION, numerator, denominator, nullptr);
  }
}

// The helper leaves ranges where it doesn't know: of those nothing can be said.
void KeepFixedFields(GstCaps* caps) {
  gst_structure_filter_and_map_in_place(
      gst_caps_get_structure(caps, 0),
      [](GQuark, GValue* value, gpointer) -> gboolean { return gst_value_is_fixed(value); },
      nullptr);
}

}  // namespace

GstClockTime FrameDuration(const StreamFacts& facts) {
  const qo_host::ExtendedStream* const extended = facts.header.Extended(facts.stream.number);
  const bool isVideo = facts.track.kind == TrackKind::kVideo;
  if (!isVideo || extended == nullptr || extended->averageTimePerFrame == 0)
    return facts.frameDuration;
  // More than ten seconds is no frame's, and would not fit into what follows.
  constexpr unsigned long long kLongest = 10ull * 10'000'000;
  return extended->averageTimePerFrame > kLongest ? facts.frameDuration
                                                  : extended->averageTimePerFrame * 100;
}

GstCaps* MakeStreamCaps(const StreamFacts& facts) {
  const bool isAudio = facts.track.kind == TrackKind::kAudio;
  GstCaps* caps = CapsOfCodec(facts.track.info.codec);
  if (caps == nullptr) caps = isAudio ? RiffAudioCaps(facts) : RiffVideoCaps(facts);
  if (caps == nullptr) caps = MakeExtraCaps(facts);
  if (caps == nullptr) caps = UnknownCaps(facts);
  if (facts.stream.audio) SetAudioFields(facts, caps);
  if (facts.stream.video) SetVideoFields(facts, caps);
  KeepFixedFields(caps);
  return caps;
}
