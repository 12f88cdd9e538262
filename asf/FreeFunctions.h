// The exported functions that are no members of the parser.
#ifndef QO_ASF_FREEFUNCTIONS_H
#define QO_ASF_FREEFUNCTIONS_H

#include "asf/Export.h"
#include "asf/MediaQueue.h"
#include "asf/format/PacketFields.h"
#include "asf/format/Records.h"
#include "qo_parser_asf/TrackInfo.h"

// The first row of the identification table equal to `g`; 0 for an unknown GUID,
// which is also the header object's id. That collision must stay: hosts rely on the
// plain number. Whoever has to tell the two apart uses LookupGuid.
QO_EXPORT unsigned char findIdByGUID(guid g);

// Fill a track's record from its stream's type-specific data. `info` and `data`
// may not be null; `ext` may be, and only the video form fills it.
QO_EXPORT void setTrackInfo(TrackInfo* info, audio_specific_data* data, AsfTrackExt* ext);
QO_EXPORT void setTrackInfo(TrackInfo* info, video_specific_data* data, AsfTrackExt* ext);

// Converts `count` UTF-16 code units (in the file's byte order) to UTF-8. `dst`
// must have room for three bytes a unit; no terminator is written. `src` must
// have one unit more than `count` for each character of U+0080 to U+07FF.
// Returns 0.
QO_EXPORT int unicodeToUtf_8(unsigned char* dst, const unsigned short* src, int count);

// Reads a field of length type `type` (0, or anything above 3: absent) at the
// source's position. Neither pointer may be null. Returns 0; but for `type` 1 the
// result is 1 when the byte read is 1, the mark of a compressed payload.
QO_EXPORT int setCodedTypeData(IDataSource* src, unsigned char type, coded_type* out);

// Splits replicated data; `data` holds at least 8 bytes. Returns 0.
QO_EXPORT int parseReplicatedData(unsigned char* data, replicated_data* out);

// Empties the queue of `md` (not null), freeing every element and its buffer.
QO_EXPORT void flushMediaData(media_data* md);

// Moves MPEG audio to its first sync word: 0, and `*size` (bytes) reduced by what
// was cut off in front. kParserUnsupported: there is none; the data is cleared
// and `*size` is 0.
QO_EXPORT int detectMp3StartCode(unsigned char* data, unsigned long* size);

#endif  // QO_ASF_FREEFUNCTIONS_H
