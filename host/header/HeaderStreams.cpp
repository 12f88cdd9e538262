// The streams of a header: stream properties, extended stream properties, bitrates.
#include <algorithm>
#include <cstring>

#include "host/header/HeaderParts.h"
#include "host/header/KnownGuid.h"

namespace qo_host {
namespace {

// Type-specific data that ends in front of codecDataSize is in use as well.
constexpr std::size_t kShortAudioBytes = offsetof(audio_specific_data, codecDataSize);
constexpr std::size_t kFourCcEnd =
    offsetof(video_specific_data, compression) + sizeof(video_specific_data::compression);
// The part of formatDataSize that is no codec data.
constexpr unsigned int kBitmapHeaderBytes =
    sizeof(video_specific_data) - offsetof(video_specific_data, headerSize);

// A sub-format that stands for a format tag is the tag and these bytes.
constexpr unsigned char kTagGuidTail[] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                          0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

std::optional<ExtensibleFormat> MakeExtensible(RangeReader reader) {
  ExtensibleFormat format = {reader.U16(), reader.U32(), reader.Id(), std::nullopt};
  if (!reader.fits()) return std::nullopt;
  const unsigned char* id = format.subFormat.bytes;
  if (std::memcmp(id + 2, kTagGuidTail, sizeof(kTagGuidTail)) == 0) format.formatTag = LoadLe16(id);
  return format;
}

void ReadAudioFormat(const FileHeader& header, StreamHeader* stream) {
  RangeReader reader(header, stream->typeSpecific);
  if (reader.remaining() < kShortAudioBytes) {
    stream->codecTag = reader.U16();
    return;
  }
  audio_specific_data format = {};
  const bool isShort = reader.remaining() < sizeof(format);
  (void)reader.Read(&format, isShort ? kShortAudioBytes : sizeof(format));
  stream->audio = AudioFormat{format.formatTag,        format.channels,
                              format.samplesPerSecond, format.averageBytesPerSecond,
                              format.blockAlign,       format.bitsPerSample};
  stream->codecTag = format.formatTag;
  stream->codecData = reader.TakeUpTo(format.codecDataSize);
  if (format.formatTag == kExtensibleTag) {
    stream->extensible = MakeExtensible(RangeReader(header, stream->codecData));
  }
}

void ReadVideoFormat(const FileHeader& header, StreamHeader* stream) {
  video_specific_data format = {};
  RangeReader reader(header, stream->typeSpecific);
  const std::size_t there = std::min(reader.remaining(), sizeof(format));
  (void)reader.Read(&format, there);
  if (there >= kFourCcEnd) stream->codecTag = format.compression;
  if (there < sizeof(format)) return;
  stream->video = VideoFormat{format.encodedWidth, format.encodedHeight, format.width,
                              format.height, format.bitCount};
  const unsigned int stated = std::max<unsigned int>(format.formatDataSize, kBitmapHeaderBytes);
  stream->codecData = reader.TakeUpTo(stated - kBitmapHeaderBytes);
}

PayloadExtension ReadPayloadExtension(RangeReader* reader) {
  PayloadExtension extension = {};
  extension.system = reader->Id();
  extension.size = reader->U16();
  extension.info = reader->Take(reader->U32());
  return extension;
}

}  // namespace

void ReadStreamProperties(HeaderFiller* filler, ByteRange object, bool hidden) {
  RangeReader reader(**filler, object);
  asf_stream_properties_image fixed;
  if (!reader.Read(&fixed, sizeof(fixed))) {
    filler->Note(HeaderProblem::kRecordCut, object.position);
    return;
  }
  if (!filler->TakeRoom(object.position)) return;
  StreamHeader stream = {};
  stream.number = fixed.flags & kStreamNumberMask;
  stream.type = KitGuid(fixed.streamType);
  stream.kind = KindOfStream(stream.type);
  stream.encrypted = (fixed.flags & kStreamEncrypted) != 0;
  stream.hidden = hidden;
  stream.position = object.position;
  stream.timeOffset = fixed.timeOffset;
  stream.errorCorrectionType = KitGuid(fixed.errorCorrectionType);
  stream.typeSpecific = reader.TakeUpTo(fixed.typeSpecificLength);
  stream.errorCorrection = reader.TakeUpTo(fixed.errorCorrectionLength);
  if (stream.typeSpecific.size < fixed.typeSpecificLength ||
      stream.errorCorrection.size < fixed.errorCorrectionLength) {
    filler->Note(HeaderProblem::kRecordCut, object.position);
  }
  if (stream.kind == StreamKind::kAudio) ReadAudioFormat(**filler, &stream);
  if (stream.kind == StreamKind::kVideo) ReadVideoFormat(**filler, &stream);
  (*filler)->streams.push_back(stream);
}

std::size_t ReadExtendedStream(HeaderFiller* filler, ByteRange object) {
  RangeReader reader(**filler, object);
  asf_extended_stream_properties_image fixed;
  if (!reader.Read(&fixed, sizeof(fixed))) {
    filler->Note(HeaderProblem::kRecordCut, object.position);
    return 0;
  }
  if (!filler->TakeRoom(object.position)) return 0;
  ExtendedStream stream = {fixed.streamNumber,
                           fixed.languageIndex,
                           fixed.startTime,
                           fixed.endTime,
                           fixed.dataBitrate,
                           fixed.bufferSize,
                           fixed.initialBufferFullness,
                           fixed.alternateDataBitrate,
                           fixed.alternateBufferSize,
                           fixed.alternateInitialBufferFullness,
                           fixed.maximumObjectSize,
                           fixed.averageTimePerFrame,
                           fixed.flags,
                           {},
                           {}};
  ReadRecords(filler, &reader, fixed.nameCount, &stream.names, [](RangeReader* name) {
    const unsigned short language = name->U16();
    return StreamName{language, name->Utf16(name->U16())};
  });
  if (reader.fits()) {
    ReadRecords(filler, &reader, fixed.payloadExtensionCount, &stream.payloadExtensions,
                ReadPayloadExtension);
  }
  (*filler)->extendedStreams.push_back(std::move(stream));
  return reader.fits() ? reader.position() : 0;
}

void ReadStreamBitrates(HeaderFiller* filler, ByteRange body) {
  RangeReader reader(**filler, body);
  const unsigned short count = reader.U16();
  ReadRecords(filler, &reader, count, &(*filler)->bitrates, [](RangeReader* bitrate) {
    const unsigned short flags = bitrate->U16();
    return StreamBitrate{static_cast<unsigned char>(flags & kStreamNumberMask), bitrate->U32()};
  });
}

}  // namespace qo_host
