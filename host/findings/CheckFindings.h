// Findings from what all packets of a file say, and from its header in their light.
#ifndef QO_HOST_CHECKFINDINGS_H
#define QO_HOST_CHECKFINDINGS_H

#include <vector>

#include "host/findings/PacketCheck.h"
#include "host/packets/DataExtent.h"
#include "qo_host/Findings.h"

namespace qo_host {

// A file whose packets have all been looked at.
struct CheckedFile {
  const ParserSession& session;
  const FileHeader& header;  // with file properties
  const DataExtent& data;
  const PacketCheck& packets;
  const Damage& damage;                   // of all streams
  std::vector<unsigned char> misleading;  // streams whose index is
};

std::vector<Finding> FindingsOf(const CheckedFile& file);

// Calls `visit` for each stream number once, with the description that is taken.
template <typename Visit>
void ForEachStream(const FileHeader& header, Visit visit) {
  for (const StreamHeader& stream : header.streams) {
    if (header.Stream(stream.number) == &stream) visit(stream);
  }
}

}  // namespace qo_host

#endif  // QO_HOST_CHECKFINDINGS_H
