// The host's own reading of a whole header: what it says, what is wrong with it, and
// what is left of it when bytes are missing.
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "asf/format/FourCc.h"
#include "asf/format/Records.h"
#include "qo_host/CodecNames.h"
#include "qo_host/FileHeader.h"
#include "qo_host/MemorySource.h"
#include "testing/AsfBuilder.h"
#include "testing/FaultySource.h"
#include "testing/SampleFiles.h"

namespace {

using Lines = std::vector<std::string>;

qo_host::FileHeader Header(const Bytes& file) {
  static qo_host::FileHeader header;  // that has been used
  qo_host::MemorySource source(file.data(), file.size());
  EXPECT_EQ(0, qo_host::ReadFileHeader(&source, &header));
  return header;
}

// Values with a blank in front of each.
template <typename... Values>
std::string Join(const Values&... values) {
  std::ostringstream line;
  ((line << ' ' << values), ...);
  return line.str().substr(1);
}

std::string Problems(const qo_host::FileHeader& header) {
  static constexpr const char* kNames[] = {
      "not ASF",         "header size",     "header cut",  "header too long", "data in header",
      "count too small", "count too large", "object size", "object too long", "extension size",
      "loose bytes",     "record cut",      "too many"};
  std::string text;
  for (const qo_host::HeaderIssue& issue : header.problems) {
    text += Join(text.empty() ? "" : ",", kNames[static_cast<int>(issue.problem)], issue.position);
  }
  return text.empty() ? text : text.substr(1);
}

std::string Text(const qo_host::FileHeader& header, qo_host::ByteRange range) {
  EXPECT_LE(range.position + range.size, header.bytes.size());
  return {reinterpret_cast<const char*>(header.Data(range)), range.size};
}

Lines StreamLines(const qo_host::FileHeader& header) {
  Lines lines;
  for (const qo_host::StreamHeader& stream : header.streams) {
    const int subTag = stream.extensible ? stream.extensible->formatTag.value_or(0) : -1;
    lines.push_back(Join(int{stream.number}, StreamKindName(stream.kind), stream.codecTag,
                         stream.timeOffset, stream.hidden, stream.encrypted, subTag,
                         Text(header, stream.codecData), Text(header, stream.errorCorrection)));
  }
  return lines;
}

Lines ExtendedLines(const qo_host::FileHeader& header) {
  Lines lines;
  for (const qo_host::ExtendedStream& stream : header.extendedStreams) {
    lines.push_back(Join(stream.number, stream.averageTimePerFrame, stream.bitsPerSecond,
                         stream.maximumObjectSize, header.Language(stream.language)));
    for (const qo_host::StreamName& name : stream.names) {
      lines.push_back(Join("name", header.Language(name.language), name.text));
    }
    for (const qo_host::PayloadExtension& extension : stream.payloadExtensions) {
      lines.push_back(Join("payload", qo_host::GuidString(extension.system), extension.size,
                           Text(header, extension.info)));
    }
  }
  return lines;
}

Lines ListLines(const qo_host::FileHeader& header) {
  Lines lines;
  for (const auto& bitrate : header.bitrates) {
    lines.push_back(Join("bitrate", int{bitrate.stream}, bitrate.bitsPerSecond));
  }
  for (const auto& codec : header.codecs) {
    lines.push_back(
        Join("codec", codec.type, codec.name, codec.description, Text(header, codec.info)));
  }
  for (const auto& marker : header.markers) {
    lines.push_back(
        Join("marker", marker.time, marker.offset, marker.sendTimeMs, marker.description));
  }
  for (const auto& command : header.commands) {
    const bool known = command.type < header.commandTypes.size();
    lines.push_back(Join("command", command.timeMs, known ? header.commandTypes[command.type] : "-",
                         command.text));
  }
  return lines;
}

Lines EncryptionLines(const qo_host::FileHeader& header) {
  Lines lines;
  for (const qo_host::Encryption& encryption : header.encryptions) {
    lines.push_back(Join(static_cast<int>(encryption.kind), encryption.scheme, encryption.keyId,
                         encryption.licenseUrl, encryption.text, encryption.type,
                         Text(header, encryption.data)));
    for (const int stream : encryption.streams) lines.push_back(Join("stream", stream));
  }
  return lines;
}

Lines TagLines(const qo_host::FileHeader& header) {
  static constexpr const char* kOrigins[] = {"C", "E", "M", "L"};
  Lines lines;
  for (const qo_host::HeaderTag& tag : header.tags) {
    const std::optional<qo_host::Picture> picture = header.PictureOf(tag);
    lines.push_back(Join(kOrigins[static_cast<int>(tag.origin)], tag.stream,
                         header.Language(tag.language), tag.name, "=",
                         picture ? picture->mimeType + "/" + picture->description + "/" +
                                       Bytes(picture->bytes.begin(), picture->bytes.end())
                                 : tag.text));
    EXPECT_LE(tag.value.position + tag.value.size, header.bytes.size());
  }
  return lines;
}

Bytes Counted(const Bytes& text, int width, int unit = 1) {
  return Le(text.size() / unit, width) + text;
}

Bytes Extended(int number, int language, const std::vector<Bytes>& names,
               const std::vector<Bytes>& payloadExtensions, const Bytes& behind) {
  Bytes body = Bytes(16, '\0') + Le(64000, 4) + Bytes(20, '\0') + Le(9000, 4) + Le(2, 4) +
               Le(number, 2) + Le(language, 2) + Le(400000, 8) + Le(names.size(), 2) +
               Le(payloadExtensions.size(), 2);
  for (const Bytes& name : names) body += name;
  for (const Bytes& extension : payloadExtensions) body += extension;
  return Object(ID_EXTENDED_STREAM_PROPERTIES_OBJECT, body + behind);
}

Bytes MetadataRecord(int language, int stream, const char* name, int type, const Bytes& value) {
  return Le(language, 2) + Le(stream, 2) + Record(Utf16(name), type, value).substr(4);
}

Bytes GuidBytes(AsfObjectId id) {
  return Bytes(reinterpret_cast<const char*>(GuidOf(id).bytes), sizeof(guid));
}

Bytes PictureValue(const char* image) {
  return Le(3, 1) + Counted(image, 4).substr(0, 4) + Utf16("image/png") + Utf16("front") + image;
}

// A header with everything that is read.
AsfFile RichFile() {
  const Bytes aac =
      Hex("10 00 3F 00 00 00 FF 00 00 00 00 00 10 00 80 00 00 AA 00 38 9B 71") + "cfg";
  const Bytes hidden = Stream(ID_VIDEO_MEDIA, 9, VideoFormat("WVC1", "sequence"));
  const Bytes shadowed = Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x55));
  const Bytes sampleDuration =
      GuidBytes(ID_PAYLOAD_EXT_SYSTEM_SAMPLE_DURATION) + Le(2, 2) + Counted("info", 4);
  const Bytes languages = Object(ID_LANGUAGE_LIST_OBJECT,
                                 Le(2, 2) + Counted(Utf16("en-us"), 1) + Counted(Utf16("fr"), 1));
  const Bytes advanced = Object(ID_ADVANCED_CONTENT_ENCRYPTION_OBJECT,
                                Le(1, 2) + GuidBytes(ID_CONTENT_ENCRYPTION_SYSTEM_NETWORK_DEVICES) +
                                    Le(1, 4) + Le(2, 2) + Le(1, 2) + Counted(Le(9, 2), 2) +
                                    Le(7, 2) + Counted("?", 2) + Counted("adv", 4));
  const Bytes number = Bytes(16, '\x11');
  AsfFile file;
  file.header = {
      HeaderExtension(
          languages +
          Extended(1, 1,
                   {Le(0, 2) + Counted(Utf16("speech"), 2), Le(1, 2) + Counted(Utf16("voix"), 2)},
                   {}, shadowed) +
          Extended(9, 5, {}, {sampleDuration}, hidden) + advanced +
          Metadata({MetadataRecord(0, 2, "AspectRatioX", kMetaDword, Le(4, 4)),
                    MetadataRecord(0, 2, "IsVBR", kMetaBool, Le(1, 2))}) +
          Metadata({MetadataRecord(0, 0, "WM/Genre", kMetaString, Utf16("Rock")),
                    MetadataRecord(1, 1, "WM/Genre", kMetaString, Utf16("Chanson")),
                    MetadataRecord(0, 0, "Id", qo_host::kMetaGuid, GuidBytes(ID_HEADER_OBJECT)),
                    MetadataRecord(0, 0, "WM/Picture", kMetaBytes, PictureValue("PNG2"))},
                   ID_METADATA_LIBRARY_OBJECT)),
      Stream(ID_VIDEO_MEDIA, 0x8002, VideoFormat("WMV3", "conf")),
      Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0xFFFE, 16000, 100, aac), {}, "ec"),
      Stream(ID_COMMAND_MEDIA, 3, ""),
      ContentDescription({Utf16("A title"), Utf16("An author"), Utf16(""), "", Utf16("5")}),
      ExtendedContent({Descriptor(Utf16("WM/Picture"), kMetaBytes, PictureValue("PNG")),
                       Descriptor(Utf16("WM/Track"), kMetaDword, Le(7, 4)),
                       Descriptor(Utf16("Big"), kMetaQword, Le(123456789012, 8)),
                       Descriptor(Utf16("Author"), kMetaString, Utf16("One")),
                       Descriptor(Utf16("Author"), kMetaString, Utf16("Two", false))}),
      Object(ID_STREAM_BITRATE_PROPERTIES_OBJECT,
             Le(2, 2) + Le(2, 2) + Le(500000, 4) + Le(1, 2) + Le(64000, 4)),
      Object(ID_CODEC_LIST_OBJECT, number + Le(1, 4) + Le(1, 2) + Counted(Utf16("WMV9"), 2, 2) +
                                       Counted(Utf16("best"), 2, 2) + Counted("WMV3", 2)),
      Object(ID_MARKER_OBJECT, number + Le(1, 4) + Le(0, 2) + Counted(Utf16("Chapters"), 2) +
                                   Le(50, 8) + Le(35000000, 8) + Le(99, 2) + Le(17, 4) + Le(0, 4) +
                                   Counted(Utf16("One"), 4, 2)),
      Object(ID_SCRIPT_COMMAND_OBJECT, number + Le(2, 2) + Le(1, 2) +
                                           Counted(Utf16("URL", false), 2, 2) + Le(3100, 4) +
                                           Le(0, 2) + Counted(Utf16("a"), 2, 2) + Le(3200, 4) +
                                           Le(4, 2) + Counted(Utf16("b"), 2, 2)),
      Object(ID_CONTENT_ENCRYPTION_OBJECT, Counted("secret", 4) + Counted(Bytes("DRM\0", 4), 4) +
                                               Counted("key", 4) + Counted("http://\xFF", 4)),
      Object(ID_EXTENDED_CONTENT_ENCRYPTION_OBJECT, Counted(Hex("FF FE") + Utf16("<KID/>"), 4)),
      Object(ID_DIGITAL_SIGNATURE_OBJECT, Le(2, 4) + Counted("sign", 4)),
  };
  return file;
}

