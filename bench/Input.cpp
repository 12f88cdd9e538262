// Inputs own what they measure: the bytes, or a mapping of the file beside the
// path that sources are opened by.
#include "bench/Input.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "qo_host/FileSource.h"
#include "qo_host/MemorySource.h"

namespace bench {
namespace {

class MemoryInput final : public Input {
 public:
  explicit MemoryInput(std::string bytes) : bytes_(std::move(bytes)) {}
  std::unique_ptr<IDataSource> MakeSource() const override {
    return std::make_unique<qo_host::MemorySource>(bytes_.data(), bytes_.size());
  }
  std::string_view bytes() const override { return bytes_; }

 private:
  std::string bytes_;
};

class FileInput final : public Input {
 public:
  FileInput(std::string path, void* mapping, std::size_t size)
      : path_(std::move(path)), mapping_(mapping), size_(size) {}
  ~FileInput() override { munmap(mapping_, size_); }
  FileInput(const FileInput&) = delete;
  FileInput& operator=(const FileInput&) = delete;

  std::unique_ptr<IDataSource> MakeSource() const override {
    std::string error;
    return qo_host::FileSource::OpenPath(path_, &error);
  }
  std::string_view bytes() const override { return {static_cast<const char*>(mapping_), size_}; }

 private:
  std::string path_;
  void* mapping_;
  std::size_t size_;
};

}  // namespace

std::unique_ptr<Input> MakeMemoryInput(std::string bytes) {
  return std::make_unique<MemoryInput>(std::move(bytes));
}

std::unique_ptr<Input> OpenFileInput(const std::string& path, std::string* error) {
  if (qo_host::FileSource::OpenPath(path, error) == nullptr) return nullptr;
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  void* mapping = MAP_FAILED;
  if (descriptor >= 0 && fstat(descriptor, &status) == 0) {
    mapping = mmap(nullptr, static_cast<std::size_t>(status.st_size), PROT_READ, MAP_SHARED,
                   descriptor, 0);
  }
  *error = "cannot map " + path + ": " + std::generic_category().message(errno);
  if (descriptor >= 0) close(descriptor);
  if (mapping == MAP_FAILED) return nullptr;
  return std::make_unique<FileInput>(path, mapping, static_cast<std::size_t>(status.st_size));
}

}  // namespace bench
