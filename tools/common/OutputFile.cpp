// OutputFile: owns the open file and its temporary name.
#include "tools/common/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/common/Tool.h"

namespace tool {
namespace {

std::atomic<bool> interrupted{false};  // read in every thread
static_assert(std::atomic<bool>::is_always_lock_free, "set in a signal handler");

// A pipe, into which an interruption puts a byte that is never taken out.
int interruptionPipe[] = {-1, -1};

void NoteInterruption(int) {
  const int error = errno;
  interrupted = true;
  // Full, it has what it needs.
  const ssize_t ignored = write(interruptionPipe[1], "", 1);
  static_cast<void>(ignored);
  errno = error;
}

}  // namespace

void NoticeInterruptions() {
  if (pipe2(interruptionPipe, O_CLOEXEC | O_NONBLOCK) != 0)
    throw Failure(kExitCannotRun, std::string("a pipe: ") + std::strerror(errno));
  for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
  struct sigaction action {};
  action.sa_handler = NoteInterruption;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    sigaction(signal, &action, &before);
    if (before.sa_handler == SIG_IGN) sigaction(signal, &before, nullptr);  // as nohup wants it
  }
}

bool IsInterrupted() { return interrupted; }

int InterruptionDescriptor() { return interruptionPipe[0]; }

void CheckIsNotInput(const std::string& output, const std::string& input) {
  std::error_code ignored;  // a path that cannot be looked up fails when it is opened
  if (std::filesystem::equivalent(output, input, ignored)) {
    throw Failure(kExitCannotRun, output + ": is the input: name another file to write");
  }
}

OutputFile::OutputFile(const std::string& path) : path_(path), written_(path) {
  struct stat existing {};
  const bool isDevice = stat(path.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode);
  if (!isDevice) written_ += ".part-" + std::to_string(getpid());
  const int flags = O_WRONLY | O_CLOEXEC | (isDevice ? 0 : O_CREAT | O_EXCL);
  Hold(open(written_.c_str(), flags, 0666));
}

OutputFile::OutputFile(const std::string& name, int descriptor) : path_(name), written_(name) {
  Hold(descriptor);
}

std::unique_ptr<OutputFile> OutputFile::Standard() {
  return std::unique_ptr<OutputFile>(
      new OutputFile("standard output", fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)));
}

void OutputFile::Hold(int descriptor) {
  if (descriptor < 0) Fail();
  file_.reset(fdopen(descriptor, "wb"));
  if (!file_) Fail();
}

OutputFile::~OutputFile() {
  file_.reset();
  if (!finished_ && written_ != path_) unlink(written_.c_str());
}

void OutputFile::Write(const unsigned char* data, std::size_t size) {
  if (std::fwrite(data, 1, size, file_.get()) != size) Fail();
}

void OutputFile::WriteAt(std::uint64_t position, const unsigned char* data, std::size_t size) {
  if (fseeko(file_.get(), static_cast<off_t>(position), SEEK_SET) != 0) Fail();
  Write(data, size);
  if (fseeko(file_.get(), 0, SEEK_END) != 0) Fail();
}

const std::string& OutputFile::Flush() {
  if (std::fflush(file_.get()) != 0) Fail();
  return written_;
}

void OutputFile::Finish() {
  if (std::fclose(file_.release()) != 0) Fail();
  if (written_ != path_ && rename(written_.c_str(), path_.c_str()) != 0) Fail();
  finished_ = true;
}

void OutputFile::Fail() const {
  throw Failure(kExitCannotRun, path_ + ": cannot be written: " + std::strerror(errno));
}

void WriteWhole(const std::string& path, const unsigned char* data, std::size_t size) {
  OutputFile file(path);
  file.Write(data, size);
  file.Finish();
}

}  // namespace tool
