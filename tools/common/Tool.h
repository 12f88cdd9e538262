// What every command of asftool shares: exit codes, failures, the options before
// the command, and the file that a command works on.
#ifndef QO_TOOLS_COMMON_TOOL_H
#define QO_TOOLS_COMMON_TOOL_H

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "qo_host/AsfLayout.h"
#include "qo_host/FileHeader.h"
#include "qo_host/ParserLibrary.h"
#include "qo_host/ParserSession.h"
#include "qo_host/PipeSource.h"
#include "qo_host/TraceSource.h"

namespace tool {

constexpr int kExitGood = 0;       // the file is good, notes or not
constexpr int kExitBadFile = 1;    // the file is bad
constexpr int kExitCannotRun = 2;  // the command could not run

// Ends a command. what() is the reason in words, with the file's name; main
// prints it and exits with `exitCode`.
class Failure : public std::runtime_error {
 public:
  Failure(int exitCode, const std::string& reason) : runtime_error(reason), exitCode_(exitCode) {}
  int exitCode() const { return exitCode_; }

 private:
  int exitCode_;
};

// Options that every command takes.
struct Options {
  std::string library;             // path of the parser's library; empty: the one beside the tool
  std::optional<int> logLevel;     // the parser's debug level
  bool readAhead = false;          // read through qo_host::ReadAheadSource
  bool asIs = false;               // the bare parser's view of the file
  std::optional<int> audioStream;  // stream numbers as in the file
  std::optional<int> videoStream;
};

// A file and the session that reads it. Between the two lie, from the file up: a
// record of the calls that reach it, what reads ahead; each only where it is asked for.
class Input {
 public:
  enum class Trace { kOff, kOn };

  // Loads the library and opens the file for reading, as OpenSource does, but not yet
  // with the parser. Throws Failure(kExitCannotRun).
  Input(const Options& options, const std::string& path, Trace trace = Trace::kOff);

  // Opens the file with the parser. Throws Failure: kExitBadFile when the parser
  // refuses the file, kExitCannotRun when it cannot be read.
  void Open();

  // What the parser answered; kParserOk before Open.
  int openStatus() const { return openStatus_; }

  const std::string& path() const { return path_; }
  qo_host::ParserSession& session() { return *session_; }
  const qo_host::ParserSession& session() const { return *session_; }

  // The file itself, for reads that are the tool's own; never recorded.
  IDataSource* file() const { return file_; }
  // The calls that reach the file. Null with Trace::kOff.
  qo_host::TraceSource* fileCalls() const { return fileCalls_; }

  // Read from the file when it is first asked for. Throws Failure(kExitCannotRun).
  const qo_host::AsfLayout& layout();
  // All that the file's header says. Read from the file when it is first asked for, unless
  // the session has. Throws the same.
  const qo_host::FileHeader& header();
  // That of what the parser reads.
  const qo_host::AsfLayout& playedLayout();
  // Behind a play-out from a pipe, and in front of giving what was written its name: throws
  // Failure(kExitCannotRun) where the end of the data was none.
  void CheckWhole() const;
  // Throws Failure(kExitCannotRun) for the status of a read that failed.
  void CheckRead(int status) const;

 private:
  const qo_host::AsfLayout& LayoutOf(IDataSource* source,
                                     std::optional<qo_host::AsfLayout>* layout) const;

  std::string path_;
  int openStatus_ = kParserOk;
  // Owned by the session, with all that lies between.
  IDataSource* file_ = nullptr;
  const qo_host::PipeSource* pipe_ = nullptr;  // the same where it is one; otherwise null
  qo_host::TraceSource* fileCalls_ = nullptr;
  std::unique_ptr<qo_host::ParserSession> session_;
  qo_host::OpenOptions openOptions_;
  std::optional<qo_host::AsfLayout> layout_;
  std::optional<qo_host::AsfLayout> playedLayout_;
  std::optional<qo_host::FileHeader> header_;
};

// Throws Failure(kExitCannotRun) where a stream that `options` choose is not in the file,
// whose name is `path`. `file` is open; its position is moved.
void CheckStreamChoice(const Options& options, const std::string& path, IDataSource* file);

// Loads the parser's library and settles its log, as the options have it, when first
// called: the first call's are those of the process, which keeps the library to its end.
// From any thread. Throws Failure(kExitCannotRun).
const qo_host::ParserLibrary& LoadLibrary(const Options& options);
// The same, for what makes parsers.
qo_host::ParserFactory LoadParser(const Options& options);

// Opens the file at `path` for reading; "-": the standard input, which may be a pipe.
// Throws Failure(kExitCannotRun).
std::unique_ptr<IDataSource> OpenSource(const std::string& path);

// Throws Failure(kExitCannotRun) where `file` (not null) is a pipe of which not all is held
// (see PipeSource): for what seeks, or has to see the end first.
void RefuseLongPipe(IDataSource* file);

// Milliseconds of a time that a user gave: "62.5", "1:02.5" or "1:02:03". Nothing where it
// is none.
std::optional<unsigned long long> ParseTime(const std::string& text);

// Throws Failure(kExitCannotRun) where an open file ends before a time that a user gave.
void CheckTime(const Input& input, unsigned long long timeMs);

// Seeks all tracks of an open file without an exact walk. Throws
// Failure(kExitBadFile).
void SeekPlainly(Input* input, unsigned long long timeMs, int seekMode);

}  // namespace tool

#endif  // QO_TOOLS_COMMON_TOOL_H
