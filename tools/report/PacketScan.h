// Every packet of a file as it stands there, the damaged ones included.
#ifndef QO_TOOLS_REPORT_PACKETSCAN_H
#define QO_TOOLS_REPORT_PACKETSCAN_H

#include <functional>

#include "qo_host/PacketReader.h"
#include "tools/common/Tool.h"

namespace tool {

// Where the packets lie. A length of 0: nowhere.
struct PacketExtent {
  IDataSource* source = nullptr;  // the file, or the presented view of one whose header lies
  qo_host::AsfLayout layout;      // of what `source` brings
  unsigned long long stated = 0;  // packets, as header and data object have it
  unsigned long long count = 0;   // packets of which there is at least a byte
};

// Finds them. `input` (not null) need not have been opened with success. Throws Failure.
PacketExtent FindPackets(Input* input);

// Hands the packets to `visit` in file order, each taken as it says and by its own bytes
// alone. Memory: 64 KiB or a packet. Throws Failure, also where `visit` answers false.
void ScanPackets(const Input& input, const PacketExtent& extent,
                 const std::function<bool(const qo_host::Packet&)>& visit);

}  // namespace tool

#endif  // QO_TOOLS_REPORT_PACKETSCAN_H
