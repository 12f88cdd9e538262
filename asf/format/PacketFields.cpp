// Reading of replicated data, the one field of a payload that may be long.
#include "asf/format/PacketFields.h"

#include <memory>

namespace {

// Replicated data is 8 bytes in most files; up to here it needs no allocation.
constexpr unsigned int kReplicatedOnStack = 256;

int ReadTime(SourceReader* reader, unsigned char* data, unsigned int length, unsigned int* timeMs) {
  const int status = reader->Read(data, length);
  if (status < 0) return status;
  *timeMs = SplitReplicatedData(data).PresentationTime;
  return status;
}

}  // namespace

int ReadPresentationTime(SourceReader* reader, unsigned int length, unsigned int* timeMs) {
  if (length <= kReplicatedOnStack) {
    unsigned char data[kReplicatedOnStack];
    std::memset(data, 0, sizeof(replicated_data));
    return ReadTime(reader, data, length, timeMs);
  }
  const std::unique_ptr<unsigned char[]> data(new unsigned char[length]);
  return ReadTime(reader, data.get(), length, timeMs);
}