std::map<std::string, Lines> Facts(const qo_host::FileHeader& header) {
  return {{"streams", StreamLines(header)},
          {"extended", ExtendedLines(header)},
          {"lists", ListLines(header)},
          {"encryption", EncryptionLines(header)},
          {"tags", TagLines(header)}};
}

TEST(HostHeader, TellsAllThatAHeaderSays) {
  const qo_host::FileHeader header = Header(RichFile().Build());
  EXPECT_EQ("", Problems(header));
  const std::map<std::string, Lines> facts = Facts(header);
  const std::string wmv3 = std::to_string(FourCc("WMV3")), wvc1 = std::to_string(FourCc("WVC1"));
  EXPECT_EQ((Lines{"9 video " + wvc1 + " 0 1 0 -1 sequence ", "2 video " + wmv3 + " 0 0 1 -1 conf ",
                   "1 audio 65534 0 0 0 255 " +
                       Hex("10 00 3F 00 00 00 FF 00 00 00 00 00 10 00 80 00 00 AA 00 38 9B 71") +
                       "cfg ec",
                   "3 command 0 0 0 0 -1  "}),
            facts.at("streams"));
  EXPECT_EQ(
      (Lines{"1 400000 64000 9000 fr", "name en-us speech", "name fr voix", "9 400000 64000 9000 ",
             Join("payload", "C6BD9450-867F-4907-83A3-C77921B733AD", "2 info")}),
      facts.at("extended"));
  EXPECT_EQ((Lines{"bitrate 2 500000", "bitrate 1 64000", "codec 1 WMV9 best WMV3",
                   "marker 35000000 50 17 One", "command 3100 URL a", "command 3200 - b"}),
            facts.at("lists"));
  EXPECT_EQ((Lines{"2 7A079BB6-DAA4-4E12-A5CA-91D38DC11A8D    1 adv", "stream 9",
                   "0 DRM key http://\xEF\xBF\xBD  0 secret",
                   "1    <KID/> 0 " + Hex("FF FE") + Utf16("<KID/>"), "3     2 sign"}),
            facts.at("encryption"));
  EXPECT_EQ(
      (Lines{"M 2 en-us AspectRatioX = 4", "M 2 en-us IsVBR = true", "L 0 en-us WM/Genre = Rock",
             "L 1 fr WM/Genre = Chanson", "L 0 en-us Id = 75B22630-668E-11CF-A6D9-00AA0062CE6C",
             "L 0 en-us WM/Picture = image/png/front/PNG2", "C 0 en-us Title = A title",
             "C 0 en-us Author = An author", "C 0 en-us Rating = 5",
             "E 0 en-us WM/Picture = image/png/front/PNG", "E 0 en-us WM/Track = 7",
             "E 0 en-us Big = 123456789012", "E 0 en-us Author = One", "E 0 en-us Author = Two"}),
      facts.at("tags"));
  EXPECT_EQ("Chapters", header.markersName);
  EXPECT_EQ(3000u, header.properties->prerollMs);
  EXPECT_EQ(500000u, header.Bitrate(2));
  EXPECT_FALSE(header.Bitrate(3));
  EXPECT_EQ("F8699E40-5B4D-11CF-A8FD-00805F5C442B", qo_host::GuidString(header.Stream(1)->type));
  EXPECT_EQ(9, header.Extended(9)->number);
  EXPECT_EQ(nullptr, header.Stream(4));
  EXPECT_TRUE(header.IsEncrypted());
}

