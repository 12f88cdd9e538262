// The objects that a FileHeader is made of: each is read by itself, by the readers of the
// header.
#include "host/tree/ObjectFields.h"

#include <utility>

#include "host/header/HeaderParts.h"
#include "host/header/KnownGuid.h"
#include "qo_host/CodecNames.h"
#include "qo_host/StreamCodec.h"

namespace qo_host {
namespace {

// One object's part of a header, put into words.
class PartWords {
 public:
  PartWords(const FileHeader& header, const FileHeader& part, std::vector<ObjectField>* fields)
      : header_(header), part_(part), fields_(fields) {}

  void AddAll() {
    if (part_.properties) AddProperties(*part_.properties);
    for (const StreamHeader& stream : part_.streams) AddStream(stream);
    for (const ExtendedStream& stream : part_.extendedStreams) AddExtended(stream);
    for (const StreamBitrate& bitrate : part_.bitrates) {
      fields_.Number(StreamText(bitrate.stream), bitrate.bitsPerSecond, "bit/s");
    }
    for (const HeaderTag& tag : part_.tags) AddTag(tag);
    for (std::size_t i = 0; i < part_.languages.size(); ++i) {
      fields_.Text("language " + std::to_string(i), part_.languages[i]);
    }
    for (std::size_t i = 0; i < part_.codecs.size(); ++i) AddCodec(i);
    AddMarkers();
    AddCommands();
    for (const Encryption& encryption : part_.encryptions) AddEncryption(encryption);
  }

 private:
  void AddProperties(const FileProperties& properties) {
    fields_.Id("file ID", properties.fileId);
    fields_.Number("file size", properties.fileSize, "bytes");
    fields_.Named("creation date", properties.creationDate, DateText(properties.creationDate));
    fields_.Number("data packets", properties.dataPackets);
    fields_.Time("play duration", properties.playDuration);
    fields_.Time("send duration", properties.sendDuration);
    fields_.Number("preroll", properties.prerollMs, "ms");
    fields_.Flags("flags", properties.flags, {"broadcast", "seekable"});
    fields_.Number("minimum packet size", properties.minPacketLength, "bytes");
    fields_.Number("maximum packet size", properties.maxPacketLength, "bytes");
    fields_.Number("maximum bitrate", properties.maxBitrate, "bit/s");
  }

  void AddStream(const StreamHeader& stream) {
    fields_.Number("stream number", stream.number);
    fields_.Id("type", stream.type);
    fields_.Id("error correction", stream.errorCorrectionType);
    fields_.Time("time offset", stream.timeOffset);
    if (stream.encrypted) fields_.Text("encrypted", "yes");
    if (stream.audio) AddAudio(stream);
    if (stream.video) AddVideo(stream);
    const ByteRange data = stream.audio || stream.video ? stream.codecData : stream.typeSpecific;
    AddBytes(stream.audio || stream.video ? "codec data" : "type-specific data", data);
    AddBytes("error correction data", stream.errorCorrection);
  }
  void AddAudio(const StreamHeader& stream) {
    const AudioFormat& audio = *stream.audio;
    AddCodecTag(stream, "format tag", audio.formatTag);
    fields_.Number("channels", audio.channels);
    fields_.Number("sample rate", audio.samplesPerSecond, "Hz");
    fields_.Number("bitrate", 8ull * audio.averageBytesPerSecond, "bit/s");
    fields_.Number("block align", audio.blockAlign, "bytes");
    fields_.Number("bits per sample", audio.bitsPerSample);
    if (!stream.extensible) return;
    fields_.Number("valid bits per sample", stream.extensible->validBitsPerSample);
    fields_.Number("channel mask", stream.extensible->channelMask);
    fields_.Id("sub-format", stream.extensible->subFormat);
  }
  void AddVideo(const StreamHeader& stream) {
    const VideoFormat& video = *stream.video;
    AddCodecTag(stream, "FourCC", stream.codecTag);
    fields_.Number("encoded width", video.encodedWidth, "pixels");
    fields_.Number("encoded height", video.encodedHeight, "pixels");
    fields_.Text("width", std::to_string(video.width) + " pixels");
    fields_.Text("height", std::to_string(video.height) + " pixels");
    fields_.Number("bits per pixel", video.bitCount);
  }
  void AddCodecTag(const StreamHeader& stream, const char* name, unsigned int tag) {
    const std::string known = CodecNameOf(stream);
    const std::string text = CodecTagText(stream);
    fields_.Named(name, tag, known.empty() ? text : text + ", " + known);
  }

  void AddExtended(const ExtendedStream& stream) {
    fields_.Number("stream number", stream.number);
    fields_.Text("language", LanguageText(stream.language));
    fields_.Number("start time", stream.startTimeMs, "ms");
    fields_.Number("end time", stream.endTimeMs, "ms");
    fields_.Number("bitrate", stream.bitsPerSecond, "bit/s");
    fields_.Number("buffer size", stream.bufferMs, "ms");
    fields_.Number("initial buffer fullness", stream.initialFullnessMs, "ms");
    fields_.Number("alternate bitrate", stream.alternateBitsPerSecond, "bit/s");
    fields_.Number("alternate buffer size", stream.alternateBufferMs, "ms");
    fields_.Number("alternate initial buffer fullness", stream.alternateInitialFullnessMs, "ms");
    fields_.Number("maximum object size", stream.maximumObjectSize, "bytes");
    fields_.Flags("flags", stream.flags,
                  {"reliable", "seekable", "no cleanpoints", "resend live cleanpoints"});
    fields_.Number("average time per frame", stream.averageTimePerFrame, "x 100 ns");
    for (const StreamName& name : stream.names) {
      fields_.Text("name", name.text + " (" + LanguageText(name.language) + ")");
    }
    for (const PayloadExtension& extension : stream.payloadExtensions) {
      constexpr unsigned short kVaries = 0xFFFF;
      fields_.Id("payload extension", extension.system);
      fields_.Named(
          "payload extension size", extension.size,
          extension.size == kVaries ? "varies" : std::to_string(extension.size) + " bytes");
      AddBytes("payload extension settings", extension.info);
    }
  }

