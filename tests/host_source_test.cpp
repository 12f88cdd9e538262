// Byte sources of the host library: whatever stands between the parser and the
// bytes, every call has the result and leaves the position of the plain source.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "qo_host/FileSource.h"
#include "qo_host/MemorySource.h"
#include "qo_host/PipeSource.h"
#include "qo_host/ReadAheadSource.h"
#include "qo_host/TraceSource.h"

namespace {

namespace fs = std::filesystem;

std::string RandomBytes(std::size_t size) {
  std::mt19937 random(7);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

struct TemporaryFile {
  explicit TemporaryFile(const std::string& bytes)
      : path(fs::path(testing::TempDir()) / ("host_source." + std::to_string(getpid()))) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  ~TemporaryFile() { fs::remove(path); }
  std::unique_ptr<qo_host::FileSource> Open() const {
    std::string error;
    auto source = qo_host::FileSource::OpenPath(path.string(), &error);
    EXPECT_TRUE(source) << error;
    return source;
  }
  const fs::path path;
};

// Memory, of which any read that touches some bytes fails. Keeps the reads, and where to.
class BadRegionSource : public qo_host::MemorySource {
 public:
  explicit BadRegionSource(const std::string& bytes) : MemorySource(bytes.data(), bytes.size()) {}

  std::vector<std::pair<unsigned long long, unsigned long long>> reads;  // offset, size
  std::set<const void*> buffers;
  unsigned long long badBegin = 100000, badEnd = 100700;

  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override {
    reads.emplace_back(offset, *size);
    buffers.insert(buffer);
    const bool before = *size <= badBegin && offset <= badBegin - *size;
    if (*size != 0 && !before && offset < badEnd) return *size = 0, -5;
    return MemorySource::ReadAt(offset, buffer, size);
  }
};

// The same random calls to both, most of them near the place of the last one.
// The number of calls that failed.
int ExpectSameAnswers(IDataSource* plain, IDataSource* other, unsigned long long size) {
  static constexpr unsigned long long kSizes[] = {0, 1, 1, 2, 3, 4, 6, 8, 3165, 70000, 300000};
  static constexpr unsigned long long kFar[] = {1ull << 32, ~0ull >> 1, ~0ull >> 1, ~0ull - 3};
  std::mt19937_64 random(11);
  std::vector<unsigned char> a(300000), b(300000);
  unsigned long long near = 0, p, q;
  int failures = 0, shortReads = 0;
  for (int i = 0; i < 20000; ++i) {
    if (random() % 40 == 0) near = random() % size;
    if (random() % 100 == 0) near = size - random() % 20;
    const unsigned long long offset = random() % 500 == 0 ? kFar[random() % 4] : near;
    const unsigned long long wanted = kSizes[random() % 1000 == 0 ? 10 : random() % 10];
    p = q = wanted;
    int x = 0, y = 0;
    const unsigned kind = random() % 8;
    if (kind == 0) {
      x = plain->SeekTo(offset, 0), y = other->SeekTo(offset, 0);
    } else if (kind == 1) {
      const unsigned long long step = random() % 2 == 0 ? wanted : 0 - wanted;
      x = plain->SeekTo(step, 1), y = other->SeekTo(step, 1);
    } else if (kind == 2) {
      x = plain->ReadAt(offset, a.data(), &p), y = other->ReadAt(offset, b.data(), &q);
    } else {
      x = plain->Read(a.data(), &p), y = other->Read(b.data(), &q);
    }
    EXPECT_EQ(x, y) << "call " << i;
    EXPECT_EQ(p, q) << "call " << i;
    EXPECT_TRUE(kind < 2 || std::equal(a.begin(), a.begin() + static_cast<long>(p), b.begin()));
    failures += x < 0;
    shortReads += x >= 0 && p < wanted;
    EXPECT_EQ(plain->GetPosition(&p), other->GetPosition(&q));
    EXPECT_EQ(p, q) << "call " << i;
    if (kind == 2) near = p;
    if (testing::Test::HasFailure()) break;
  }
  EXPECT_GT(shortReads, 100);
  EXPECT_EQ(-EINVAL, other->SeekTo(0, 2));
  return failures;
}

TEST(HostSource, FileAnswersAsMemoryDoes) {
  const std::string bytes = RandomBytes(1000003);
  const TemporaryFile file(bytes);
  qo_host::MemorySource memory(bytes.data(), bytes.size());
  EXPECT_EQ(0, ExpectSameAnswers(&memory, file.Open().get(), bytes.size()));
}

TEST(HostSource, ReadAheadAnswersAsItsSourceDoesFailuresIncluded) {
  const std::string bytes = RandomBytes(200001);
  for (const std::size_t window : {1u << 9, 1u << 14, 1u << 18}) {
    BadRegionSource plain(bytes);
    qo_host::ReadAheadSource ahead(std::make_unique<BadRegionSource>(bytes), window);
    EXPECT_LT(0, ExpectSameAnswers(&plain, &ahead, bytes.size()));
  }
}

// Two cursors, one some way behind the other, as audio and video read.
TEST(HostSource, ReadAheadReadsLargeAlignedPiecesOnceInFewWindows) {
  const std::string bytes = RandomBytes(200000);
  constexpr unsigned long long kWindow = 1 << 14;
  for (const unsigned long long behind : {10000, 25000, 40000}) {
    auto owned = std::make_unique<BadRegionSource>(bytes);
    BadRegionSource* const inner = owned.get();
    inner->badEnd = 0;
    qo_host::ReadAheadSource ahead(std::move(owned), kWindow);
    unsigned char byte;
    for (unsigned long long offset = 0; offset < bytes.size(); ++offset) {
      for (const unsigned long long place : {offset, offset - std::min(offset, behind)}) {
        unsigned long long size = 1;
        ASSERT_EQ(0, ahead.ReadAt(place, &byte, &size));
        ASSERT_EQ(static_cast<unsigned char>(bytes[place]), byte);
      }
    }
    EXPECT_EQ(bytes.size() / kWindow + 1, inner->reads.size());
    for (const auto& [offset, size] : inner->reads) {
      EXPECT_EQ(0u, offset % kWindow);
      EXPECT_EQ(kWindow, size);
    }
    EXPECT_LE(inner->buffers.size(), behind / kWindow + 2);
  }
}

TEST(HostSource, ReadAheadFailsAtEveryByteThatCannotBeRead) {
  const std::string bytes = RandomBytes(200000);
  BadRegionSource plain(bytes);
  qo_host::ReadAheadSource ahead(std::make_unique<BadRegionSource>(bytes), 1 << 9);
  // Windows begin inside the region that fails, in front of it and behind it.
  for (auto offset = plain.badBegin - 1000; offset < plain.badEnd + 1000; ++offset) {
    unsigned char a = 0, b = 0;
    unsigned long long p = 1, q = 1;
    EXPECT_EQ(plain.ReadAt(offset, &a, &p), ahead.ReadAt(offset, &b, &q)) << offset;
    EXPECT_EQ(p, q) << offset;
    EXPECT_EQ(a, b) << offset;
  }
}

// What is kept of a file shows where the file changes under it.
TEST(HostSource, FileIsReadInWindowsThatGrow) {
  constexpr std::size_t kSize = 300000;
  const TemporaryFile file(std::string(kSize, '-'));
  const auto source = file.Open();
  const auto byteAt = [&](unsigned long long offset) {
    char byte = 0;
    unsigned long long size = 1;
    EXPECT_EQ(0, source->ReadAt(offset, &byte, &size));
    return byte;
  };
  constexpr unsigned long long kKiB = 1024;
  const struct {
    char content;
    unsigned long long begin, end;
  } windows[] = {{'a', 0, 8 * kKiB},
                 {'b', 8 * kKiB, 24 * kKiB},
                 {'c', 24 * kKiB, 56 * kKiB},
                 {'d', 56 * kKiB, 120 * kKiB},
                 {'e', 120 * kKiB, 184 * kKiB}};
  for (const auto& [content, begin, end] : windows) {
    std::ofstream(file.path, std::ios::binary) << std::string(kSize, content);
    EXPECT_EQ(content, byteAt(begin));
    std::ofstream(file.path, std::ios::binary) << std::string(kSize, '-');
    EXPECT_EQ(content, byteAt(end - 1)) << end;
  }
}

TEST(HostSource, FileThatShrinksGivesShortReads) {
  const std::string bytes = RandomBytes(3000000);
  const TemporaryFile file(bytes);
  const auto source = file.Open();
  std::string buffer(bytes.size(), '\0');
  unsigned long long got = 1;
  EXPECT_EQ(0, source->ReadAt(0, buffer.data(), &got));
  fs::resize_file(file.path, 1000000);
  for (const auto& [offset, left] : {std::pair(999990, 10), {2000000, 0}, {0, 1000000}}) {
    got = bytes.size();
    EXPECT_EQ(0, source->ReadAt(offset, buffer.data(), &got));
    EXPECT_EQ(left, got);
    EXPECT_EQ(0, bytes.compare(offset, got, buffer, 0, got));
  }
  EXPECT_EQ(0, source->GetSize(&got));
  EXPECT_EQ(1000000u, got);
}

TEST(HostSource, SaysWhyAFileCannotBeOpened) {
  const std::string pipe = testing::TempDir() + "/host_source_pipe." + std::to_string(getpid());
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const struct {
    std::string path, reason;
  } cases[] = {{"/no/such/file", "No such file or directory"},
               {"/", "Is a directory"},
               {pipe, "it cannot be read at any position, like a file"}};
  for (const auto& test : cases) {
    std::string error;
    EXPECT_FALSE(qo_host::FileSource::OpenPath(test.path, &error));
    EXPECT_NE(std::string::npos, error.find(test.path + ": " + test.reason)) << error;
  }
  fs::remove(pipe);
}

TEST(HostSource, TraceRecordsEveryCall) {
  const std::string bytes = "0123456789";
  std::string calls;
  qo_host::TraceSource trace(std::make_unique<BadRegionSource>(bytes), [&](const auto& call) {
    calls += std::string(SourceOperationName(call.operation)) + " " + std::to_string(call.offset) +
             "+" + std::to_string(call.requested) + "=" + std::to_string(call.status) + ":" +
             std::to_string(call.value) + " ";
  });
  char buffer[8];
  unsigned long long n = 4;
  trace.Open();
  trace.ReadAt(5, buffer, &n);
  trace.Read(buffer, &(n = 4));
  trace.SeekTo(static_cast<unsigned long long>(-8), 1);
  trace.Read(buffer, &(n = 2));
  trace.ReadAt(100000, buffer, &(n = 2));
  trace.GetPosition(&n);
  trace.GetSize(&n);
  EXPECT_EQ(
      "Open 0+0=0:0 ReadAt 5+4=0:4 Read 9+4=0:1 SeekTo 18446744073709551608+0=0:0 Read 2+2=0:2 "
      "ReadAt 100000+2=-5:0 GetPosition 0+0=0:4 GetSize 0+0=0:10 ",
      calls);
  const qo_host::SourceTotals readAt = trace.Totals(qo_host::SourceOperation::kReadAt);
  EXPECT_EQ(2u, readAt.calls);
  EXPECT_EQ(1u, readAt.failures);
  EXPECT_EQ(4u, readAt.bytes);
  EXPECT_EQ(8u, trace.AllTotals().calls);
  EXPECT_EQ(7u, trace.AllTotals().bytes);
}

// A descriptor of a file is read as one of a pipe is, from its first byte to its last.
class Pipe : public TemporaryFile {
 public:
  explicit Pipe(const std::string& bytes)
      : TemporaryFile(bytes), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~Pipe() { close(descriptor_); }
  int descriptor() const { return descriptor_; }

 private:
  const int descriptor_;
};

TEST(PipeSource, IsLikeAFileWhereAllOfItIsHeld) {
  const std::string bytes = RandomBytes(700001);
  const Pipe pipe(bytes);
  qo_host::MemorySource plain(bytes.data(), bytes.size());
  qo_host::PipeSource source(pipe.descriptor());
  ExpectSameAnswers(&plain, &source, bytes.size());
  unsigned long long size = 0;
  EXPECT_EQ(source.GetSize(&size), 0);
  EXPECT_EQ(size, bytes.size());
  EXPECT_EQ(source.failure(), 0);
}

TEST(PipeSource, GoesOnWithTwoReadersAndFailsOnlyForWhatIsGone) {
  constexpr unsigned long long kHeld = qo_host::PipeSource::kHeldBytes;
  const std::string bytes = RandomBytes(2 * kHeld + 5000);
  const Pipe pipe(bytes);
  qo_host::PipeSource source(pipe.descriptor());
  unsigned long long size = 0;
  EXPECT_EQ(source.GetSize(&size), -ESPIPE);
  char buffer[3000];
  const auto read = [&](unsigned long long offset) {
    size = sizeof buffer;
    const int status = source.ReadAt(offset, buffer, &size);
    return status < 0 ? status : static_cast<int>(size);
  };
  EXPECT_EQ(read(kHeld + (2 << 20)), 0) << "ahead, past bytes that nobody has read";
  constexpr unsigned long long kApart = 15 << 20;
  for (unsigned long long at = 0; at < bytes.size(); at += sizeof buffer) {
    for (const unsigned long long offset : {at, at < kApart ? at : at - kApart}) {
      const int got = read(offset);
      ASSERT_GT(got, 0) << "at " << offset;
      ASSERT_EQ(bytes.compare(offset, static_cast<std::size_t>(got), buffer,
                              static_cast<std::size_t>(got)),
                0)
          << "at " << offset;
    }
  }
  EXPECT_EQ(read(bytes.size()), 0);
  EXPECT_EQ(source.failure(), 0);
  EXPECT_EQ(read(1000), -ESPIPE);
  EXPECT_EQ(source.failure(), -ESPIPE);
}

TEST(PipeSource, StopsWaitingAndStaysStopped) {
  int input[2], stop[2];
  ASSERT_EQ(pipe(input), 0);
  ASSERT_EQ(pipe(stop), 0);
  ASSERT_EQ(write(stop[1], "", 1), 1);
  qo_host::PipeSource source(input[0], stop[0]);
  char buffer[6];
  unsigned long long size = sizeof buffer;
  EXPECT_EQ(source.Read(buffer, &size), -EINTR);
  char taken;
  ASSERT_EQ(read(stop[0], &taken, 1), 1);
  EXPECT_EQ(source.Read(buffer, &(size = 1)), -EINTR) << "otherwise this waits";
  EXPECT_EQ(source.failure(), -EINTR);
  for (const int descriptor : {input[0], input[1], stop[0], stop[1]}) close(descriptor);
}

}  // namespace
