// The header of a mended file: the file's own, corrected where it is wrong.
#ifndef QO_HOST_REPAIREDHEADER_H
#define QO_HOST_REPAIREDHEADER_H

#include <vector>

#include "host/presented/PresentedHeader.h"

namespace qo_host {

// The header object with everything that the file's own holds, in the same order. Anew
// are the file properties, sizes and counts, and of objects that the parser would
// misread all whole records. Of objects that there may be one of, a second one's
// records and parts go to the first.
//
// Where the header extension would have more data than the parser takes, padding goes
// from it, then its largest objects move behind it, where every reader steps over
// what it doesn't look for.
//
// Of `facts`, the streams are not looked at; `tailSize` is that of all behind the
// header object.
std::vector<unsigned char> RepairHeader(const FileHeader& header, const HeaderFacts& facts);

}  // namespace qo_host

#endif  // QO_HOST_REPAIREDHEADER_H
