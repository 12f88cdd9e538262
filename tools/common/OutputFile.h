// A file that a command writes: whole, or not at all.
//
// It appears under its final name only once it is complete: it is written under a
// temporary name beside it, which goes away when anything fails or the user
// interrupts.
#ifndef QO_TOOLS_COMMON_OUTPUTFILE_H
#define QO_TOOLS_COMMON_OUTPUTFILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace tool {

// Lets an interruption end the command in order, so that no temporary file stays: to
// be called before the first file is opened. A call that waits (for the reader of a
// pipe) is not taken up again, and a second signal ends the process at once. A reader
// that leaves and a limit on file sizes make writing fail instead of ending the
// process.
void NoticeInterruptions();

// Whether the user has interrupted the process since. A command that writes asks now
// and then, and ends.
bool IsInterrupted();

// Can be read from once the user has interrupted the process: for what waits for other
// things. Negative where interruptions aren't noticed.
int InterruptionDescriptor();

// Refuses to write to `output` what is read from `input`, under whatever names: throws
// Failure(kExitCannotRun) where the two are one file.
void CheckIsNotInput(const std::string& output, const std::string& input);

class OutputFile {
 public:
  // A device or a pipe at `path` is written as it is. Throws
  // Failure(kExitCannotRun), as all here do.
  explicit OutputFile(const std::string& path);
  // The standard output, written as it is.
  static std::unique_ptr<OutputFile> Standard();
  // Removes what was not finished.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void Write(const unsigned char* data, std::size_t size);
  // Whether WriteAt may be called: not for a device, a pipe or the standard output.
  bool canWriteAt() const { return written_ != path_; }
  // Writes over `size` bytes that have been written before, from `position` on. What
  // is written next goes on behind all there is.
  void WriteAt(std::uint64_t position, const unsigned char* data, std::size_t size);
  // All that was written can be read under this name.
  const std::string& Flush();
  // Gives the file its final name; the last call.
  void Finish();

 private:
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  OutputFile(const std::string& name, int descriptor);
  void Hold(int descriptor);
  [[noreturn]] void Fail() const;

  const std::string path_;
  std::string written_;  // the name that is written under
  std::unique_ptr<std::FILE, Closer> file_;
  bool finished_ = false;
};

// A file of `size` bytes at `data`.
void WriteWhole(const std::string& path, const unsigned char* data, std::size_t size);

}  // namespace tool

#endif  // QO_TOOLS_COMMON_OUTPUTFILE_H
