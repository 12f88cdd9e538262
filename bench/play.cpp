// Plays files out through the kit and throws their units away: what a player pays, who
// judges nothing.
//
//   qo_play [--as-is] FILE...
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "qo_host/FileSource.h"
#include "qo_host/ParserLibrary.h"
#include "qo_host/ParserSession.h"
#include "qo_host/StatusText.h"

namespace {

bool Play(const qo_host::ParserLibrary& library, const char* path,
          const qo_host::OpenOptions& options) {
  std::string error;
  auto source = qo_host::FileSource::OpenPath(path, &error);
  if (source != nullptr) {
    qo_host::ParserSession session(library.factory(), std::move(source));
    const int status = session.Open(options);
    unsigned long long units = 0, bytes = 0;
    while (const qo_host::AccessUnit* unit = session.NextUnit()) {
      ++units;
      bytes += unit->size;
    }
    std::printf("%s: %llu units, %llu bytes\n", path, units, bytes);
    if (status == kParserOk) return true;
    error = std::string(path) + ": " + qo_host::StatusText(qo_host::Action::kOpen, status);
  }
  std::fprintf(stderr, "qo_play: %s\n", error.c_str());
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  qo_host::OpenOptions options;
  options.asIs = argc > 1 && std::string(argv[1]) == "--as-is";
  setenv("QOCP_DEBUG_LEVEL", "0", 0);  // the parser logs errors of units that are good
  std::string error;
  const auto library = qo_host::ParserLibrary::Load("", &error);
  if (library == nullptr) return std::fprintf(stderr, "qo_play: %s\n", error.c_str()), 2;
  bool played = true;
  for (int k = options.asIs ? 2 : 1; k < argc; ++k) played &= Play(*library, argv[k], options);
  return played ? 0 : 1;
}
