// The tree as JSON, objects within each other, printed as they come.
#include "tools/common/Json.h"
#include "tools/common/Output.h"
#include "tools/common/Words.h"
#include "tools/tree/TreePrinter.h"

namespace tool {
namespace {

Json FieldJson(const qo_host::ObjectField& field) {
  Json json = {{"name", field.name}, {"text", field.text}};
  if (field.number) json["number"] = *field.number;
  return json;
}

Json ObjectJson(const qo_host::ObjectNode& node) {
  Json json;
  json["name"] = node.name.empty() ? Json() : Json(node.name);
  json["guid"] = node.isObject ? Json(GuidString(node.id)) : Json();
  json["position"] = node.position;
  json["size"] = node.isObject ? Json(node.size) : Json();
  json["present"] = node.present;
  json["fields"] = Json::array();
  for (const qo_host::ObjectField& field : node.fields) json["fields"].push_back(FieldJson(field));
  json["problems"] = node.problems;
  return json;
}

Json PacketJson(const qo_host::Packet& packet, unsigned long long position) {
  Json json = {{"number", packet.number},
               {"position", position},
               {"stated_size", packet.statedLength},
               {"padding", packet.padding},
               {"send_time_ms", packet.sendTimeMs},
               {"duration_ms", packet.durationMs}};
  json["error_correction"] = packet.hasErrorCorrection;
  json["fault"] = nullptr;
  if (packet.fault != qo_host::PacketFault::kNone) json["fault"] = FaultText(packet.fault);
  json["payloads"] = Json::array();
  for (const qo_host::Payload& payload : packet.payloads) {
    json["payloads"].push_back({{"stream", payload.stream},
                                {"object", payload.objectNumber},
                                {"time_ms", payload.timeMs},
                                {"offset", payload.offset},
                                {"object_size", payload.objectSize},
                                {"position", position + payload.position},
                                {"size", payload.size},
                                {"present", payload.present},
                                {"key_frame", payload.keyFrame}});
  }
  return json;
}

// An object stays open behind its own values until one follows that it doesn't hold.
class JsonPrinter final : public TreePrinter {
 public:
  void Begin(const std::string& path) override { PrintOpen(Document(path), "objects"); }

  void Object(const qo_host::ObjectNode& node) override {
    CloseTo(node.depth);
    Print(isFirst_ ? "\n" : ",\n");
    isFirst_ = true;
    arePackets_ = false;
    PrintOpen(ObjectJson(node), "objects");
    ++open_;
  }

  // In front of the objects within, of which a data object has none.
  void Packet(const qo_host::Packet& packet, const qo_host::AsfLayout& layout) override {
    if (!arePackets_) Print("], \"packets\": [");
    Print((arePackets_ ? ",\n" : "\n") +
          JsonText(PacketJson(packet, layout.PacketPosition(packet.number)), -1));
    arePackets_ = true;
  }

  void End() override {
    CloseTo(0);
    Print("\n]}\n");
  }

 private:
  void CloseTo(std::size_t depth) {
    for (; open_ > depth; --open_) {
      Print("]}");
      isFirst_ = false;
    }
  }
  // A JSON object but for its end: a list is to follow.
  static void PrintOpen(const Json& json, const std::string& list) {
    std::string text = JsonText(json, -1);
    text.pop_back();
    Print(text + ",\"" + list + "\":[");
  }

  std::size_t open_ = 0;  // objects
  bool isFirst_ = true;   // nothing stands in the innermost list yet
  bool arePackets_ = false;
};

}  // namespace

std::unique_ptr<TreePrinter> MakeJsonPrinter() { return std::make_unique<JsonPrinter>(); }

}  // namespace tool