TEST(HostHeader, SaysWhatMadeNoSenseAndKeepsTheRest) {
  const AsfFile plain({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161)),
                       ExtendedContent({Descriptor(Utf16("n"), 3, Le(7, 4))})});
  const Bytes good = plain.Build();
  const auto with = [&plain](const Bytes& object) {
    AsfFile changed = plain;
    changed.header.insert(changed.header.begin(), object);
    return changed.Build();
  };
  const auto sized = [&good](unsigned long long size, Bytes file = {}) {
    return (file.empty() ? Bytes(good) : file).replace(16, 8, Le(size, 8));
  };
  AsfFile uncounted = plain, overcounted = plain, loose = plain;
  uncounted.headerCount = 2;
  overcounted.headerCount = 9;
  loose.header.push_back("loose bytes");
  const Bytes tag = Record(Utf16("m"), kMetaDword, Le(8, 4));
  Bytes nest = "end";
  for (int depth = 0; depth < 50; ++depth) nest = Extended(5, 0, {}, {}, nest);
  const struct {
    const char* what;
    Bytes file;
    const char* problems;
    std::size_t streams = 1;
    Lines tags = {"E 0  n = 7"};
  } cases[] = {
      {"nothing", good, ""},
      {"no header", "RIFF" + good, "not ASF 0", 0, {}},
      {"half a beginning", good.substr(0, 29), "not ASF 0", 0, {}},
      {"a size too small", sized(29), "header size 0"},
      {"a size too large", sized(~0ull), "data in header 270"},
      {"a size that ends in an object", sized(260), "object too long 230, record cut 256", 1, {}},
      {"no size and no data", sized(0, good.substr(0, 270)), "header size 0, header cut 270"},
      {"the file ends in an object", good.substr(0, 260), "header cut 260, record cut 256", 1, {}},
      {"the file ends between objects", good.substr(0, 230), "header cut 230", 1, {}},
      {"fewer counted", uncounted.Build(), "count too small 230"},
      {"more counted", overcounted.Build(), "count too large 0"},
      {"loose bytes", loose.Build(), "loose bytes 270, count too large 0"},
      {"an object without a size",
       with(Object(ID_PADDING_OBJECT, "", 23)),
       "object size 134",
       0,
       {}},
      {"an object that is too long",
       with(Object(ID_PADDING_OBJECT, "", ~0ull)),
       "object too long 134, count too large 0",
       0,
       {}},
      {"stream properties cut", with(Object(ID_STREAM_PROPERTIES_OBJECT, "short")),
       "record cut 134"},
      {"type-specific data cut", with(Stream(ID_AUDIO_MEDIA, 2, "?", 99)), "record cut 134", 2},
      {"file properties cut", with(Object(ID_FILE_PROPERTIES_OBJECT, "short")), "record cut 134"},
      {"an extension that misstates its size",
       with(HeaderExtension(Metadata({tag}), 5)),
       "extension size 134",
       1,
       {"M 0  m = 8", "E 0  n = 7"}},
      {"an extension's object without a size",
       with(HeaderExtension(Metadata({tag}) + Object(ID_PADDING_OBJECT, "", 0))),
       "object size 226",
       1,
       {"M 0  m = 8", "E 0  n = 7"}},
      {"an extension's object that is too long",
       with(HeaderExtension(Metadata({tag}, ID_METADATA_OBJECT, {}, 999))),
       "object too long 180",
       1,
       {"M 0  m = 8", "E 0  n = 7"}},
      {"more records counted",
       with(HeaderExtension(Metadata({tag}, ID_METADATA_OBJECT, 3))),
       "record cut 226",
       1,
       {"M 0  m = 8", "E 0  n = 7"}},
      {"a value that is too long",
       with(HeaderExtension(Metadata({tag, Record("", 3, "", {}, ~0u)}))),
       "record cut 226",
       1,
       {"M 0  m = 8", "E 0  n = 7"}},
      {"no metadata at all", with(HeaderExtension(Metadata({}))), ""},
      {"no room for a count", with(HeaderExtension(Object(ID_METADATA_OBJECT, ""))),
       "record cut 204"},
      {"nests", with(HeaderExtension(nest)), ""},
  };
  for (const auto& test : cases) {
    const qo_host::FileHeader header = Header(test.file);
    EXPECT_EQ(test.problems, Problems(header)) << test.what;
    EXPECT_EQ(test.streams, header.streams.size()) << test.what;
    EXPECT_EQ(test.tags, TagLines(header)) << test.what;
  }
}

