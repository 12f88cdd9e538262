// Tags by the names that files have them under.
#include "gst/Tags.h"

#include <gst/pbutils/pbutils.h>
#include <gst/tag/tag.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace {

using qo_host::FileHeader;
using qo_host::HeaderTag;

enum class Value : unsigned char { kText, kNumber, kPosition, kYear, kPicture };

struct Row {
  const char* name;
  const char* tag;
  Value value;
};

const Row kRows[] = {
    {"Title", GST_TAG_TITLE, Value::kText},
    {"Author", GST_TAG_ARTIST, Value::kText},
    {"Copyright", GST_TAG_COPYRIGHT, Value::kText},
    {"Description", GST_TAG_COMMENT, Value::kText},
    {"WM/AlbumTitle", GST_TAG_ALBUM, Value::kText},
    {"WM/AlbumArtist", GST_TAG_ALBUM_ARTIST, Value::kText},
    {"WM/Composer", GST_TAG_COMPOSER, Value::kText},
    {"WM/Conductor", GST_TAG_CONDUCTOR, Value::kText},
    {"WM/Genre", GST_TAG_GENRE, Value::kText},
    {"WM/Year", GST_TAG_DATE_TIME, Value::kYear},
    {"WM/TrackNumber", GST_TAG_TRACK_NUMBER, Value::kPosition},
    {"WM/PartOfSet", GST_TAG_ALBUM_VOLUME_NUMBER, Value::kPosition},
    {"WM/BeatsPerMinute", GST_TAG_BEATS_PER_MINUTE, Value::kNumber},
    {"WM/Lyrics", GST_TAG_LYRICS, Value::kText},
    {"WM/ISRC", GST_TAG_ISRC, Value::kText},
    {"WM/Publisher", GST_TAG_PUBLISHER, Value::kText},
    {"WM/EncodedBy", GST_TAG_ENCODED_BY, Value::kText},
    {"WM/ToolName", GST_TAG_ENCODER, Value::kText},
    {"WM/EncodingSettings", GST_TAG_ENCODER, Value::kText},
    {"WM/ContentGroupDescription", GST_TAG_GROUPING, Value::kText},
    {"WM/TitleSortOrder", GST_TAG_TITLE_SORTNAME, Value::kText},
    {"WM/ArtistSortOrder", GST_TAG_ARTIST_SORTNAME, Value::kText},
    {"WM/AlbumSortOrder", GST_TAG_ALBUM_SORTNAME, Value::kText},
    {"WM/AuthorURL", GST_TAG_HOMEPAGE, Value::kText},
    {"WM/Picture", GST_TAG_IMAGE, Value::kPicture},
    {"MusicBrainz/Track Id", GST_TAG_MUSICBRAINZ_TRACKID, Value::kText},
    {"MusicBrainz/Artist Id", GST_TAG_MUSICBRAINZ_ARTISTID, Value::kText},
    {"MusicBrainz/Album Id", GST_TAG_MUSICBRAINZ_ALBUMID, Value::kText},
    {"MusicBrainz/Album Artist Id", GST_TAG_MUSICBRAINZ_ALBUMARTISTID, Value::kText},
    {"replaygain_track_gain", GST_TAG_TRACK_GAIN, Value::kNumber},
    {"replaygain_track_peak", GST_TAG_TRACK_PEAK, Value::kNumber},
    {"replaygain_album_gain", GST_TAG_ALBUM_GAIN, Value::kNumber},
    {"replaygain_album_peak", GST_TAG_ALBUM_PEAK, Value::kNumber},
};

void AddYear(const std::string& text, GstTagList* tags) {
  GstDateTime* const date = gst_date_time_new_from_iso8601_string(text.c_str());
  if (date == nullptr) return;
  gst_tag_list_add(tags, GST_TAG_MERGE_KEEP, GST_TAG_DATE_TIME, date, nullptr);
  gst_date_time_unref(date);
}

