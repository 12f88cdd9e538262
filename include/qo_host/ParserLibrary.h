// The parser's shared library, loaded at run time.
#ifndef QO_HOST_PARSERLIBRARY_H
#define QO_HOST_PARSERLIBRARY_H

#include <memory>
#include <string>

#include "qo_host/ParserFactory.h"

namespace qo_host {

// A loaded library, until it is destroyed.
class ParserLibrary {
 public:
  // Loads the library at `path`. With an empty `path` it looks for
  // libqo_parser_asf.so, on a desktop with the major version behind it that the kit
  // was built with, in "../lib" beside the running program's folder, then in that
  // folder itself, then wherever the system's loader looks. Null when there is none
  // or it lacks the two factory functions; then `*error` (not null) says so in
  // words, with what was tried.
  static std::unique_ptr<ParserLibrary> Load(const std::string& path, std::string* error);

  // Unloads the library: no parser made by it may be left.
  ~ParserLibrary();
  ParserLibrary(const ParserLibrary&) = delete;
  ParserLibrary& operator=(const ParserLibrary&) = delete;

  // The file that was loaded, links followed; on a desktop its name ends in its version.
  // Empty where the system doesn't tell.
  const std::string& path() const { return path_; }

  // Makes parsers for as long as the library is loaded.
  ParserFactory factory() const { return factory_; }

 private:
  ParserLibrary() = default;

  void* handle_ = nullptr;
  ParserFactory factory_ = {};
  std::string path_;
};

}  // namespace qo_host

#endif  // QO_HOST_PARSERLIBRARY_H