// The companions come from other programs.
TEST(HostHeader, ReadsRealFilesAsOthersDo) {
  for (const auto& path : SamplePaths()) {
    SCOPED_TRACE(path);
    const qo_host::FileHeader header = Header(FileBytes(path));
    const auto companion = nlohmann::json::parse(FileBytes(path.string() + ".json"));
    const auto& layout = companion["layout"];
    EXPECT_EQ("", Problems(header));

    std::string sizes;
    for (const qo_host::HeaderObject& object : header.objects) {
      if (object.depth == 0) sizes += Join("", object.size);
    }
    std::string expected;
    for (const char c : layout["header"].get<std::string>()) {
      if (c == '(') expected += ' ';
      if (c >= '0' && c <= '9') expected += c;
    }
    EXPECT_EQ(expected, sizes);

    const qo_host::FileProperties& properties = header.properties.value();
    const auto& stated = layout["fileprops"];
    EXPECT_EQ(stated["size"], properties.fileSize);
    EXPECT_EQ(stated["play"], properties.playDuration);
    EXPECT_EQ(stated["preroll"], properties.prerollMs);
    EXPECT_EQ(stated["bitrate"], properties.maxBitrate);

    ASSERT_EQ(layout["streams"].size(), header.streams.size());
    for (std::size_t k = 0; k < header.streams.size(); ++k) {
      const qo_host::StreamHeader& stream = header.streams[k];
      const auto& facts = layout["streams"][k];
      EXPECT_EQ(facts["num"], stream.number);
      EXPECT_EQ(facts["type"], StreamKindName(stream.kind));
      if (stream.video) {
        EXPECT_EQ(facts["fourcc"], qo_host::FourCcText(stream.codecTag));
        EXPECT_EQ(facts["w"], stream.video->encodedWidth);
        EXPECT_EQ(facts["extra"], stream.codecData.size);
      } else {
        EXPECT_EQ(std::stoul(facts["tag"].get<std::string>(), nullptr, 16), stream.codecTag);
        EXPECT_EQ(facts["rate"], stream.audio.value().samplesPerSecond);
        EXPECT_EQ(facts["cb"], stream.codecData.size);
      }
    }
    for (const auto& [name, value] : companion["ffprobe"]["tags"].items()) {
      EXPECT_TRUE(std::any_of(header.tags.begin(), header.tags.end(),
                              [&v = value](const auto& tag) { return v == tag.text; }))
          << name;
    }
  }
}

