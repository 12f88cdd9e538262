// A byte source of one's own: a file on a server that answers range requests, simulated
// here, behind the kit's read-ahead. The demultiplexer makes many small reads; the server
// sees few large ones.
#include <qo_host/ParserSession.h>
#include <qo_host/ReadAheadSource.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace {

// Stands in for an HTTP client: GET with "Range: bytes=FIRST-LAST".
class Server {
 public:
  explicit Server(const char* path) {
    std::ifstream file(path, std::ios::binary);
    content_.assign(std::istreambuf_iterator<char>(file), {});
  }
  // What HEAD says in Content-Length.
  unsigned long long ContentLength() const { return content_.size(); }
  // Bytes `first` to `last`, both included and both there.
  std::string Get(unsigned long long first, unsigned long long last) {
    ++requests_;
    return content_.substr(first, last - first + 1);
  }
  int requests() const { return requests_; }

 private:
  std::string content_;
  int requests_ = 0;
};

// Every operation of IDataSource over range requests. A failure is a negative number of
// one's own, which the parser passes on unchanged. Nothing here throws: a real client
// turns its exceptions into such a number.
class HttpSource final : public IDataSource {
 public:
  explicit HttpSource(Server* server) : server_(server) {}

  int Open() override { return position_ = 0, 0; }
  int Close() override { return 0; }  // may come more than once
  int GetSize(unsigned long long* size) override {
    *size = server_->ContentLength();
    return 0;
  }
  // Fewer bytes than asked for mean the end of the source and nothing else: a client that
  // gets less than a whole answer asks again, or fails.
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override {
    const unsigned long long length = server_->ContentLength();
    *size = offset < length ? std::min(*size, length - offset) : 0;
    if (*size != 0) {
      const std::string body = server_->Get(offset, offset + *size - 1);
      std::copy(body.begin(), body.end(), static_cast<char*>(buffer));
    }
    position_ = offset + *size;
    return 0;
  }
  int Read(void* buffer, unsigned long long* size) override {
    return ReadAt(position_, buffer, size);
  }
  // Beyond the end is legal. A relative move goes back by wrapping.
  int SeekTo(unsigned long long offset, int whence) override {
    position_ = whence == 0 ? offset : position_ + offset;
    return 0;
  }
  int GetPosition(unsigned long long* position) override {
    *position = position_;
    return 0;
  }

 private:
  Server* const server_;
  unsigned long long position_ = 0;
};

// A request costs a round trip: as large as what one likes to wait for. Real networks
// take the default of 256 KiB; this one shows something with small files.
constexpr std::size_t kRequestBytes = 16384;

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: http_source FILE\n", stderr), 2;
  Server server(argv[1]);
  auto source = std::make_unique<qo_host::ReadAheadSource>(std::make_unique<HttpSource>(&server),
                                                           kRequestBytes);
  qo_host::ParserSession session({createParser, destroyParser}, std::move(source));
  if (const int status = session.Open(); status != kParserOk) {
    return std::fprintf(stderr, "%s: status %d\n", argv[1], status), 1;
  }
  unsigned int units = 0;
  while (session.NextUnit()) ++units;
  std::printf("%u units, %d requests\n", units, server.requests());
}