  void AddTag(const HeaderTag& tag) {
    std::string text = tag.text;
    if (text.empty() && tag.type != kMetaString) text = std::to_string(tag.value.size) + " bytes";
    if (const auto picture = part_.PictureOf(tag)) {
      text = picture->mimeType + ", type " + std::to_string(picture->type) + ", " +
             std::to_string(picture->bytes.size()) + " bytes";
      if (!picture->description.empty()) text += ", " + picture->description;
    }
    if (tag.stream != 0) text += " (" + StreamText(tag.stream) + ")";
    if (tag.language != 0) text += " (" + LanguageText(tag.language) + ")";
    const bool isNumber = tag.type >= kMetaBool && tag.type <= kMetaWord;
    if (isNumber) {
      fields_.Named(tag.name, tag.number, text);
    } else {
      fields_.Text(tag.name, text);
    }
  }

  void AddCodec(std::size_t index) {
    const CodecEntry& codec = part_.codecs[index];
    const std::string name = "codec " + std::to_string(index);
    const char* const kind = codec.type == 1 ? "video" : codec.type == 2 ? "audio" : "other";
    fields_.Text(name, std::string(kind) + ", " + codec.name);
    if (!codec.description.empty()) fields_.Text(name + " description", codec.description);
    AddBytes(name + " information", codec.info);
  }

  void AddMarkers() {
    if (!part_.markersName.empty()) fields_.Text("name", part_.markersName);
    for (std::size_t i = 0; i < part_.markers.size(); ++i) {
      const Marker& marker = part_.markers[i];
      const std::string name = "marker " + std::to_string(i);
      fields_.Time(name, marker.time);
      fields_.Text(name + " description", marker.description);
      fields_.Number(name + " offset in the data", marker.offset, "bytes");
      fields_.Number(name + " send time", marker.sendTimeMs, "ms");
    }
  }

  void AddCommands() {
    for (std::size_t i = 0; i < part_.commandTypes.size(); ++i) {
      fields_.Text("type " + std::to_string(i), part_.commandTypes[i]);
    }
    for (std::size_t i = 0; i < part_.commands.size(); ++i) {
      const ScriptCommand& command = part_.commands[i];
      const bool isNamed = command.type < part_.commandTypes.size();
      fields_.Named("command " + std::to_string(i), command.timeMs,
                    std::to_string(command.timeMs) + " ms, " +
                        (isNamed ? part_.commandTypes[command.type] : "type not listed") + ": " +
                        command.text);
    }
  }

  void AddEncryption(const Encryption& encryption) {
    const auto addText = [this](const char* name, const std::string& text) {
      if (!text.empty()) fields_.Text(name, text);
    };
    switch (encryption.kind) {
      case EncryptionKind::kContent:
        addText("protection type", encryption.scheme);
        addText("key ID", encryption.keyId);
        addText("licence URL", encryption.licenseUrl);
        AddBytes("secret data", encryption.data);
        break;
      case EncryptionKind::kExtended:
        addText("rights header", encryption.text);
        AddBytes("data", encryption.data);
        break;
      case EncryptionKind::kAdvanced:
        addText("system", encryption.scheme);
        fields_.Number("system version", encryption.type);
        for (const unsigned char stream : encryption.streams) {
          fields_.Number("encrypted stream", stream);
        }
        AddBytes("data", encryption.data);
        break;
      case EncryptionKind::kSignature:
        fields_.Number("signature type", encryption.type);
        AddBytes("signature", encryption.data);
        break;
    }
  }

  void AddBytes(const std::string& name, ByteRange range) {
    if (range.size != 0) fields_.Bytes(name, part_.Data(range), range.size);
  }
  std::string LanguageText(unsigned short index) const {
    const std::string language = header_.Language(index);
    return language.empty() ? "language " + std::to_string(index) : language;
  }

  const FileHeader& header_;
  const FileHeader& part_;
  FieldList fields_;
};

}  // namespace

std::string StreamText(unsigned int number) { return "stream " + std::to_string(number); }

void DescribeObject(const HeaderObject& object, const FileHeader& header, FileHeader* part,
                    std::vector<ObjectField>* fields) {
  std::vector<unsigned char> bytes = std::move(part->bytes);
  *part = {};
  part->bytes = std::move(bytes);
  HeaderFiller filler(part);
  FieldList list(fields);
  if (DescribeRareObject(object, &filler, &list)) return;
  ReadOwnContents(&filler, object);
  PartWords(header, *part, fields).AddAll();
  if (KnownGuid(object.id)) return;
  const std::size_t behind = sizeof(asf_object_header);
  list.Beginning("data", part->Data(object.range) + behind, object.range.size - behind);
}

}  // namespace qo_host
