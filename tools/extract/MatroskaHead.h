// What a Matroska file says in front of its clusters, made of what the ASF header says.
#ifndef QO_TOOLS_EXTRACT_MATROSKAHEAD_H
#define QO_TOOLS_EXTRACT_MATROSKAHEAD_H

#include <ebml/EbmlHead.h>
#include <matroska/KaxAttachments.h>
#include <matroska/KaxChapters.h>
#include <matroska/KaxInfo.h>
#include <matroska/KaxTags.h>
#include <matroska/KaxTracks.h>

#include "tools/extract/MatroskaCodec.h"
#include "tools/extract/StreamReader.h"

namespace tool {

// Times in clusters, chapters aside, count in this, ns.
constexpr unsigned long long kTimestampScale = 1'000'000;

// These fill an element that is new. All text is UTF-8.
void FillEbmlHead(libebml::EbmlHead* head);
// Without the duration, which is the last child to be added.
void FillInfo(const qo_host::FileHeader& header, libmatroska::KaxInfo* info);
// The track with this number, 1 the first.
void FillTrack(const StreamSetup& setup, const MatroskaCodec& codec, unsigned int number,
               libmatroska::KaxTrackEntry* track);
// These are to be left out where they have no children then. `numbers` are the tracks' by
// their place in `streams`.
void FillChapters(const qo_host::FileHeader& header, libmatroska::KaxChapters* chapters);
void FillAttachments(const qo_host::FileHeader& header, libmatroska::KaxAttachments* attachments);
void FillTags(const qo_host::FileHeader& header, const std::vector<unsigned char>& streams,
              libmatroska::KaxTags* tags);

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_MATROSKAHEAD_H
