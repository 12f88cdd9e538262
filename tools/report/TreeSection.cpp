// The objects of the file with their fields, folded.
#include <algorithm>

#include "qo_host/ObjectTree.h"
#include "tools/report/Html.h"
#include "tools/report/Page.h"
#include "tools/report/Sections.h"

namespace tool {
namespace {

// Bounds of what a file may bring.
constexpr std::size_t kFieldsShown = 64;          // of one object
constexpr std::size_t kLargestTree = 256u << 10;  // bytes of markup, but for the last object

std::string Summary(const qo_host::ObjectNode& node) {
  std::string name = node.name;
  if (name.empty()) name = node.isObject ? "unknown object" : "no object";
  std::string text = Escaped(name);
  if (!node.problems.empty()) text += " " + Element("b", "damaged", "class=\"problem\"");
  return text + " " +
         Element("span", "at " + Grouped(node.position) + ", " + Grouped(node.size) + " bytes",
                 "class=\"dim\"");
}

std::string Body(const qo_host::ObjectNode& node) {
  std::string body;
  for (const std::string& problem : node.problems) {
    body += Element("p", FileText(problem), "class=\"problem\"");
  }
  Rows rows;
  for (std::size_t i = 0; i < std::min(node.fields.size(), kFieldsShown); ++i) {
    rows.push_back({FileText(node.fields[i].name), FileText(node.fields[i].text)});
  }
  if (!rows.empty()) body += Table({"Field", "Value"}, rows);
  if (node.fields.size() > rows.size()) {
    body +=
        Element("p", "and " + Grouped(node.fields.size() - rows.size()) + " more", "class=\"dim\"");
  }
  return body;
}

// Nests each object in the one that holds it.
class TreeText {
 public:
  // False: the tree is full.
  bool Add(const qo_host::ObjectNode& node) {
    Close(node.depth);
    if (text_.size() > kLargestTree) {
      isFull_ = true;
      return false;
    }
    text_ += "<details><summary>" + Summary(node) + "</summary>" + Body(node);
    ++open_;
    return true;
  }

  std::string Take() {
    Close(0);
    if (isFull_) text_ += Element("p", "asftool tree shows the rest.", "class=\"dim\"");
    return std::move(text_);
  }

 private:
  // Down to `depth` open ones.
  void Close(std::size_t depth) {
    for (; open_ > depth; --open_) text_ += "</details>\n";
  }

  std::string text_;
  std::size_t open_ = 0;
  bool isFull_ = false;
};

}  // namespace

std::string TreeSection(const Gathered& gathered) {
  TreeText tree;
  const auto walk = qo_host::WalkObjects(
      gathered.input->file(), [&tree](const qo_host::ObjectNode& node) { return tree.Add(node); });
  if (walk.end == qo_host::WalkEnd::kSourceFailed) gathered.input->CheckRead(walk.status);
  return Section("Objects of the file", tree.Take());
}

}  // namespace tool
