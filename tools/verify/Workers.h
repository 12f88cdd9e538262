// Threads that judge files. The results come out in the order in which the files went in,
// whichever is done first.
#ifndef QO_TOOLS_VERIFY_WORKERS_H
#define QO_TOOLS_VERIFY_WORKERS_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/verify/FileWalk.h"
#include "tools/verify/Judge.h"

namespace tool {

// A file judged.
struct Judged {
  FoundFile file;
  Judgement judgement = Judgement::kUnread;
  std::string text;  // a line for people, without its end
  std::string json;  // the document on one line, without its end
};

class Workers {
 public:
  // What judges one file, in any of the threads; throws nothing.
  using Task = std::function<Judged(const FoundFile& file, const Watch& watch)>;

  Workers(unsigned int count, Task task);
  // Ends what is under way, through its watch.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // These by the thread that made this. Whether another file may be added: results that
  // wait for one in front of them are bounded in number.
  bool hasRoom() const;
  void Add(FoundFile file);
  // Whether a result is to come.
  bool isBusy() const { return !slots_.empty(); }
  // That of the first file whose result has not been taken; nothing where it is not
  // there after `patience`.
  std::optional<Judged> Take(std::chrono::milliseconds patience);

  // Bytes of files that are done, from any thread.
  unsigned long long bytesDone() const { return bytesDone_; }

 private:
  struct Slot {
    Judged judged;
    bool isDone = false;
  };

  void Work();
  void Judge(Slot* slot);

  const Task task_;
  std::atomic<unsigned long long> bytesDone_{0};
  std::atomic<bool> isEnding_{false};
  mutable std::mutex lock_;
  std::condition_variable added_, done_;
  // Under lock_, but for what is in a slot that a thread works on.
  std::deque<Slot> slots_;
  std::size_t next_ = 0;  // of slots_, the first that no thread has taken
  std::vector<std::thread> threads_;
};

}  // namespace tool

#endif  // QO_TOOLS_VERIFY_WORKERS_H
