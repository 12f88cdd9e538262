// The header of a presented file: whether the file's own will do, and one to stand in
// for it.
#ifndef QO_HOST_PRESENTEDHEADER_H
#define QO_HOST_PRESENTEDHEADER_H

#include <vector>

#include "asf/format/Records.h"
#include "qo_host/FileHeader.h"

namespace qo_host {

// Whether the parser, which reads some objects by their fields and steps over others
// by their size, finds in the header what stands there, and not more than it takes.
bool IsReadAsMeant(const FileHeader& header);
// The same for one of its objects.
bool IsReadAsMeant(const FileHeader& header, const HeaderObject& object);

// Bytes in which the parser reads a number of an extended content description; 0: the
// type is none of a number.
std::size_t NumberBytes(unsigned short type);

struct PresentedStream {
  const StreamHeader* stream;
  unsigned int codecTag;  // in place of its own
};

// What a presented header says beside what the file's own does.
struct HeaderFacts {
  std::vector<PresentedStream> streams;  // in their order
  unsigned int packetLength = 0;         // bytes
  unsigned long long packetCount = 0;
  unsigned long long tailSize = 0;      // bytes, behind the packets
  unsigned long long playDuration = 0;  // 100 ns, preroll included
};

// The file's own properties, with the sizes, packets, duration and bit rate of what is
// presented.
asf_file_properties_object MakeProperties(const FileHeader& header, const HeaderFacts& facts);

// A header object with file properties and those streams, and the head of the data
// object behind it: all that stands in front of packet 0.
std::vector<unsigned char> MakeHeader(const FileHeader& header, const HeaderFacts& facts);

}  // namespace qo_host

#endif  // QO_HOST_PRESENTEDHEADER_H
