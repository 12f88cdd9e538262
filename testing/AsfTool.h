// asftool run as a person or a script runs it, in a folder of the test's own.
#ifndef QO_TESTING_ASFTOOL_H
#define QO_TESTING_ASFTOOL_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "testing/SampleFiles.h"

struct Outcome {
  int exitCode;
  std::string out;
  std::string err;
};

// Each test has an empty folder, in which the tool is run.
class Tool : public ::testing::Test {
 protected:
  Tool() { std::filesystem::create_directories(folder_); }
  ~Tool() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  static std::string Sample(const std::string& name) { return QO_SAMPLES_DIR "/" + name; }

  // `arguments` and `before`, what the shell does first, are words of the shell.
  Outcome Run(const std::string& arguments, const std::string& before = "") const {
    const bool namesLibrary = arguments.rfind("--library", 0) == 0;
    const std::string command = "cd '" + folder_.string() + "' && ( " + before + QO_ASFTOOL " " +
                                (namesLibrary ? "" : "--library " QO_PARSER_LIBRARY " ") +
                                arguments + " ) >out 2>err";
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), FileBytes(Path("out")), FileBytes(Path("err"))};
  }

 private:
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      ("asftool-test-" + std::to_string(getpid()) + "-" +
       ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

#endif  // QO_TESTING_ASFTOOL_H
