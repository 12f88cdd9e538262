// Two tables, and what some formats need besides.
#include "gst/ExtraCaps.h"

#include <gst/tag/tag.h>

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

using qo_host::ByteRange;

enum class ExtraData : unsigned char { kNone, kCodecData, kXiph };

struct ExtraFormat {
  unsigned int tag;
  const char* caps;
  ExtraData data = ExtraData::kNone;
};
constexpr ExtraFormat kExtraAudio[] = {
    {0x0020, "audio/x-adpcm,layout=yamaha"},
    {0x0042, "audio/G723"},
    {0x0083, "audio/G729"},
    {0x0401, "audio/x-imc"},
    {0x5346, "audio/x-adpcm,layout=swf"},
    {0x566F, "audio/x-vorbis", ExtraData::kXiph},
    {0xA106, "audio/mpeg,mpegversion=4,stream-format=raw", ExtraData::kCodecData},
    {0xA109, "audio/x-speex", ExtraData::kXiph},
    {0xF1AC, "audio/x-flac"},
};
// In capital letters.
constexpr ExtraFormat kExtraVideo[] = {
    {GST_MAKE_FOURCC('A', 'P', '4', 'H'), "video/x-prores,variant=(string)4444"},
    {GST_MAKE_FOURCC('A', 'P', 'C', 'H'), "video/x-prores,variant=hq"},
    {GST_MAKE_FOURCC('A', 'P', 'C', 'N'), "video/x-prores,variant=standard"},
    {GST_MAKE_FOURCC('A', 'P', 'C', 'O'), "video/x-prores,variant=proxy"},
    {GST_MAKE_FOURCC('A', 'P', 'C', 'S'), "video/x-prores,variant=lt"},
    {GST_MAKE_FOURCC('A', 'V', '0', '1'), "video/x-av1,stream-format=obu-stream"},
    {GST_MAKE_FOURCC('A', 'V', 'D', 'N'), "video/x-dnxhd"},
    {GST_MAKE_FOURCC('D', 'I', 'V', '2'), "video/x-msmpeg,msmpegversion=42"},
    {GST_MAKE_FOURCC('F', 'S', 'V', '1'), "video/x-flash-screen"},
    {GST_MAKE_FOURCC('H', '2', '6', '1'), "video/x-h261"},
    {GST_MAKE_FOURCC('H', '2', '6', '5'), "video/x-h265,stream-format=byte-stream"},
    {GST_MAKE_FOURCC('H', 'E', 'V', 'C'), "video/x-h265,stream-format=byte-stream"},
    {GST_MAKE_FOURCC('L', 'A', 'G', 'S'), "video/x-lagarith", ExtraData::kCodecData},
    {GST_MAKE_FOURCC('S', 'V', 'Q', '1'), "video/x-svq,svqversion=1"},
    {GST_MAKE_FOURCC('V', 'P', '9', '0'), "video/x-vp9"},
};

template <std::size_t kCount>
const ExtraFormat* FindFormat(const ExtraFormat (&formats)[kCount], unsigned int tag) {
  const ExtraFormat* const format = std::find_if(
      formats, formats + kCount, [tag](const ExtraFormat& each) { return each.tag == tag; });
  return format != formats + kCount ? format : nullptr;
}

// Of several in one configuration: how many more follow the first, their lengths but the
// last one's, each as a sum of bytes up to one below 255, then they themselves. Empty where
// it is nothing like that.
std::vector<ByteRange> LacedHeaders(const StreamFacts& facts) {
  const ByteRange all = facts.stream.codecData;
  const unsigned char* const data = facts.header.Data(all);
  if (all.size == 0 || data[0] > 2) return {};
  std::vector<ByteRange> headers;
  std::size_t at = 1, sum = 0;
  for (unsigned int k = 0; k < data[0]; ++k) {
    std::size_t size = 0;
    while (at < all.size && data[at] == 0xFF) size += data[at++];
    if (at == all.size) return {};
    size += data[at++];
    headers.push_back({sum, size});
    sum += size;
  }
  if (all.size - at < sum) return {};
  headers.push_back({sum, all.size - at - sum});
  for (ByteRange& header : headers) header.position += all.position + at;
  return headers;
}

