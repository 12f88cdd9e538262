// ParserLibrary: owns the handle of the loaded library.
#include "qo_host/ParserLibrary.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>
#include <vector>

namespace qo_host {
namespace {

// The build says it with the version of the interface that this was compiled for; a
// package for hosts that run has no file of the plain name. Android knows only that.
#ifndef QO_PARSER_SONAME
#define QO_PARSER_SONAME "libqo_parser_asf.so"
#endif
constexpr char kLibraryName[] = QO_PARSER_SONAME;

// Where to look when no path is given, the best first.
std::vector<std::string> DefaultCandidates() {
  std::vector<std::string> candidates;
  std::error_code failed;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
  if (!failed) {
    const std::filesystem::path folder = program.parent_path();
    for (const auto& path : {folder / ".." / "lib" / kLibraryName, folder / kLibraryName}) {
      if (std::filesystem::exists(path, failed)) candidates.push_back(path.string());
    }
  }
  candidates.emplace_back(kLibraryName);
  return candidates;
}

// The loader's own words about the last failure, which name the file.
std::string LoaderError() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown reason";
}

template <typename Function>
bool FindFunction(void* handle, const char* name, Function* function) {
  *function = reinterpret_cast<Function>(dlsym(handle, name));
  return *function != nullptr;
}

std::string FileOf(const ParserFactory& factory) {
  Dl_info found;
  if (dladdr(reinterpret_cast<void*>(factory.create), &found) == 0) return "";
  std::error_code failed;
  const std::filesystem::path file = std::filesystem::canonical(found.dli_fname, failed);
  return failed ? found.dli_fname : file.string();
}

}  // namespace

std::unique_ptr<ParserLibrary> ParserLibrary::Load(const std::string& path, std::string* error) {
  *error = "cannot load the parser library";
  for (const std::string& candidate :
       path.empty() ? DefaultCandidates() : std::vector<std::string>{path}) {
    std::unique_ptr<ParserLibrary> library(new ParserLibrary);
    library->handle_ = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library->handle_ != nullptr &&
        FindFunction(library->handle_, "createParser", &library->factory_.create) &&
        FindFunction(library->handle_, "destroyParser", &library->factory_.destroy)) {
      library->path_ = FileOf(library->factory_);
      return library;
    }
    *error += ": " + LoaderError();
  }
  return nullptr;
}

ParserLibrary::~ParserLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

}  // namespace qo_host