// Whatever is cut off, what is in front of it is as it was.
TEST(HostHeader, ACutFileKeepsWhatIsWhole) {
  const Bytes file = RichFile().Build();
  const std::map<std::string, Lines> whole = Facts(Header(file));
  for (std::size_t size = 30; size < whole.size() + Header(file).bytes.size(); ++size) {
    SCOPED_TRACE(size);
    const qo_host::FileHeader header = Header(file.substr(0, size));
    std::map<std::string, Lines> facts = Facts(header);
    EXPECT_EQ(size >= header.statedSize, Problems(header).empty());
    Lines& streams = facts["streams"];
    // One that is hidden is only known to be so when the header's own streams are.
    const auto shadowed = std::find(streams.begin(), streams.end(), "1 audio 85 0 1 0 -1  ");
    if (shadowed != streams.end()) streams.erase(shadowed);
    if (!streams.empty() && size < header.statedSize) streams.pop_back();  // its data may be cut
    for (const auto& [kind, lines] : facts) {
      ASSERT_LE(lines.size(), whole.at(kind).size()) << kind;
      EXPECT_TRUE(std::equal(lines.begin(), lines.end(), whole.at(kind).begin())) << kind;
    }
  }
}

TEST(HostHeader, AnyBytesAreTolerated) {
  const Bytes good = RichFile().Build();
  std::mt19937 random(5);
  for (int round = 0; round < 5000; ++round) {
    Bytes bytes = good;
    for (int changes = 1 + round % 4; changes > 0; --changes) {
      bytes[30 + random() % (bytes.size() - 30)] =
          static_cast<char>(random() % 3 == 0 ? 0xFF : random());
    }
    const qo_host::FileHeader header = Header(bytes);
    EXPECT_LE(header.problems.size(), bytes.size() / sizeof(asf_object_header));
    for (const auto& [kind, lines] : Facts(header)) EXPECT_LE(lines.size(), bytes.size()) << kind;
  }
}

