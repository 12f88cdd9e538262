// Forms by codec, told by the first objects where the codec alone doesn't.
#include "host/presented/UnitForm.h"

#include <algorithm>
#include <cstddef>

#include "asf/format/CodecTags.h"
#include "asf/format/FourCc.h"
#include "qo_host/StreamCodec.h"
#include "qo_parser_asf/Codecs.h"

namespace qo_host {
namespace {

// In no table of the parser's, which hands out objects of such streams untouched.
constexpr unsigned int kNeutralTag = 0xFFFF;
constexpr unsigned int kNeutralFourCc = FourCc("X264");

constexpr unsigned int kAc3Tag = 0x2000;

// Block aligns from which on the parser looks for AC-3's sync word.
constexpr unsigned short kMinAc3Block = 7;

// The parser cuts other objects of these than blocks, and stamps the parts one step late.
bool IsWma(unsigned int tag) { return tag >= 0x0160 && tag <= 0x0164; }

// The parser's step from one part to the next, reckoned as it does.
unsigned int StepMs(const AudioFormat& format) {
  if (format.averageBytesPerSecond == 0) return 0;
  const float step = 1000.0f / static_cast<float>(format.averageBytesPerSecond) *
                     static_cast<float>(format.blockAlign);
  return static_cast<unsigned int>(step);
}

bool AreBlocks(const std::vector<unsigned int>& sizes, unsigned short blockAlign) {
  return !sizes.empty() && std::all_of(sizes.begin(), sizes.end(),
                                       [=](unsigned int size) { return size == blockAlign; });
}

bool HasSyncWord(const std::vector<unsigned char>& bytes) {
  if (bytes.size() < 3 || bytes[0] != 0xFF || bytes[1] < 0xF0) return false;
  const unsigned int layer = bytes[1] & 6;  // 2: layer III. 4: layer II
  return layer == 2 || layer == 4;
}

bool HasStartCode(const std::vector<unsigned char>& bytes) {
  static constexpr unsigned char kStartCode[] = {0, 0, 0, 1};
  const auto isAt = [&](const unsigned char* code) {
    const auto size = static_cast<std::size_t>(std::end(kStartCode) - code);
    return bytes.size() >= size && std::equal(code, std::end(kStartCode), bytes.begin());
  };
  return isAt(kStartCode) || isAt(kStartCode + 1);
}

constexpr unsigned int kUsualPrefixBytes = 4;

// Of the lengths in front of NAL units, as an H.264 configuration record says.
unsigned int PrefixBytes(const FileHeader& header, const StreamHeader& stream) {
  constexpr unsigned char kVersion = 1;
  constexpr std::size_t kRecordBytes = 7;  // at least
  const unsigned char* const record = header.Data(stream.codecData);
  if (stream.codecData.size < kRecordBytes || record[0] != kVersion) return kUsualPrefixBytes;
  return (record[4] & 3u) + 1;
}

// NAL units behind 4-byte lengths, big-endian, that fill the object.
bool IsLengthPrefixed(const std::vector<unsigned char>& bytes) {
  std::size_t at = 0;
  while (bytes.size() - at >= 4) {
    const std::size_t length = static_cast<std::size_t>(bytes[at]) << 24 | bytes[at + 1] << 16 |
                               bytes[at + 2] << 8 | bytes[at + 3];
    if (length == 0 || length > bytes.size() - at - 4) return false;
    at += 4 + length;
  }
  return at != 0 && at == bytes.size();
}

// A bit stream identifier above 10, behind a sync word in either byte order.
bool IsEac3(const std::vector<unsigned char>& bytes) {
  if (bytes.size() < kMinAc3Block) return false;
  if (bytes[0] == 0x0B && bytes[1] == 0x77) return bytes[5] >> 3 > 10;
  return bytes[0] == 0x77 && bytes[1] == 0x0B && bytes[4] >> 3 > 10;
}

StreamForm AudioForm(const StreamHeader& stream, const FirstObjects& objects) {
  const unsigned int tag = stream.codecTag;
  const unsigned short blockAlign = stream.audio ? stream.audio->blockAlign : 0;
  const StreamCodec codec = CodecOf(stream);
  StreamForm form{UnitForm::kParser, tag, codec.tag, codec.codec};
  const auto present = [&form](UnitForm as) {
    form.form = as;
    form.presentedTag = kNeutralTag;
  };
  switch (tag) {
    case 0x0001:  // PCM: the parser stamps it one step late
    case 0x0007:  // mu-law: the same
      present(UnitForm::kWhole);
      break;
    case 0x0050:
    case 0x0055:  // it would look for a sync word, and drop what is in front of it
      if (!HasSyncWord(objects.first)) present(UnitForm::kWhole);
      break;
    case kAc3Tag:  // to tell E-AC-3 it would read 50 packets, for nothing
      if (blockAlign >= kMinAc3Block) break;
      present(UnitForm::kWhole);
      break;
    default:
      if (!IsWma(tag)) break;
      if (stream.audio && AreBlocks(objects.sizes, blockAlign)) {
        form.partLateMs = StepMs(*stream.audio);
      } else {
        present(UnitForm::kBlocks);
      }
      break;
  }
  if (form.codec == kCodecAc3 && IsEac3(objects.first)) form.codec = kCodecEac3;
  return form;
}

StreamForm VideoForm(const FileHeader& header, const StreamHeader& stream,
                     const FirstObjects& objects) {
  const unsigned int fourCc = stream.codecTag;
  StreamForm form{UnitForm::kParser, fourCc, fourCc, CodecOf(stream).codec};
  switch (form.codec) {
    case kCodecH264: {  // start codes and shorter lengths would be taken for lengths of 4 bytes
      // Otherwise it hands objects out untouched.
      const bool isKnown = VideoCodecOf(fourCc) == kCodecH264;
      const unsigned int prefixBytes = PrefixBytes(header, stream);
      const bool isPrefixed = objects.isWhole && IsLengthPrefixed(objects.first);
      const bool hasStartCode = !isPrefixed && HasStartCode(objects.first);
      if (hasStartCode ? !isKnown : isKnown && prefixBytes == kUsualPrefixBytes) break;
      form.form = hasStartCode ? UnitForm::kWhole : UnitForm::kPrefixed;
      form.prefixBytes = prefixBytes;
      form.presentedTag = kNeutralFourCc;
      break;
    }
    case kCodecWvc1:
    case kCodecWmva:  // headers in front of a frame would be taken off
      form.form = UnitForm::kInverted;
      form.presentedTag = kNeutralFourCc;
      break;
    default:
      break;
  }
  return form;
}

constexpr std::size_t kUnitHeadBytes = 8;  // more than a sync word and an identifier take
constexpr std::size_t kBlocksLookedAt = 3;

}  // namespace

std::optional<WantedObjects> ObjectsToKnow(const StreamHeader& stream) {
  if (stream.kind == StreamKind::kVideo) {
    if (CodecOf(stream).codec != kCodecH264) return std::nullopt;
    return WantedObjects{stream.number, 1, kUnitHeadBytes};
  }
  if (IsWma(stream.codecTag)) return WantedObjects{stream.number, kBlocksLookedAt, 0};
  switch (AudioCodecOf(stream.codecTag)) {
    case kCodecMpegAudio:
    case kCodecAc3:
      return WantedObjects{stream.number, 1, kUnitHeadBytes};
    default:
      if (stream.codecTag != kExtensibleTag) return std::nullopt;
      return WantedObjects{stream.number, 1, kUnitHeadBytes};
  }
}

bool NeedsWholeObject(const StreamHeader& stream, const FirstObjects& objects) {
  return stream.kind == StreamKind::kVideo && CodecOf(stream).codec == kCodecH264 &&
         HasStartCode(objects.first);
}

StreamForm FormOf(const FileHeader& header, const StreamHeader& stream,
                  const FirstObjects& objects) {
  return stream.kind == StreamKind::kAudio ? AudioForm(stream, objects)
                                           : VideoForm(header, stream, objects);
}

}  // namespace qo_host
