// Loading the library and opening a file, with every failure in words.
#include "tools/common/Tool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <regex>
#include <system_error>
#include <utility>

#include "qo_host/FileHeader.h"
#include "qo_host/FileSource.h"
#include "qo_host/PipeSource.h"
#include "qo_host/ReadAheadSource.h"
#include "qo_host/StatusText.h"
#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"

namespace tool {
namespace {

bool IsVerdictOnFile(int status) {
  return status == kParserMalformed || status == kParserOutOfRange ||
         status == kParserUnsupported || status == kParserEndOfStream || status == kParserInternal;
}

// "video 1, audio 2"
std::string StreamList(const qo_host::FileHeader& header) {
  std::string list;
  for (const qo_host::StreamHeader& stream : header.streams) {
    if (!list.empty()) list += ", ";
    list += std::string(StreamKindName(stream.kind)) + " " + std::to_string(stream.number);
  }
  return list;
}

void CheckStream(const qo_host::FileHeader& header, const std::string& path,
                 qo_host::StreamKind kind, std::optional<int> number) {
  const auto isIt = [&](const qo_host::StreamHeader& stream) {
    return stream.kind == kind && stream.number == *number;
  };
  if (!number || std::any_of(header.streams.begin(), header.streams.end(), isIt)) return;
  const std::string there = header.streams.empty() ? "is none" : "are " + StreamList(header);
  throw Failure(kExitCannotRun, path + ": no " + StreamKindName(kind) + " stream " +
                                    std::to_string(*number) + ": there " + there);
}

bool IsPipe(const std::string& path) {
  struct stat status {};
  return path == "-" && (fstat(STDIN_FILENO, &status) != 0 || !S_ISREG(status.st_mode));
}

}  // namespace

void CheckStreamChoice(const Options& options, const std::string& path, IDataSource* file) {
  if (!options.audioStream && !options.videoStream) return;
  qo_host::FileHeader header;
  qo_host::ReadFileHeader(file, &header);
  file->SeekTo(0, 0);
  if (!header.isAsf) return;  // which is told elsewhere
  CheckStream(header, path, qo_host::StreamKind::kAudio, options.audioStream);
  CheckStream(header, path, qo_host::StreamKind::kVideo, options.videoStream);
}

// Throws Failure where it has failed.
void CheckPipe(const qo_host::PipeSource& pipe) {
  if (pipe.failure() == 0) return;
  const int error = -pipe.failure();
  const std::string reason =
      error == ESPIPE
          ? "what is needed of it lies too far apart for a pipe: save it to a file first"
      : error == EINTR ? "interrupted"
                       : std::generic_category().message(error);
  throw Failure(kExitCannotRun, "standard input: " + reason);
}

const qo_host::ParserLibrary& LoadLibrary(const Options& options) {
  static const std::unique_ptr<qo_host::ParserLibrary> library = [&options] {
    // The parser prints error lines unless told otherwise, some of them once per access
    // unit; it looks at the variable when it is made.
    const std::string level = std::to_string(options.logLevel.value_or(0));
    setenv("QOCP_DEBUG_LEVEL", level.c_str(), options.logLevel.has_value());
    std::string error;
    auto loaded = qo_host::ParserLibrary::Load(options.library, &error);
    if (!loaded) throw Failure(kExitCannotRun, error);
    return loaded;
  }();
  return *library;
}

qo_host::ParserFactory LoadParser(const Options& options) { return LoadLibrary(options).factory(); }

void RefuseLongPipe(IDataSource* file) {
  unsigned long long size = 0;
  auto* const pipe = dynamic_cast<qo_host::PipeSource*>(file);
  if (pipe == nullptr || pipe->GetSize(&size) == 0) return;
  CheckPipe(*pipe);
  throw Failure(kExitCannotRun, "standard input: a pipe of more than " +
                                    std::to_string(qo_host::PipeSource::kHeldBytes >> 20) +
                                    " MiB, and this reads to and fro: save it to a file first");
}

std::unique_ptr<IDataSource> OpenSource(const std::string& path) {
  struct stat status {};
  if (IsPipe(path)) {
    if (isatty(STDIN_FILENO)) {
      throw Failure(kExitCannotRun, "standard input is a terminal: pipe a file into it");
    }
    return std::make_unique<qo_host::PipeSource>(STDIN_FILENO, InterruptionDescriptor());
  }
  if (path == "-") return OpenSource("/dev/stdin");
  if (stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) {
    throw Failure(kExitCannotRun, path + ": is a pipe: name - in its place, and < " + path);
  }
  std::string error;
  std::unique_ptr<IDataSource> source = qo_host::FileSource::OpenPath(path, &error);
  if (!source) throw Failure(kExitCannotRun, error);
  return source;
}

Input::Input(const Options& options, const std::string& path, Trace trace) : path_(path) {
  openOptions_.asIs = options.asIs;
  const auto number = [](int stream) { return static_cast<unsigned char>(stream); };
  if (options.audioStream) openOptions_.streams.audio = number(*options.audioStream);
  if (options.videoStream) openOptions_.streams.video = number(*options.videoStream);
  const qo_host::ParserFactory parser = LoadParser(options);
  std::unique_ptr<IDataSource> source = OpenSource(path);
  file_ = source.get();
  pipe_ = dynamic_cast<qo_host::PipeSource*>(file_);
  CheckStreamChoice(options, path, file_);
  if (trace == Trace::kOn) {
    auto traced = std::make_unique<qo_host::TraceSource>(std::move(source));
    fileCalls_ = traced.get();
    source = std::move(traced);
  }
  if (options.readAhead) {
    source = std::make_unique<qo_host::ReadAheadSource>(std::move(source));
  }
  session_ = std::make_unique<qo_host::ParserSession>(parser, std::move(source));
}

void Input::Open() {
  openStatus_ = session_->Open(openOptions_);
  if (openStatus_ == kParserOk) {
    if (pipe_ != nullptr) playedLayout();  // its beginning may be gone later
    return;
  }
  throw Failure(IsVerdictOnFile(openStatus_) ? kExitBadFile : kExitCannotRun,
                path_ + ": " + qo_host::StatusText(qo_host::Action::kOpen, openStatus_));
}

const qo_host::AsfLayout& Input::layout() { return LayoutOf(file_, &layout_); }

const qo_host::FileHeader& Input::header() {
  if (session_->presented() != nullptr) return session_->presented()->header();
  if (!header_) {
    qo_host::FileHeader read;
    CheckRead(qo_host::ReadFileHeader(file_, &read));
    header_ = std::move(read);
  }
  return *header_;
}

const qo_host::AsfLayout& Input::playedLayout() {
  return LayoutOf(session_->view(), &playedLayout_);
}

const qo_host::AsfLayout& Input::LayoutOf(IDataSource* source,
                                          std::optional<qo_host::AsfLayout>* layout) const {
  if (!*layout) {
    qo_host::AsfLayout read;
    // Where a play-out left off, its judge wants to know.
    unsigned long long position = 0;
    CheckRead(source->GetPosition(&position));
    CheckRead(qo_host::ReadLayout(source, &read));
    CheckRead(source->SeekTo(position, 0));
    *layout = std::move(read);
  }
  return **layout;
}

void Input::CheckWhole() const {
  if (pipe_ != nullptr) CheckPipe(*pipe_);
}

void Input::CheckRead(int status) const {
  if (status < 0) CheckWhole();
  if (status >= 0) return;
  throw Failure(kExitCannotRun, path_ + ": " + qo_host::StatusText(qo_host::Action::kRead, status));
}

std::optional<unsigned long long> ParseTime(const std::string& text) {
  static const std::regex form(R"((?:(?:(\d{1,6}):)?(\d{1,6}):)?(\d{1,9})(?:\.(\d{1,9}))?)");
  std::smatch parts;
  if (!std::regex_match(text, parts, form)) return std::nullopt;
  const auto number = [&parts](std::size_t part) {
    return parts[part].matched ? std::stoull(parts[part].str()) : 0;
  };
  const unsigned long long hours = number(1), minutes = number(2), seconds = number(3);
  if ((parts[1].matched && minutes >= 60) || (parts[2].matched && seconds >= 60)) {
    return std::nullopt;
  }
  const unsigned long long ms = std::stoull((parts[4].str() + "000").substr(0, 3));
  return ((hours * 60 + minutes) * 60 + seconds) * 1000 + ms;
}

void CheckTime(const Input& input, unsigned long long timeMs) {
  const unsigned long long durationMs = input.session().durationMs();
  if (durationMs == 0 || timeMs <= durationMs) return;  // 0: the file doesn't say
  throw Failure(kExitCannotRun, input.path() + ": ends at " + TimeText(durationMs) + ", before " +
                                    TimeText(timeMs));
}

void SeekPlainly(Input* input, unsigned long long timeMs, int seekMode) {
  const qo_host::SeekStatus status = input->session().Seek(timeMs, seekMode);
  const int failed = status.video < 0 ? status.video : status.audio;
  if (failed < 0) {
    throw Failure(kExitBadFile, input->path() + ": seek failed: " +
                                    qo_host::StatusText(qo_host::Action::kSeek, failed));
  }
}

}  // namespace tool
