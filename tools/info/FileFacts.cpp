// Gathers what a header says of the file. No state.
#include "tools/info/FileFacts.h"

#include <algorithm>

#include "qo_host/ObjectTree.h"
#include "tools/common/Output.h"

namespace tool {
namespace {

using qo_host::Encryption;
using qo_host::EncryptionKind;
using qo_host::FileHeader;

// The tags that name programs, in the order in which they are told.
std::string WriterOf(const FileHeader& header) {
  static constexpr const char* kNames[] = {"WM/ToolName", "WM/ToolVersion", "WM/EncodedBy",
                                           "WM/EncodingSettings", "WMFSDKVersion"};
  std::string writer;
  for (const char* name : kNames) {
    const auto tag = std::find_if(header.tags.begin(), header.tags.end(),
                                  [name](const auto& other) { return other.name == name; });
    if (tag == header.tags.end() || tag->text.empty()) continue;
    writer += (writer.empty() ? "" : ", ") + tag->text;
  }
  return writer;
}

std::string EncryptionText(const Encryption& encryption) {
  std::string text;
  const auto add = [&text](const char* name, const std::string& value) {
    if (!value.empty()) text += std::string(", ") + name + value;
  };
  switch (encryption.kind) {
    case EncryptionKind::kContent:
      text = "content encryption";
      add("", encryption.scheme);
      add("key ", encryption.keyId);
      add("licence ", encryption.licenseUrl);
      break;
    case EncryptionKind::kExtended:
      text = "extended content encryption";
      add("rights ", encryption.text);
      break;
    case EncryptionKind::kAdvanced:
      text = "advanced content encryption";
      add("system ", encryption.scheme);
      for (const unsigned char stream : encryption.streams) {
        text += ", stream " + std::to_string(stream);
      }
      break;
    case EncryptionKind::kSignature:
      text = "digital signature, which encrypts nothing, " + Count(encryption.data.size, "byte");
      break;
  }
  return text;
}

std::vector<std::string> EncryptionOf(const FileHeader& header) {
  std::vector<std::string> lines;
  for (const Encryption& encryption : header.encryptions) {
    lines.push_back(EncryptionText(encryption));
  }
  for (const qo_host::StreamHeader& stream : header.streams) {
    if (stream.encrypted) {
      lines.push_back("stream " + std::to_string(stream.number) + " is flagged as encrypted");
    }
  }
  return lines;
}

void AddTimedTexts(const FileHeader& header, unsigned long long prerollMs, FileFacts* facts) {
  const auto withoutPreroll = [prerollMs](unsigned long long ms) {
    return ms - std::min(ms, prerollMs);
  };
  for (const qo_host::Marker& marker : header.markers) {
    facts->markers.push_back({withoutPreroll(marker.time / 10000), "", marker.description});
  }
  for (const qo_host::ScriptCommand& command : header.commands) {
    const bool isNamed = command.type < header.commandTypes.size();
    facts->commands.push_back({withoutPreroll(command.timeMs),
                               isNamed ? header.commandTypes[command.type] : "", command.text});
  }
}

}  // namespace

FileFacts GatherFile(Input* input) {
  const FileHeader& header = input->header();
  FileFacts facts;
  facts.size = input->layout().fileSize;
  const unsigned long long durationMs = input->session().durationMs();
  constexpr unsigned long long kMostBytes = ~0ull / 8000;
  if (facts.size && durationMs != 0 && *facts.size < kMostBytes) {
    facts.bitsPerSecond = *facts.size * 8000 / durationMs;
  }
  facts.writer = WriterOf(header);
  facts.encryption = EncryptionOf(header);
  if (const auto& properties = header.properties) {
    constexpr unsigned int kBroadcast = 1, kSeekable = 2;
    if (properties->creationDate != 0) facts.created = qo_host::DateText(properties->creationDate);
    facts.isBroadcast = (properties->flags & kBroadcast) != 0;
    facts.isSeekable = (properties->flags & kSeekable) != 0;
  }
  AddTimedTexts(header, header.properties ? header.properties->prerollMs : 0, &facts);
  return facts;
}

}  // namespace tool
