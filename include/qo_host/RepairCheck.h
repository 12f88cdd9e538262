// Whether a mended file is what it is to be.
#ifndef QO_HOST_REPAIRCHECK_H
#define QO_HOST_REPAIRCHECK_H

#include "qo_host/ParserFactory.h"
#include "qo_host/Repair.h"
#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// What a comparison came to.
enum class RepairVerdict : unsigned char {
  kGood,
  kNotMended,    // a repair of it would find something again, or its plan does
  kUnitsDiffer,  // other units come out of it than out of the file that was mended
  kCancelled,
};

// Plays `file` and `mended` (both not null, opened, and left so) side by side: through
// the kit each audio and video stream, and through the bare parser those that it
// delivers as they are. `progress` is called now and then with how much of the work is
// done; false cancels. It may be empty.
RepairVerdict CheckRepair(const ParserFactory& factory, IDataSource* file, IDataSource* mended,
                          const Repair::Progress& progress);

}  // namespace qo_host

#endif  // QO_HOST_REPAIRCHECK_H
