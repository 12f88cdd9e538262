// The attribute names of the tags that hosts have keys for.
#ifndef QO_ASF_FORMAT_TAGNAMES_H
#define QO_ASF_FORMAT_TAGNAMES_H

#include "qo_parser_asf/MetaInfo.h"

struct TagNameRow {
  MetaDataType key;
  const char* name;
  const char* word;  // for the trace
};

// In the order in which GetMetaInfo has them.
constexpr TagNameRow kTagNames[] = {
    {META_TITLE, "WM/TrackTitle", "META_TITLE"},
    {META_ALBUM, "WM/AlbumTitle", "META_ALBUM"},
    {META_ARTIST, "WM/AlbumArtist", "META_ARTIST"},
    {META_COMPOSER, "WM/Composer", "META_COMPOSER"},
    {META_TRACK_NUM, "WM/TrackNumber", "META_TRACK_NUM"},
    {META_GENRE, "WM/Genre", "META_GENRE"},
    // The same word as the genre's. Kept so: the trace would change.
    {META_GENRE_ID, "WM/GenreID", "META_GENRE"},
    {META_YEAR, "WM/Year", "META_YEAR"},
    {META_ALBUM_ART, "WM/Picture", "META_ALBUM_ART"},
};

#endif  // QO_ASF_FORMAT_TAGNAMES_H
