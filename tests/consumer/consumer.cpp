// Opens the file named and prints how many tracks it has. Asks for one track
// more than there are, which the parser answers with a line in the log.
#include <qo_parser_asf/IParser.h>

#include <cstdio>

namespace {

class StdioSource : public IDataSource {
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
    return 0;
  }
  int SeekTo(unsigned long long offset, int whence) override {
    return std::fseek(file_, static_cast<long>(offset), whence == 0 ? SEEK_SET : SEEK_CUR);
  }
  int GetPosition(unsigned long long* position) override {
    *position = static_cast<unsigned long long>(std::ftell(file_));
    return 0;
  }

 private:
  std::FILE* file_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  StdioSource source(argv[1]);
  if (source.Open() < 0) return 2;
  IParser* parser = createParser();
  const int status = parser->Open(&source);
  const unsigned int tracks = parser->GetTrackCount();
  std::printf("status %d, %u tracks\n", status, tracks);
  const bool noMore = parser->GetTrackInfo(tracks) == nullptr;
  parser->Close();
  destroyParser(parser);
  return status == 0 && noMore ? 0 : 1;
}
