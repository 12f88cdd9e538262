// VerifyLog: owns the open file and what was in it.
#include "tools/verify/VerifyLog.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "tools/common/Json.h"
#include "tools/common/Output.h"

namespace tool {
namespace {

constexpr Judgement kLoggedJudgements[] = {Judgement::kGood, Judgement::kGoodWithKit,
                                           Judgement::kBad};

std::optional<Judgement> JudgementOf(const Json& document) {
  const auto verdict = document.find("verdict");
  if (verdict == document.end()) return std::nullopt;
  for (const Judgement judgement : kLoggedJudgements) {
    if (*verdict == JudgementName(judgement)) return judgement;
  }
  return std::nullopt;
}

}  // namespace

std::string LogKey(const FoundFile& file, const Options& options) {
  std::string text = file.path;
  for (const long long number :
       {static_cast<long long>(file.bytes), file.modifiedNs, static_cast<long long>(options.asIs),
        static_cast<long long>(options.audioStream.value_or(-1)),
        static_cast<long long>(options.videoStream.value_or(-1))}) {
    text += '\0' + std::to_string(number);
  }
  return Md5Text(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

VerifyLog::Descriptor::~Descriptor() {
  if (number >= 0) close(number);
}

VerifyLog::VerifyLog(const std::string& path) : path_(path) {
  file_.number = open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (file_.number < 0) Fail(std::strerror(errno));
  if (flock(file_.number, LOCK_EX | LOCK_NB) != 0) Fail("another verification writes it");
  Read();
}

void VerifyLog::Fail(const std::string& what) const {
  throw Failure(kExitCannotRun, path_ + ": cannot serve as a log: " + what);
}

void VerifyLog::Read() {
  static const std::string kBeginning = JsonText(Document(), -1).substr(0, 10);  // {"format":
  std::ifstream in(path_, std::ios::binary);
  std::string beginning(kBeginning.size(), '\0');
  in.read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
  beginning.resize(static_cast<std::size_t>(in.gcount()));
  if (beginning != kBeginning.substr(0, beginning.size())) {
    Fail("it holds something else: name another file");
  }
  in.clear();
  in.seekg(0);
  for (std::string line; std::getline(in, line);) {
    isTorn_ = in.eof();
    if (!isTorn_) Note(line);
  }
  if (in.bad()) Fail("it cannot be read");
  std::stable_sort(entries_.begin(), entries_.end(),
                   [](const Entry& a, const Entry& b) { return a.first < b.first; });
}

void VerifyLog::Note(const std::string& line) {
  const Json document = Json::parse(line, nullptr, false);
  if (!document.is_object() || !document.contains("key") || !document["key"].is_string()) return;
  const std::string text = document["key"];
  const std::optional<Judgement> judgement = JudgementOf(document);
  Key key;
  if (!judgement || text.size() != key.size()) return;
  std::copy(text.begin(), text.end(), key.begin());
  entries_.emplace_back(key, *judgement);
}

std::optional<Judgement> VerifyLog::Find(const std::string& text) const {
  Key key;
  std::copy_n(text.begin(), key.size(), key.begin());
  const auto behind =
      std::upper_bound(entries_.begin(), entries_.end(), key,
                       [](const Key& wanted, const Entry& entry) { return wanted < entry.first; });
  if (behind == entries_.begin() || std::prev(behind)->first != key) return std::nullopt;
  return std::prev(behind)->second;
}

void VerifyLog::Append(const std::string& document) {
  const std::string text = (isTorn_ ? "\n" : "") + document + "\n";
  isTorn_ = false;
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = write(file_.number, text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) Fail(std::strerror(errno));
    if (written > 0) done += static_cast<std::size_t>(written);
  }
}

}  // namespace tool
