// asftool tree: every object of a file, its fields, and the packets with their payloads. Reads the
// file without the parser.
#include <cstdio>
#include <limits>
#include <optional>

#include "qo_host/FileHeader.h"
#include "qo_host/PacketWalk.h"
#include "qo_host/StatusText.h"
#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/tree/TreePrinter.h"

namespace tool {
namespace {

// Packets by number, both ends included.
struct PacketRange {
  unsigned long long first = 0;
  unsigned long long last = std::numeric_limits<unsigned long long>::max();
};

// "3:7", "3:", ":7", "3" or nothing, which is all. Nothing where the text is none of these.
std::optional<PacketRange> ParseRange(const std::string& text) {
  PacketRange range;
  const std::size_t colon = text.find(':');
  const auto read = [](const std::string& digits, unsigned long long* number) {
    if (digits.empty()) return true;
    if (digits.find_first_not_of("0123456789") != std::string::npos || digits.size() > 18)
      return false;
    *number = std::stoull(digits);
    return true;
  };
  if (!read(text.substr(0, colon), &range.first)) return std::nullopt;
  const std::string last = colon == std::string::npos ? text : text.substr(colon + 1);
  if (!read(last, &range.last) || range.last < range.first) return std::nullopt;
  return range;
}

struct Arguments {
  std::string file;
  std::string packets;  // a range
  bool json = false;
};

// Walks and prints one file.
class TreeCommand {
 public:
  TreeCommand(const std::string& path, std::optional<PacketRange> packets,
              std::unique_ptr<TreePrinter> printer)
      : path_(path), source_(OpenSource(path)), packets_(packets), printer_(std::move(printer)) {}

  int Run() {
    RefuseLongPipe(source_.get());
    printer_->Begin(path_);
    Check(qo_host::WalkObjects(source_.get(), [this](const qo_host::ObjectNode& node) {
      problems_ += node.problems.size();
      printer_->Object(node);
      if (packets_ && node.depth == 0 && node.name == "data") ShowPackets();
      return true;
    }));
    printer_->End();
    if (problems_ == 0) return kExitGood;
    const std::string damage = Count(problems_, "place") + (problems_ == 1 ? " is" : " are");
    std::fprintf(stderr, "asftool: %s\n", Printable(path_ + ": " + damage + " damaged").c_str());
    return kExitBadFile;
  }

 private:
  void ShowPackets() {
    qo_host::FileHeader header;
    CheckRead(qo_host::ReadFileHeader(source_.get(), &header));
    const qo_host::AsfLayout layout = qo_host::FindPackets(source_.get(), header);
    const auto show = [&](const qo_host::Packet& packet) {
      if (packet.number > packets_->last) return false;
      if (packet.fault != qo_host::PacketFault::kNone) ++problems_;
      printer_->Packet(packet, layout);
      return true;
    };
    Check(qo_host::WalkPackets(source_.get(), layout, show, packets_->first,
                               qo_host::PacketView::kStated));
  }

  void Check(const qo_host::WalkResult& result) const { CheckRead(result.status); }
  void CheckRead(int status) const {
    if (status >= 0) return;
    throw Failure(kExitCannotRun,
                  path_ + ": " + qo_host::StatusText(qo_host::Action::kRead, status));
  }

  const std::string path_;
  const std::unique_ptr<IDataSource> source_;
  const std::optional<PacketRange> packets_;
  const std::unique_ptr<TreePrinter> printer_;
  unsigned long long problems_ = 0;
};

}  // namespace

void AddTree(CLI::App& app, const Options&, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  Command command(app, "tree", "Show every object of a file with its fields, damaged or not");
  command.Text("FILE", &arguments->file, "The file").Required();
  CommandOption packets =
      command
          .Text("--packets", &arguments->packets,
                "Show the packets with their payloads: all, or those of these numbers")
          .MayLackValue()
          .Type("[FROM:TO]");
  packets.Check([](const std::string& text) {
    return ParseRange(text) ? std::string() : "must be FROM:TO, not " + text;
  });
  command.Flag("--json", &arguments->json, "Print JSON");
  command.OnUse([arguments, packets, exitCode] {
    std::optional<PacketRange> range;
    if (packets.IsGiven()) range = ParseRange(arguments->packets);
    *exitCode =
        TreeCommand(arguments->file, range, arguments->json ? MakeJsonPrinter() : MakeTextPrinter())
            .Run();
  });
}

}  // namespace tool
