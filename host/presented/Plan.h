// How a file is to be played: which streams, what the parser is to see, and what is
// wrong with the file. Decided by its header, its first packets and what stands
// behind its data; plain data.
#ifndef QO_HOST_PLAN_H
#define QO_HOST_PLAN_H

#include <optional>
#include <vector>

#include "host/packets/DataExtent.h"
#include "host/presented/PresentedSource.h"
#include "host/presented/UnitForm.h"
#include "qo_host/FileHeader.h"
#include "qo_host/PresentedFile.h"

namespace qo_host {

struct PlannedStream {
  StreamHeader header;  // its ranges are those of PresentedFile::header()
  StreamForm form;
};

// Bytes. Files have packets of up to 64 KiB.
constexpr unsigned int kMaxPacketLength = 1u << 20;

struct Plan {
  // False: the parser is to have the file as it is, and will say why it is not played.
  bool isPresented = false;
  Presentation presentation;  // its header is empty where the file's own does
  DataExtent data;
  unsigned long long playDuration = 0;  // 100 ns, preroll included, as it is presented
  std::optional<PlannedStream> audio;
  std::optional<PlannedStream> video;
  std::vector<PlanFinding> findings;
};

// `source` (not null) has been opened; its position is moved. What cannot be read counts
// as not there.
Plan MakePlan(IDataSource* source, const FileHeader& header, const StreamChoice& choice);

}  // namespace qo_host

#endif  // QO_HOST_PLAN_H
