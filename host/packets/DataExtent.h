// Where a file's data packets and its simple indexes lie, whatever its sizes say.
#ifndef QO_HOST_DATAEXTENT_H
#define QO_HOST_DATAEXTENT_H

#include <optional>
#include <vector>

#include "qo_host/FileHeader.h"
#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// Bytes of the file.
struct FileExtent {
  unsigned long long offset;
  unsigned long long size;
};

struct DataExtent {
  std::optional<unsigned long long> fileSize;  // bytes; nothing when the source doesn't know
  unsigned long long packetsStart = 0;         // file offset of packet 0
  unsigned long long packetsEnd = 0;           // and that behind the last; it may lie in a packet
  unsigned int packetLength = 0;               // bytes; 0 where the file gives none
  unsigned long long statedSize = 0;  // of the data object, bytes, as it says; 0 where the file has
                                      // none
  bool isAsStated = false;            // the header and the data object end where they say
  // Simple index objects behind the data, in file order, with as many entries as they
  // say.
  std::vector<FileExtent> indexes;

  unsigned long long PacketCount() const;  // the last one counts where it is cut short, too
};

// The most packets that are counted where no size is known.
constexpr unsigned long long kMaxPackets = 1ull << 40;

// Looks for them through `source` (not null), whose position it moves: reads the
// first packet's header, what stands behind the data and, where sizes make no sense,
// the file's last MiB. What cannot be read counts as not there.
DataExtent FindData(IDataSource* source, const FileHeader& header);

}  // namespace qo_host

#endif  // QO_HOST_DATAEXTENT_H