// "3" or "3/12"; a number from 1.
void AddPosition(const Row& row, const std::string& text, GstTagList* tags) {
  const unsigned long position = std::strtoul(text.c_str(), nullptr, 10);
  if (position == 0 || position > G_MAXINT) return;
  gst_tag_list_add(tags, GST_TAG_MERGE_KEEP, row.tag, static_cast<guint>(position), nullptr);
}

void AddPicture(const FileHeader& header, const HeaderTag& tag, GstTagList* tags) {
  const auto picture = header.PictureOf(tag);
  if (!picture || picture->bytes.empty() || picture->bytes.size() > G_MAXUINT) return;
  gst_tag_list_add_id3_image(tags, picture->bytes.data(), static_cast<guint>(picture->bytes.size()),
                             picture->type);
}

void Add(const Row& row, const FileHeader& header, const HeaderTag& tag, GstTagList* tags) {
  if (row.value == Value::kPicture) return AddPicture(header, tag, tags);
  if (tag.text.empty()) return;
  const char* const text = tag.text.c_str();
  switch (row.value) {
    case Value::kText:
      return gst_tag_list_add(tags, GST_TAG_MERGE_APPEND, row.tag, text, nullptr);
    case Value::kNumber:
      return gst_tag_list_add(tags, GST_TAG_MERGE_KEEP, row.tag, g_ascii_strtod(text, nullptr),
                              nullptr);
    case Value::kPosition:
      return AddPosition(row, tag.text, tags);
    case Value::kYear:
      return AddYear(tag.text, tags);
    case Value::kPicture:
      return;
  }
}

}  // namespace

GstTagList* MakeFileTags(const FileHeader& header) {
  GstTagList* const tags = gst_tag_list_new_empty();
  gst_tag_list_set_scope(tags, GST_TAG_SCOPE_GLOBAL);
  gst_tag_list_add(tags, GST_TAG_MERGE_APPEND, GST_TAG_CONTAINER_FORMAT, "ASF", nullptr);
  for (const HeaderTag& tag : header.tags) {
    if (tag.stream != 0) continue;
    const auto row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& candidate) {
      return g_ascii_strcasecmp(candidate.name, tag.name.c_str()) == 0;
    });
    if (row != std::end(kRows)) Add(*row, header, tag, tags);
  }
  return tags;
}

std::string LanguageCode(const FileHeader& header, unsigned char stream) {
  const qo_host::ExtendedStream* const extended = header.Extended(stream);
  if (extended == nullptr) return "";
  const std::string language = header.Language(extended->language);
  const std::string code = language.substr(0, language.find('-'));
  const char* const known = gst_tag_get_language_code(code.c_str());
  return known != nullptr ? known : "";
}

GstTagList* MakeStreamTags(const StreamFacts& facts, const GstCaps* caps) {
  GstTagList* const tags = gst_tag_list_new_empty();
  gst_pb_utils_add_codec_description_to_tag_list(
      tags,
      facts.track.kind == qo_host::TrackKind::kAudio ? GST_TAG_AUDIO_CODEC : GST_TAG_VIDEO_CODEC,
      caps);
  const unsigned char number = facts.stream.number;
  const qo_host::ExtendedStream* const extended = facts.header.Extended(number);
  unsigned int bitrate = facts.header.Bitrate(number).value_or(0);
  if (bitrate == 0 && extended != nullptr) bitrate = extended->bitsPerSecond;
  if (bitrate == 0) bitrate = facts.track.info.bitrate;
  if (bitrate != 0)
    gst_tag_list_add(tags, GST_TAG_MERGE_APPEND, GST_TAG_NOMINAL_BITRATE, bitrate, nullptr);
  const std::string language = LanguageCode(facts.header, number);
  if (!language.empty())
    gst_tag_list_add(tags, GST_TAG_MERGE_APPEND, GST_TAG_LANGUAGE_CODE, language.c_str(), nullptr);
  if (extended != nullptr && !extended->names.empty() && !extended->names.front().text.empty()) {
    gst_tag_list_add(tags, GST_TAG_MERGE_APPEND, GST_TAG_TITLE,
                     extended->names.front().text.c_str(), nullptr);
  }
  return tags;
}
