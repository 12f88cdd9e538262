// Every object of a file in words, and its packets and streams as they are found, from any
// source. Input: the faults as for fuzz/source, the file.
#include "fuzz/Faults.h"
#include "fuzz/Target.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/ObjectTree.h"
#include "qo_host/StreamCodec.h"
#include "qo_host/StreamSample.h"
#include "testing/Check.h"
#include "testing/HeapMeter.h"

namespace {

// Bytes. Of a tree: the header and records for what is in it; an object's fields in words.
constexpr std::size_t kHeapPerByte = 128;
constexpr std::size_t kHeap = 4 << 20;

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const fuzz::FaultPlan plan = fuzz::TakeFaults(&input);
  const std::string_view file = input.Rest();
  FaultySource source(file);
  for (const auto& [at, fault] : plan) source.Plan(at, fault);
  const std::size_t before = HeapBytes();
  ResetHeapPeak();
  unsigned long long next = 0;
  qo_host::WalkObjects(&source, [&](const qo_host::ObjectNode& node) {
    if (node.depth != 0) return true;
    CHECK(node.position >= next);
    next = node.position;
    if (plan.empty()) CHECK(node.position + node.present <= file.size());
    return true;
  });
  CHECK(HeapPeak() <= before + kHeapPerByte * file.size() + kHeap);

  qo_host::BorrowedSource borrowed(&source);
  qo_host::FileHeader header;
  if (ReadFileHeader(&borrowed, &header) < 0) return 0;
  for (const qo_host::StreamHeader& stream : header.streams) {
    CHECK(ProfileText(header, stream).size() < 64);
  }
  std::map<unsigned char, qo_host::StreamSample> samples;
  SampleStreams(&borrowed, FindPackets(&borrowed, header), &samples);
  for (const auto& [number, sample] : samples) CHECK(sample.share >= 0 && sample.share <= 1);
  return 0;
}
