// A byte source over a file, as small as one can be: all that the parser asks of
// a host. Positions are those of the C library's stream.
#ifndef QO_EXAMPLES_STDIOSOURCE_H
#define QO_EXAMPLES_STDIOSOURCE_H

#include <qo_parser_asf/IDataSource.h>

#include <cstdio>

class StdioSource final : public IDataSource {
 public:
  explicit StdioSource(const char* path) : file_(std::fopen(path, "rb")) {}
  ~StdioSource() override { Close(); }

  int Open() override { return file_ ? 0 : -1; }
  int Close() override {
    if (file_) std::fclose(file_);
    file_ = nullptr;
    return 0;
  }
  int GetSize(unsigned long long* size) override {
    const long here = std::ftell(file_);
    std::fseek(file_, 0, SEEK_END);
    *size = static_cast<unsigned long long>(std::ftell(file_));
    return std::fseek(file_, here, SEEK_SET);
  }
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override {
    const int status = SeekTo(offset, 0);
    return status < 0 ? status : Read(buffer, size);
  }
  int Read(void* buffer, unsigned long long* size) override {
    *size = std::fread(buffer, 1, *size, file_);
    return std::ferror(file_) ? -1 : 0;
  }
  int SeekTo(unsigned long long offset, int whence) override {
    return std::fseek(file_, static_cast<long>(offset), whence == 0 ? SEEK_SET : SEEK_CUR);
  }
  int GetPosition(unsigned long long* position) override {
    *position = static_cast<unsigned long long>(std::ftell(file_));
    return 0;
  }

 private:
  std::FILE* file_;  // null once closed, or where it could not be opened
};

#endif  // QO_EXAMPLES_STDIOSOURCE_H