TEST(HostHeader, ReadsLittleMoreThanThereIs) {
  const Bytes image(3 << 20, 'i');
  const AsfFile large({HeaderExtension(
      Metadata({MetadataRecord(0, 0, "WM/Picture", kMetaBytes, PictureValue(image.c_str()))},
               ID_METADATA_LIBRARY_OBJECT))});
  const Bytes file = large.Build();
  FaultySource source(file);
  qo_host::FileHeader header;
  EXPECT_EQ(0, qo_host::ReadFileHeader(&source, &header));
  ASSERT_EQ(1u, header.tags.size());
  EXPECT_EQ(image.size(), header.PictureOf(header.tags[0]).value().bytes.size());
  EXPECT_EQ(header.statedSize, header.bytes.size());
  EXPECT_LE(source.CallCount(), 8u);

  Bytes lie = RichFile().Build();
  lie.replace(16, 8, Le(~0ull, 8));
  FaultySource lying(lie);
  EXPECT_EQ(0, qo_host::ReadFileHeader(&lying, &header));
  EXPECT_EQ(1u, lying.CallCount());

  for (unsigned long call = 1; call <= source.CallCount(); ++call) {
    FaultySource failing(file);
    failing.Plan(call, Fault::kFail);
    EXPECT_EQ(FaultySource::kFailure, qo_host::ReadFileHeader(&failing, &header)) << call;
    EXPECT_EQ("", Problems(header)) << call;
  }
}

TEST(HostHeader, KeepsNoMoreEntriesThanItMay) {
  Bytes languages;
  for (int object = 0; object < 3; ++object) {
    languages += Object(ID_LANGUAGE_LIST_OBJECT, Le(0xFFFF, 2) + Bytes(0xFFFF, '\0'));
  }
  const qo_host::FileHeader header = Header(AsfFile({languages}).Build());
  EXPECT_LT(header.languages.size(), qo_host::kMaxHeaderEntries);
  EXPECT_EQ(qo_host::HeaderProblem::kTooMany, header.problems.back().problem);
}

}  // namespace
