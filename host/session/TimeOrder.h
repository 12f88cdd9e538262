// Whether a stream's times ascend along the file, going by those that have been seen.
#ifndef QO_HOST_TIMEORDER_H
#define QO_HOST_TIMEORDER_H

#include <optional>
#include <vector>

namespace qo_host {

// Packets in a row, and the times in them.
struct TimeRun {
  unsigned long long first;  // packets
  unsigned long long last;
  long long earliestMs;
  long long latestMs;
};

class TimeOrder {
 public:
  // Adds to a run, which may be none yet, the times of a packet behind it.
  void Extend(std::optional<TimeRun>* run, const TimeRun& packet);
  // A run that is complete. Forget drops those added since Mark, but not what they told.
  void Add(const TimeRun& run);
  void Mark() { marked_ = runs_.size(); }
  void Forget() { runs_.resize(marked_); }
  // In the order in which they were added.
  const std::vector<TimeRun>& runs() const { return runs_; }

  // Ms: how much earlier than what stands in front of it a time is taken to be, at most.
  long long SlackMs() const;
  // False: times lie so far back that order is of no use.
  bool IsKept() const;

 private:
  void Note(long long earlierInFileMs, long long laterInFileMs);

  std::vector<TimeRun> runs_;
  std::size_t marked_ = 0;
  long long backMs_ = 0;  // how much earlier one was, at most
};

}  // namespace qo_host

#endif  // QO_HOST_TIMEORDER_H
