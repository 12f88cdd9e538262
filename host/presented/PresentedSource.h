// A file as the parser is to see it: a header made for it, each data packet mended,
// and an index.
//
// The source below is shared: other sources may read it between the calls on this
// one, which opens and closes it not. Packets are as long as in the file and stand
// in the same order.
#ifndef QO_HOST_PRESENTEDSOURCE_H
#define QO_HOST_PRESENTEDSOURCE_H

#include <vector>

#include "host/presented/PacketMender.h"
#include "qo_host/CachedSource.h"
#include "qo_host/FileSource.h"

namespace qo_host {

// What a presented file is made of, and where that lies in the file. All sizes
// together stay below 2^63.
struct Presentation {
  std::vector<unsigned char> header;    // all in front of packet 0; empty: as in the file
  unsigned long long packetsStart = 0;  // file offset of packet 0
  unsigned int packetLength = 0;        // bytes, not 0
  unsigned long long packetCount = 0;
  unsigned long long packetsEnd = 0;  // file offset at which the packets' bytes end; it may lie in
                                      // the last packet
  unsigned long long tailStart = 0;   // file offset of what follows the packets
  unsigned long long tailSize = 0;    // bytes
  bool isEndKnown = true;  // otherwise the packets go on for as long as the source below brings any
  unsigned long long prerollMs = 0;
  PlayedStreams streams;
};

class PresentedSource final : public CachedSource {
 public:
  // Who reads it: the demultiplexer, with a cursor for each kind, or a walk from front to
  // back, which needs fewer windows.
  enum class Reader : unsigned char { kDemultiplexer, kWalk };

  // `inner` and `damage` are not owned, not null and must outlive this source.
  PresentedSource(IDataSource* inner, Presentation presentation, Damage* damage,
                  Reader reader = Reader::kDemultiplexer);
  ~PresentedSource() override;

  int Open() override;                             // rewinds
  int Close() override;                            // does nothing
  int GetSize(unsigned long long* size) override;  // fails where the end is not known

 private:
  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override;
  Extent PlaceWindow(unsigned long long offset, std::size_t size) const override;

  unsigned long long HeaderSize() const;
  unsigned long long PacketsSize() const;
  int FetchHeader(unsigned long long offset, unsigned char* out, unsigned long long* size);
  int FetchPackets(unsigned long long offset, unsigned char* out, unsigned long long* size);
  int FetchWholePackets(unsigned long long first, unsigned long long* count, unsigned char* out);
  void PrepareFor(unsigned long long number);
  int ReadInner(unsigned long long offset, unsigned char* out, unsigned long long* size);

  // The chains in front of a packet, so that a reader that comes back to it, or
  // another one that follows, goes on from there.
  struct Resumption {
    unsigned long long packet;
    PacketMender::Chains chains;
  };

  IDataSource* const inner_;
  FileSource* const file_;  // the same, where it is a file; otherwise null
  const Presentation presentation_;
  PacketMender mender_;
  std::vector<Resumption> resumptions_;
  std::size_t oldestResumption_ = 0;
  std::vector<unsigned char> scratch_;  // a packet
};

}  // namespace qo_host

#endif  // QO_HOST_PRESENTEDSOURCE_H
