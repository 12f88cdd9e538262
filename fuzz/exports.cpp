// The exported members and free functions, most of which no host reaches through
// the virtual table, in any order on one parser. Input: the script's length, the
// script, a debug level, the file's parameters, its packets. What the operations
// are handed lies in blocks of their own, so that the address sanitizer sees
// every byte too many.
#include <algorithm>
#include <memory>

#include "asf/ASFParser.h"
#include "fuzz/Files.h"
#include "fuzz/Target.h"
#include "testing/Check.h"
#include "testing/CheckingHost.h"
#include "testing/PlatformStandIn.h"

namespace {

// Bytes of the script in a block of exactly their length, `least` at least.
struct Block {
  explicit Block(std::string_view from, std::size_t least = 0)
      : size(std::max(from.size(), least)), bytes(new unsigned char[size]()) {
    if (!from.empty()) std::memcpy(bytes.get(), from.data(), from.size());
  }
  std::size_t size;
  std::unique_ptr<unsigned char[]> bytes;
};

class Exports {
 public:
  Exports(ASFParser* parser, MeteredSource* source) : parser_(*parser), source_(*source) {}

  void Step(Input* script) {
    static constexpr void (Exports::*kSteps[])(Input*) = {
        &Exports::Demux,   &Exports::Queues,  &Exports::Split,  &Exports::KeyFrames,
        &Exports::Vc1,     &Exports::Leaves,  &Exports::Find,   &Exports::Select,
        &Exports::Headers, &Exports::Deliver, &Exports::Deliver};
    source_.BeginOperation();
    (this->*kSteps[script->Byte() % std::size(kSteps)])(script);
  }

 private:
  static Block TakeBlock(Input* script, std::size_t least = 0) {
    const std::size_t length = script->Byte();
    return Block(script->TakeBytes(length), least);
  }

  void Demux(Input* script) {
    payload_parsing_info info;
    unsigned int length;
    switch (script->Byte() % 3) {
      case 0:
        parser_.ParsePayloadParsingInfo(&info, &length);
        break;
      case 1:
        parser_.ParseDataPacket(script->Byte());
        break;
      default:
        parser_.ParseDataPacket(script->Byte(), script->Byte() % 4);
    }
  }

  void Queues(Input* script) {
    const auto stream = static_cast<unsigned char>(script->Byte() % 4);
    const auto mark = script->Byte();
    Block block = TakeBlock(script);
    if ((mark & 1) != 0 || parser_.IsEmptyMediaData(stream)) {
      if (parser_.PushParsedMediaData(stream, mark, block.size, block.bytes.get(), mark & 0x80) ==
          0) {
        static_cast<void>(block.bytes.release());
      }
    } else {
      parser_.AttachParsedMediaData(stream, mark, block.size, block.bytes.get());
    }
    media_data own;
    own.qData.emplace_back();
    flushMediaData(&own);
    CHECK(own.qData.empty());
  }

  void Split(Input* script) {
    audio_specific_data format{};
    format.formatTag = script->Take<std::uint16_t>();
    format.averageBytesPerSecond = script->Byte();
    format.blockAlign = script->Byte();
    const Block block = TakeBlock(script);
    const auto length = static_cast<unsigned int>(block.size);
    CHECK(parser_.MakeAudFrameInfoTable(block.bytes.get(), length, format) == 1);
    const int avc = parser_.CheckAVCStartCode(block.bytes.get(), length);
    CHECK(avc == 0 || avc == 1 || avc == kParserMalformed);
    CHECK(parser_.CheckMPEG12StartCode(block.bytes.get(), length, format.formatTag) == 1);
  }

  void KeyFrames(Input* script) {
    const auto fourcc = script->Take<std::uint32_t>();
    const Block block = TakeBlock(script);
    const auto length = static_cast<unsigned int>(block.size);
    CHECK(parser_.CheckIFrameStartCode(block.bytes.get(), length, fourcc) <= 1);
    CHECK(parser_.CheckIframe_mpeg(block.bytes.get(), length) <= 1);
    const Block head({reinterpret_cast<char*>(block.bytes.get()), std::min<std::size_t>(length, 8)},
                     8);
    CHECK(parser_.CheckIframe_h263(head.bytes.get()) <= 1);
    CHECK(parser_.CheckIframe_vc1_adv(head.bytes.get()) <= 1);
    CHECK(parser_.CheckIframe_mjpg(head.bytes.get()) <= 1);
    CHECK(parser_.CheckIframe_vc1_simple_and_main(head.bytes.get()) <= 1);
  }

