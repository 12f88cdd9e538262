// Workers: owns the threads and the results that wait. Adding a slot or taking the first
// leaves the others where they are, so that a thread works on its own without the lock.
#include "tools/verify/Workers.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

// Files that are judged or wait: a long one in front of them keeps no thread idle.
constexpr std::size_t kMaxSlots = 512;

}  // namespace

Workers::Workers(unsigned int count, Task task) : task_(std::move(task)) {
  for (unsigned int k = 0; k < count; ++k) threads_.emplace_back([this] { Work(); });
}

Workers::~Workers() {
  {
    const std::lock_guard<std::mutex> lock(lock_);
    isEnding_ = true;
  }
  added_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool Workers::hasRoom() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return slots_.size() < kMaxSlots;
}

void Workers::Add(FoundFile file) {
  {
    const std::lock_guard<std::mutex> lock(lock_);
    slots_.emplace_back();
    slots_.back().judged.file = std::move(file);
  }
  added_.notify_one();
}

std::optional<Judged> Workers::Take(std::chrono::milliseconds patience) {
  std::unique_lock<std::mutex> lock(lock_);
  const auto isThere = [this] { return !slots_.empty() && slots_.front().isDone; };
  if (!done_.wait_for(lock, patience, isThere)) return std::nullopt;
  std::optional<Judged> judged = std::move(slots_.front().judged);
  slots_.pop_front();
  --next_;
  return judged;
}

void Workers::Work() {
  std::unique_lock<std::mutex> lock(lock_);
  while (true) {
    added_.wait(lock, [this] { return isEnding_ || next_ < slots_.size(); });
    if (isEnding_) return;
    Slot& slot = slots_[next_++];
    lock.unlock();
    Judge(&slot);
    lock.lock();
    slot.isDone = true;
    done_.notify_one();
  }
}

void Workers::Judge(Slot* slot) {
  const unsigned long long size = slot->judged.file.bytes;
  unsigned long long counted = 0;
  const auto count = [&](unsigned long long done) {
    const unsigned long long grown = std::max(counted, std::min(done, size));
    bytesDone_ += grown - counted;
    counted = grown;
    return !isEnding_;
  };
  slot->judged = task_(slot->judged.file, count);
  count(size);
}

}  // namespace tool
