// FileWalk: owns the names that are still to come, folder by folder.
#include "tools/verify/FileWalk.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <system_error>

namespace tool {
namespace {

namespace fs = std::filesystem;

bool IsNamedAsf(const fs::path& path) {
  std::string ending = path.extension().string();
  for (char& c : ending) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return ending == ".asf" || ending == ".wma" || ending == ".wmv";
}

void SetFacts(FoundFile* file) {
  struct stat status {};
  if (stat(file->path.c_str(), &status) != 0) return;  // opening it will say why
  constexpr long long kNsPerSecond = 1000000000;
  file->bytes = static_cast<unsigned long long>(status.st_size);
  file->modifiedNs = status.st_mtim.tv_sec * kNsPerSecond + status.st_mtim.tv_nsec;
}

}  // namespace

FileWalk::FileWalk(const std::vector<std::string>& names, bool entersFolders)
    : entersFolders_(entersFolders), levels_{{"", {names.rbegin(), names.rend()}}} {}

bool FileWalk::Next(FoundFile* file) {
  while (!levels_.empty()) {
    Level& level = levels_.back();
    if (level.names.empty()) {
      levels_.pop_back();
      continue;
    }
    *file = {};
    file->path = level.prefix + level.names.back();
    level.names.pop_back();
    std::error_code ignored;  // what cannot be looked up fails when it is opened
    if (!fs::is_directory(file->path, ignored)) {
      SetFacts(file);
      return true;
    }
    if (!entersFolders_) {
      file->error = "is a folder: -r judges what is in it";
      return true;
    }
    Enter(std::string(file->path), file);
    if (!file->error.empty()) return true;
  }
  return false;
}

void FileWalk::Enter(const std::string& folder, FoundFile* unreadable) {
  Level level;
  level.prefix = folder.back() == '/' ? folder : folder + "/";
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;  // then it is neither
    if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
      level.names.push_back(entry->path().filename().string() + "/");
    } else if (entry->is_regular_file(ignored) && IsNamedAsf(entry->path())) {
      level.names.push_back(entry->path().filename().string());
    } else {
      ++passedOver_;
    }
  }
  if (error) unreadable->error = error.message();
  std::sort(level.names.begin(), level.names.end(), std::greater<>());
  levels_.push_back(std::move(level));
}

}  // namespace tool
