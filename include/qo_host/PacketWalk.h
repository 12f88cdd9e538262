// A walk over the packets of a file's data.
#ifndef QO_HOST_PACKETWALK_H
#define QO_HOST_PACKETWALK_H

#include <functional>
#include <map>

#include "qo_host/AsfLayout.h"
#include "qo_host/FileHeader.h"
#include "qo_host/PacketReader.h"

namespace qo_host {

// How a walk ended.
enum class WalkEnd {
  kDone,          // at the end of the data
  kCancelled,     // by whoever was called back
  kSourceFailed,  // by a failed read
};

// The same, with the failure.
struct WalkResult {
  WalkEnd end;  // kDone, too, where the file ends in front of the data's end
  int status;   // kSourceFailed: the source's (see BorrowedSource for one that throws); otherwise 0
};

// Where the packets of a file lie that ReadFileHeader has read, whatever its sizes say: a layout
// to walk them by, of which nothing else is set. None are in it (see PacketsInData) where
// the header gives no length for a packet. Reads the first packet's header, what stands behind
// the data and, where sizes make no sense, the file's last MiB through `source` (not null), whose
// position it moves. What cannot be read counts as not there.
AsfLayout FindPackets(IDataSource* source, const FileHeader& header);

// Visits the packets of the data object in order, as `view` takes them, from
// packet `first` on (see PacketsInData), up to the first of which the source brings
// nothing. Each packet takes one read of `source` (not null); a part of one beyond
// its first 64 KiB, or behind a payload that runs over its end, takes reads of its
// own. Memory: 64 KiB. `visit` sees one record that is overwritten by the next;
// false ends the walk as cancelled.
WalkResult WalkPackets(IDataSource* source, const AsfLayout& layout,
                       const std::function<bool(const Packet&)>& visit,
                       unsigned long long first = 0, PacketView view = PacketView::kParser);

// The packets at the end of a file that LastObjectTimes looks at.
constexpr unsigned long long kTailPackets = 256;

// Stores in `*times` (not null), by stream number, the greatest time in ms of a media
// object that begins in the last packets of the file. A track that a host has read
// to its end without meeting that time was ended early, by a packet that failed or
// a failing source.
WalkResult LastObjectTimes(IDataSource* source, const AsfLayout& layout,
                           std::map<unsigned char, unsigned int>* times);

}  // namespace qo_host

#endif  // QO_HOST_PACKETWALK_H