  void Vc1(Input* script) {
    const Block block = TakeBlock(script);
    unsigned long length = block.size;
    const auto isPlace = [&](int result) {
      return result == kParserInternal ||
             (result >= 0 && static_cast<unsigned long>(result) < length);
    };
    CHECK(isPlace(parser_.CheckFrameHeader(block.bytes.get(), length)));
    CHECK(isPlace(parser_.CheckVideoSequenceHeader(2, block.bytes.get(), length)));
    const int found = parser_.CheckSeqHdr_vc1_adv(block.bytes.get(), &length);
    CHECK(found == 1 || found == kParserMalformed);
    CHECK(parser_.CheckSeqHdr_vc1_simple_and_main(block.bytes.get(), &length) == 1);
  }

  void Leaves(Input* script) {
    Block block = TakeBlock(script);
    // One unit more for each that the conversion passes over.
    const std::size_t units = block.size / 4;
    const Block utf16({reinterpret_cast<char*>(block.bytes.get()), block.size}, 1);
    const Block utf8({}, 3 * units);
    unicodeToUtf_8(utf8.bytes.get(), reinterpret_cast<unsigned short*>(utf16.bytes.get()),
                   static_cast<int>(units));
    unsigned long length = block.size;
    const int status = detectMp3StartCode(block.bytes.get(), &length);
    CHECK(status == kParserOk ? length >= 3 && length <= block.size : length == 0);
    coded_type field;
    CHECK(setCodedTypeData(&source_, script->Byte(), &field) <= 1);
    replicated_data replicated;
    CHECK(parseReplicatedData(Block(script->TakeBytes(8), 8).bytes.get(), &replicated) == 0);
    CHECK(findIdByGUID(script->Take<guid>()) < kAsfObjectIdCount);
    TrackInfo info{};
    AsfTrackExt ext{};
    auto audio = script->Take<audio_specific_data>();
    auto video = script->Take<video_specific_data>();
    setTrackInfo(&info, &audio, &ext);
    CHECK(ext.valid == 0);
    setTrackInfo(&info, &video, &ext);
    CHECK(ext.valid == 1);
  }

  void Find(Input* script) {
    const unsigned int kind = script->Byte() % 4;
    parser_.GetPacketTime(script->Byte(), static_cast<int>(kind));
    const long long packet = parser_.GetStartPacketNumEx(
        script->Take<std::uint16_t>(), static_cast<int>(kind), 0, 0, 0, script->Byte() % 4);
    CHECK(packet >= INT_MIN);
    CHECK(parser_.GetStartPacketNum(1, 2) == 0);
  }

  void Select(Input* script) {
    const unsigned int which = script->Byte();
    const int index = static_cast<int>(which & 1);
    CHECK(((which & 2) != 0 ? parser_.SelectVideoTrack(index) : parser_.SelectAudioTrack(index)) ==
          0);
    for (unsigned int track = 0; track < parser_.GetTrackCount(); ++track) {
      parser_.GetTrackInfo(track);
    }
  }

  void Headers(Input* script) {
    meta_descriptor tag{};
    switch (script->Byte() % 8) {
      case 0:
        tag.key = script->Byte();
        parser_.SetMetaData(&tag);
        break;
      case 1:
        parser_.SetASFMetaData();
        break;
      case 2:
        parser_.ParseHeaderExtensionObjects();
        break;
      case 3:
        parser_.SetDataPacketLen();
        break;
      case 4:
        parser_.PreparseDataObjects();
        break;
      case 5:
        parser_.ParseOtherObjects(script->Take<std::uint64_t>(), script->Byte());
        break;
      case 6:
        parser_.IsEAC3();
        break;
      default:
        parser_.ParseHeaderObjects();
    }
  }

  void Deliver(Input* script) {
    unsigned char* const buffer = UnitBuffer();
    unsigned long size = 0, timeMs = 0;
    const unsigned int how = script->Byte();
    const int status = (how & 1) != 0 ? parser_.GetAudioData(buffer, &size, &timeMs, 0)
                       : (how & 2) != 0
                           ? parser_.GetVideoData(buffer, &size, &timeMs, 0)
                           : parser_.GetVideoData(buffer, &size, &timeMs, 0, (how & 4) != 0);
    CHECK(status == kParserOk || status == kParserEndOfStream || status == kParserInternal);
    CHECK(size <= kMaxAccessUnitBytes && timeMs <= 0xFFFFFFFF);
  }

  ASFParser& parser_;
  MeteredSource& source_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::size_t length = input.Byte();
  Input script(input.TakeBytes(length));
  SetLevelProperty(std::to_string(input.Byte() % 8).c_str());
  constexpr int kLayouts = 3;
  const Bytes file = fuzz::MakeFile(&input, kLayouts);
  FaultySource source(file);
  MeteredSource metered(&source);
  CHECK(UnitBuffer() != nullptr);
  const LeakCheck leaks;
  ASFParser parser;
  if (parser.Open(&metered) == kParserOk) {
    Exports exports(&parser, &metered);
    while (!script.Empty()) exports.Step(&script);
  }
  CHECK(parser.Close() == kParserOk);
  return 0;
}
