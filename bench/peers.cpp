// Whole process against whole process, in turn: a player over the kit, asftool verify and
// the GStreamer element beside other programs that read a file through and throw its media
// away, and the floor.
//
//   qo_peers TINY FILE...
//
// What a program takes for TINY, a small file, is its start-up. The first table holds the
// kit to its peers, the second one the element to GStreamer's own, the third one everything
// to the floor.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "qo_host/FileSource.h"
#include "qo_host/ParserLibrary.h"
#include "qo_host/ParserSession.h"
#include "qo_host/StatusText.h"

namespace {

using Command = std::vector<std::string>;

constexpr int kRounds = 9;  // behind one that isn't counted

// The rows of the tables; the kit's peers are those that only take the file apart.
constexpr const char* kFloor = "floor";
constexpr const char* kKit = "kit";
constexpr const char* kVerify = "asftool verify";
constexpr const char* kAvformat = "libavformat";
constexpr const char* kFfmpeg = "ffmpeg";
constexpr const char* kGStreamer = "GStreamer";
constexpr const char* kElement = "qoasfdemux";
constexpr const char* kPeers[] = {kAvformat, kGStreamer};
constexpr const char* kElementPeers[] = {kGStreamer};

struct Cost {
  double processor = 0;  // seconds, user and system
  double clock = 0;      // seconds
  double peakMiB = 0;
};

struct Program {
  std::string name;
  std::vector<Cost> costs, startUps;
};

struct Measured {
  std::string file;
  std::vector<Program> programs;
};

[[noreturn]] void Fail(const std::string& text) {
  std::fprintf(stderr, "qo_peers: %s\n", text.c_str());
  std::exit(2);
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// Runs a command with its output thrown away. A command that fails ends the
// measurement: its time would mean nothing.
Cost Run(const Command& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  }
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) Fail("cannot run " + command[0] + ": " + std::generic_category().message(error));
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) < 0 || status != 0) {
    Fail(command[0] + " failed on " + command.back());
  }
  const std::chrono::duration<double> clock = std::chrono::steady_clock::now() - start;
  return {Seconds(usage.ru_utime) + Seconds(usage.ru_stime), clock.count(),
          static_cast<double>(usage.ru_maxrss) / 1024};
}

std::string OwnFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

// The plugin of this build, in a registry of its own, which is written before anything is
// measured.
void FindElement() {
  const std::string root = OwnFolder() + "/..";
  setenv("GST_PLUGIN_PATH", (root + "/lib/gstreamer-1.0").c_str(), 1);
  setenv("GST_REGISTRY", (root + "/gstreamer.registry").c_str(), 1);
  Run({"gst-inspect-1.0", kElement});
}

std::size_t TrackCount(const qo_host::ParserLibrary& library, const std::string& path) {
  std::string error;
  auto source = qo_host::FileSource::OpenPath(path, &error);
  if (source == nullptr) Fail(error);
  qo_host::ParserSession session(library.factory(), std::move(source));
  const int status = session.Open();
  if (status != kParserOk) Fail(path + ": " + qo_host::StatusText(qo_host::Action::kOpen, status));
  return session.tracks().size();
}

Command CommandOf(const std::string& name, const std::string& path, std::size_t tracks) {
  if (name == kFloor) return {OwnFolder() + "/qo_copy_floor", path};
  if (name == kKit) return {OwnFolder() + "/qo_play", path};
  if (name == kVerify) return {OwnFolder() + "/asftool", "verify", path};
  if (name == kAvformat) return {OwnFolder() + "/qo_lavf_play", path};
  if (name == kFfmpeg) {
    return {"ffmpeg", "-v", "error", "-nostdin", "-i",   path, "-map",
            "0",      "-c", "copy",  "-f",       "null", "-"};
  }
  const char* const demuxer = name == kElement ? kElement : "asfdemux";
  Command command{"gst-launch-1.0", "-q", "filesrc", "location=" + path, "!", demuxer, "name=d"};
  for (std::size_t k = 0; k < tracks; ++k) {
    command.insert(command.end(), {"d.", "!", "fakesink", "async=false", "sync=false"});
  }
  return command;
}