GstBuffer* MakeBuffer(const StreamFacts& facts, ByteRange range) {
  if (range.size == 0) return gst_buffer_new();
  return gst_buffer_new_memdup(facts.header.Data(range), range.size);
}

// A decoder of Xiph's begins with its headers, which come with the caps. Speex has one, behind
// which a comment must stand.
void SetStreamHeader(const StreamFacts& facts, GstCaps* caps) {
  std::vector<GstBuffer*> headers;
  for (const ByteRange range : LacedHeaders(facts)) headers.push_back(MakeBuffer(facts, range));
  if (headers.empty()) {
    GstTagList* const none = gst_tag_list_new_empty();
    headers = {MakeBuffer(facts, facts.stream.codecData),
               gst_tag_list_to_vorbiscomment_buffer(none, nullptr, 0, nullptr)};
    gst_tag_list_unref(none);
  }
  GValue array = G_VALUE_INIT;
  g_value_init(&array, GST_TYPE_ARRAY);
  for (GstBuffer* const header : headers) {
    GValue value = G_VALUE_INIT;
    g_value_init(&value, GST_TYPE_BUFFER);
    g_value_take_boxed(&value, header);
    gst_value_array_append_and_take_value(&array, &value);
  }
  gst_caps_set_value(caps, "streamheader", &array);
  g_value_unset(&array);
}

}  // namespace

BufferPointer CodecData(const StreamFacts& facts) {
  const ByteRange range = facts.stream.codecData;
  if (range.size == 0) return nullptr;
  return BufferPointer(MakeBuffer(facts, range));
}

guint32 FourCcWith(guint32 fourCc, gchar (*letter)(gchar)) {
  guint32 result = 0;
  for (unsigned int shift = 0; shift < 32; shift += 8) {
    const gchar changed = letter(static_cast<gchar>(fourCc >> shift & 0xFF));
    result |= static_cast<guint32>(static_cast<guchar>(changed)) << shift;
  }
  return result;
}

GstCaps* MakeExtraCaps(const StreamFacts& facts) {
  const bool isAudio = facts.track.kind == qo_host::TrackKind::kAudio;
  const unsigned int tag = facts.track.codecTag;
  const ExtraFormat* const format = isAudio
                                        ? FindFormat(kExtraAudio, tag)
                                        : FindFormat(kExtraVideo, FourCcWith(tag, g_ascii_toupper));
  if (format == nullptr) return nullptr;
  GstCaps* const caps = gst_caps_from_string(format->caps);
  if (facts.stream.audio) {
    gst_caps_set_simple(caps, "block_align", G_TYPE_INT,
                        static_cast<int>(facts.stream.audio->blockAlign), nullptr);
  }
  const BufferPointer data = CodecData(facts);
  if (data != nullptr && format->data == ExtraData::kCodecData)
    gst_caps_set_simple(caps, "codec_data", GST_TYPE_BUFFER, data.get(), nullptr);
  if (data != nullptr && format->data == ExtraData::kXiph) SetStreamHeader(facts, caps);
  return caps;
}

GstCaps* AllExtraCaps(qo_host::TrackKind kind) {
  GstCaps* const all = gst_caps_new_empty();
  const auto add = [all](const ExtraFormat& format) {
    gst_caps_append(all, gst_caps_from_string(format.caps));
  };
  if (kind == qo_host::TrackKind::kAudio)
    std::for_each(std::begin(kExtraAudio), std::end(kExtraAudio), add);
  if (kind == qo_host::TrackKind::kVideo)
    std::for_each(std::begin(kExtraVideo), std::end(kExtraVideo), add);
  return all;
}
