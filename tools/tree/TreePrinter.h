// How asftool tree prints what it is shown, object by object.
#ifndef QO_TOOLS_TREE_TREEPRINTER_H
#define QO_TOOLS_TREE_TREEPRINTER_H

#include <memory>
#include <string>

#include "qo_host/ObjectTree.h"

namespace tool {

class TreePrinter {
 public:
  virtual ~TreePrinter() = default;

  virtual void Begin(const std::string& path) = 0;
  // In file order.
  virtual void Object(const qo_host::ObjectNode& node) = 0;
  // Of the object printed last, laid out as `layout` says.
  virtual void Packet(const qo_host::Packet& packet, const qo_host::AsfLayout& layout) = 0;
  virtual void End() = 0;
};

// For people, and as JSON.
std::unique_ptr<TreePrinter> MakeTextPrinter();
std::unique_ptr<TreePrinter> MakeJsonPrinter();

}  // namespace tool

#endif  // QO_TOOLS_TREE_TREEPRINTER_H