template <typename Value>
double Median(const std::vector<Cost>& costs, Value value) {
  std::vector<double> values;
  for (std::size_t k = 0; k < costs.size(); ++k) values.push_back(value(k));
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

const Program& Find(const Measured& measured, const char* name) {
  return *std::find_if(measured.programs.begin(), measured.programs.end(),
                       [name](const Program& program) { return program.name == name; });
}

// Processor time in seconds without the start-up, of a round.
double Net(const Program& program, std::size_t round) {
  return std::max(program.costs[round].processor - program.startUps[round].processor, 1e-4);
}

double MedianNetMs(const Program& program) {
  return Median(program.costs, [&](std::size_t k) { return Net(program, k) * 1e3; });
}

template <typename Peers>
void PrintRatios(const std::vector<Measured>& all, const char* ours, const Peers& peers) {
  std::printf("| file | %s, ms |", ours);
  for (const char* peer : peers) std::printf(" %s, ms | ratio |", peer);
  std::printf("\n|---|---|");
  for (std::size_t k = 0; k < std::size(peers); ++k) std::printf("---|---|");
  std::puts("");
  for (const Measured& measured : all) {
    const Program& own = Find(measured, ours);
    std::printf("| %s | %.1f |", measured.file.c_str(), MedianNetMs(own));
    for (const char* name : peers) {
      const Program& peer = Find(measured, name);
      std::printf(" %.1f | %.2f |", MedianNetMs(peer),
                  Median(own.costs, [&](std::size_t k) { return Net(own, k) / Net(peer, k); }));
    }
    std::puts("");
  }
}

void PrintRow(const std::string& file, const Program& program, const Program& floor) {
  const auto& costs = program.costs;
  std::printf("| %s | %s | %.1f | %.1f | %.1f | %.2f | %.2f |\n", file.c_str(),
              program.name.c_str(),
              Median(costs, [&](std::size_t k) { return costs[k].processor * 1e3; }),
              Median(costs, [&](std::size_t k) { return costs[k].clock * 1e3; }),
              Median(costs, [&](std::size_t k) { return costs[k].peakMiB; }),
              Median(costs,
                     [&](std::size_t k) {
                       return costs[k].processor / std::max(floor.costs[k].processor, 1e-4);
                     }),
              Median(costs, [&](std::size_t k) { return Net(program, k) / Net(floor, k); }));
}

void PrintMedians(const std::vector<Measured>& all) {
  std::puts(
      "| file | program | user + system, ms | wall, ms | peak, MiB | ratio to the floor | less "
      "start-up |\n|---|---|---|---|---|---|---|");
  for (const Measured& measured : all) {
    for (const Program& program : measured.programs) {
      PrintRow(measured.file, program, measured.programs.front());
    }
  }
}

Measured Measure(const qo_host::ParserLibrary& library, const std::string& tiny,
                 const std::string& path) {
  Measured measured{std::filesystem::path(path).filename().string(), {}};
  for (const char* name : {kFloor, kKit, kAvformat, kVerify, kFfmpeg, kGStreamer, kElement}) {
    measured.programs.push_back({name, {}, {}});
  }
  const std::size_t tracks = TrackCount(library, path);
  const std::size_t tinyTracks = TrackCount(library, tiny);
  for (int round = 0; round <= kRounds; ++round) {
    for (Program& program : measured.programs) {
      const Cost startUp = Run(CommandOf(program.name, tiny, tinyTracks));
      const Cost cost = Run(CommandOf(program.name, path, tracks));
      if (round == 0) continue;
      program.startUps.push_back(startUp);
      program.costs.push_back(cost);
    }
  }
  return measured;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) Fail("usage: qo_peers TINY FILE...");
  std::string error;
  const auto library = qo_host::ParserLibrary::Load("", &error);
  if (library == nullptr) Fail(error);
  FindElement();
  std::vector<Measured> all;
  for (int k = 2; k < argc; ++k) all.push_back(Measure(*library, argv[1], argv[k]));
  std::puts(
      "Processor time less start-up, and the kit's and the element's as multiples of a peer's\n");
  PrintRatios(all, kKit, kPeers);
  std::puts("");
  PrintRatios(all, kElement, kElementPeers);
  std::puts("\nWhole processes\n");
  PrintMedians(all);
  return 0;
}
