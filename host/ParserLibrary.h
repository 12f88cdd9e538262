// The parser's shared library, loaded at run time, and the parsers made by it.
#ifndef QO_HOST_PARSERLIBRARY_H
#define QO_HOST_PARSERLIBRARY_H

#include <memory>
#include <string>

#include "qo_parser_asf/IParser.h"

namespace host {

class ParserLibrary {
 public:
  // Loads the library at `path`. With an empty `path` it looks for
  // libqo_parser_asf.so in "../lib" beside the running program's folder, then in
  // that folder itself, then wherever the system's loader looks. Null when there
  // is none or it lacks the two factory functions; then `*error` (not null) says
  // so in words, with what was tried.
  static std::unique_ptr<ParserLibrary> Load(const std::string& path, std::string* error);

  // Unloads the library: no parser made by it may be left.
  ~ParserLibrary();
  ParserLibrary(const ParserLibrary&) = delete;
  ParserLibrary& operator=(const ParserLibrary&) = delete;

  // Destroys a parser by the library's own function. Calls no Close: that is the
  // business of whoever opened the parser.
  struct Destroyer {
    void (*destroy)(IParser*);
    void operator()(IParser* parser) const { destroy(parser); }
  };
  using Parser = std::unique_ptr<IParser, Destroyer>;

  // A new parser; null when memory runs out.
  Parser MakeParser() const;

 private:
  ParserLibrary() = default;

  void* handle_ = nullptr;
  IParser* (*create_)() = nullptr;
  void (*destroy_)(IParser*) = nullptr;
};

}  // namespace host

#endif  // QO_HOST_PARSERLIBRARY_H
