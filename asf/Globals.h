// The exported globals; defined in plugin/.
#ifndef QO_ASF_GLOBALS_H
#define QO_ASF_GLOBALS_H

#include <atomic>

#include "asf/Export.h"

extern "C" {

// Which messages are printed, a bit mask: bit 0 errors, bit 1 life cycle, bit 2
// trace. Rewritten by every parser's constructor; relaxed atomic, so that parsers
// in two threads don't race. To a host it is a plain int.
extern QO_EXPORT std::atomic<int> debug_level;

// Picture type codes of VC-1 advanced profile by the leading bits of a picture
// header: of frame-coded and of field-coded pictures. 1 I, 2 P, 3 B, 4 BI, 5 skipped,
// 6 I/I, 7 I/P, 8 P/I, 9 P/P, 10 B/B, 11 B/BI, 12 BI/B, 13 BI/BI.
extern QO_EXPORT const unsigned int frmBasedTypeCodes[16];
extern QO_EXPORT const unsigned int fldBasedTypeCodes[8];
}

static_assert(sizeof(std::atomic<int>) == sizeof(int), "debug_level is an int to a host");

#endif  // QO_ASF_GLOBALS_H
