// See MeteredSource.h.
#include "testing/MeteredSource.h"

#include "testing/Check.h"

namespace {

// Outside packets, per byte of the file and in all: what docs/safety.md says.
constexpr unsigned long long kCallsPerByte = 1;
constexpr unsigned long long kCallsConstant = 450000;
constexpr unsigned long long kBytesPerByte = 4;
constexpr unsigned long long kBytesConstant = 17ull << 20;
// Within one packet.
constexpr unsigned long long kPacketCallsConstant = 1024;
constexpr unsigned long long kPacketBytesConstant = 1024;
// Packets in one operation.
constexpr unsigned long long kPacketsPerByte = 3;
constexpr unsigned long long kPacketsConstant = 64;

}  // namespace

void MeteredSource::Add(unsigned long long calls, unsigned long long bytes) {
  calls_ += calls;
  bytes_ += bytes;
  const bool inPacket = work_.packets != 0;
  (inPacket ? work_.packetCalls : work_.calls) += calls;
  (inPacket ? work_.packetBytes : work_.bytes) += bytes;
  if (!IsHonest()) return;
  CHECK(work_.packetCalls <= fileBytes_ + kPacketCallsConstant);
  CHECK(work_.packetBytes <= fileBytes_ + kPacketBytesConstant);
}

void MeteredSource::EndOperation() const {
  if (!IsHonest()) return;
  CHECK(work_.calls <= kCallsPerByte * fileBytes_ + kCallsConstant);
  CHECK(work_.bytes <= kBytesPerByte * fileBytes_ + kBytesConstant);
  CHECK(work_.packets <= kPacketsPerByte * fileBytes_ + kPacketsConstant);
}

template <typename Call>
int MeteredSource::Count(Call call) {
  Add(1, 0);
  return GaveUp() ? FaultySource::kFailure : call();
}

template <typename Call>
int MeteredSource::CountRead(unsigned long long* size, Call call) {
  CHECK(*size != 0);  // some sources take a read of nothing for their end
  const int status = Count(call);
  if (status >= 0) Add(0, *size);
  return status;
}

int MeteredSource::Open() {
  return Count([this] { return source_.Open(); });
}

int MeteredSource::Close() {
  return Count([this] { return source_.Close(); });
}

int MeteredSource::GetSize(unsigned long long* size) {
  return Count([=] { return source_.GetSize(size); });
}

// A packet begins with a read of its first byte, and nothing else reads like it.
int MeteredSource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  if (*size == 1) {
    ++work_.packets;
    work_.packetCalls = work_.packetBytes = 0;
  }
  return CountRead(size, [=] { return source_.ReadAt(offset, buffer, size); });
}

int MeteredSource::Read(void* buffer, unsigned long long* size) {
  return CountRead(size, [=] { return source_.Read(buffer, size); });
}

int MeteredSource::SeekTo(unsigned long long offset, int whence) {
  CHECK(whence == 0 || whence == 1);
  return Count([=] { return source_.SeekTo(offset, whence); });
}

int MeteredSource::GetPosition(unsigned long long* position) {
  return Count([=] { return source_.GetPosition(position); });
}
