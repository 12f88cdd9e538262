// How a stream is presented so that the parser delivers its media objects whole, each
// with its own time, and what it truly is.
#ifndef QO_HOST_UNITFORM_H
#define QO_HOST_UNITFORM_H

#include <optional>

#include "host/packets/FirstObjects.h"
#include "qo_host/FileHeader.h"

namespace qo_host {

// What the parser's units of a presented stream are.
enum class UnitForm : unsigned char {
  kParser,    // as the parser makes them of the stream itself
  kWhole,     // media objects, as in the file
  kBlocks,    // media objects; where one is several blocks of the stream's block align, each block
              // is a unit, whose time goes on from the object's
  kInverted,  // media objects, of which the first byte is inverted
  kPrefixed,  // media objects of H.264, whose NAL units stand behind lengths of 1 to 3 bytes; start
              // codes are to take their place, as they do in what the parser delivers of 4 bytes
};

struct StreamForm {
  UnitForm form;
  unsigned int presentedTag;  // the format tag or FourCC that the parser sees
  unsigned int codecTag;      // the true one: behind WAVE_FORMAT_EXTENSIBLE that of the sub-format
  unsigned int codec;         // what that is, by Codecs.h
  // By how much the parser stamps a unit late that is shorter than a block: one that
  // damage left of a block.
  unsigned int partLateMs = 0;
  unsigned int prefixBytes = 0;  // kPrefixed: of a length
};

// What FormOf has to know of a stream; nothing where its header tells all.
std::optional<WantedObjects> ObjectsToKnow(const StreamHeader& stream);

// Whether FormOf has to know all of the first object: what begins like a start code
// may be a length. `objects` is what ObjectsToKnow asks for.
bool NeedsWholeObject(const StreamHeader& stream, const FirstObjects& objects);

// `stream` is audio or video of `header`, `objects` what ObjectsToKnow asks for, or with
// the first one whole.
StreamForm FormOf(const FileHeader& header, const StreamHeader& stream,
                  const FirstObjects& objects);

}  // namespace qo_host

#endif  // QO_HOST_UNITFORM_H
