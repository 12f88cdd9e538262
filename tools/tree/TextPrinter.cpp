// The tree as lines: where a thing lies, how long it is, what it is.
#include <algorithm>
#include <cstdio>

#include "tools/common/Output.h"
#include "tools/common/Words.h"
#include "tools/tree/TreePrinter.h"

namespace tool {
namespace {

constexpr std::size_t kIndent = 2;        // of what another thing holds
constexpr std::size_t kFieldColumn = 24;  // of a field's text, behind its indentation

void PrintRow(unsigned long long position, unsigned long long size, std::size_t depth,
              const std::string& text) {
  char columns[64];
  std::snprintf(columns, sizeof columns, "%12llu %12llu  ", position, size);
  Print(columns + std::string(kIndent * depth, ' ') + text + "\n");
}

// Without a place of its own.
void PrintPart(std::size_t depth, const std::string& text) {
  Print(std::string(27 + kIndent * depth, ' ') + text + "\n");
}

void PrintProblem(std::size_t depth, const std::string& problem) {
  PrintPart(depth, Styled("! " + problem, Style::kBad, stdout));
}

class TextPrinter final : public TreePrinter {
 public:
  void Begin(const std::string& path) override {
    Print(Bold(Printable(path), stdout) + "\n      offset         size\n");
  }

  void Object(const qo_host::ObjectNode& node) override {
    depth_ = node.depth;
    const std::string name = !node.isObject      ? "(no object)"
                             : node.name.empty() ? "unknown object " + GuidString(node.id)
                                                 : node.name;
    PrintRow(node.position, node.isObject ? node.size : node.present, depth_, Bold(name, stdout));
    for (const qo_host::ObjectField& field : node.fields) {
      std::string line = Printable(field.name);
      line.resize(std::max(line.size() + 1, kFieldColumn), ' ');
      PrintPart(depth_ + 2, line + Printable(field.text));
    }
    for (const std::string& problem : node.problems) PrintProblem(depth_ + 2, problem);
    if (node.isObject && node.present < node.size) {
      PrintProblem(depth_ + 2, Count(node.present, "byte") + " of it are there");
    }
  }

  void Packet(const qo_host::Packet& packet, const qo_host::AsfLayout& layout) override {
    const unsigned long long position = layout.PacketPosition(packet.number);
    PrintRow(position, layout.packetLength, depth_ + 1, PacketText(packet));
    for (const qo_host::Payload& payload : packet.payloads) {
      PrintRow(position + payload.position, payload.size, depth_ + 2, PayloadText(payload));
    }
    if (packet.fault != qo_host::PacketFault::kNone)
      PrintProblem(depth_ + 2, FaultText(packet.fault));
  }

  void End() override {}

 private:
  static std::string PacketText(const qo_host::Packet& packet) {
    return "packet " + std::to_string(packet.number) + ", sent at " +
           std::to_string(packet.sendTimeMs) + " ms, " + std::to_string(packet.durationMs) +
           " ms long, " + Count(packet.padding, "byte") + " of padding" +
           (packet.hasErrorCorrection ? "" : ", no error correction data");
  }
  static std::string PayloadText(const qo_host::Payload& payload) {
    return "stream " + std::to_string(payload.stream) + ", object " +
           std::to_string(payload.objectNumber) + " at " + std::to_string(payload.timeMs) +
           " ms, from byte " + std::to_string(payload.offset) + " of " +
           std::to_string(payload.objectSize) + (payload.keyFrame ? ", key frame" : "");
  }

  std::size_t depth_ = 0;  // of the object printed last
};

}  // namespace

std::unique_ptr<TreePrinter> MakeTextPrinter() { return std::make_unique<TextPrinter>(); }

}  // namespace tool
