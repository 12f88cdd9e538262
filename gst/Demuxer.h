// What qoasfdemux does between its pads.
//
// All streams of a file play at once, though a parser hands out one audio and one video
// stream: each has a session of its own, in which no other stream is presented, over one
// byte source. What that reads stands in its windows for all of them, since they read the
// same region, one shortly after the other.
//
// One streaming task asks each stream for its next unit and pushes the one with the
// least time, so that all stay in step and no more than a unit of each is in flight. The
// task stops for whatever ends it (the end, a flow that isn't good, a flush), and a seek
// starts it anew.
//
// The task's lock is held while it runs, by a seek and by what else moves the streams.
// Queries, and a seek before it has that lock, look at a copy of what they need.
#ifndef QO_GST_DEMUXER_H
#define QO_GST_DEMUXER_H

#include <gst/base/gstflowcombiner.h>
#include <gst/gst.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "gst/Output.h"
#include "gst/PadSource.h"
#include "gst/QueueSource.h"
#include "qo_host/FileHeader.h"

// Holds a task's lock.
class TaskLock {
 public:
  explicit TaskLock(GRecMutex* mutex) : mutex_(mutex) { g_rec_mutex_lock(mutex_); }
  ~TaskLock() { g_rec_mutex_unlock(mutex_); }
  TaskLock(const TaskLock&) = delete;
  TaskLock& operator=(const TaskLock&) = delete;

 private:
  GRecMutex* const mutex_;
};

class Demuxer {
 public:
  // Both are the element's own and outlive this.
  Demuxer(GstElement* element, GstPad* sink);
  ~Demuxer();
  Demuxer(const Demuxer&) = delete;
  Demuxer& operator=(const Demuxer&) = delete;

  // Starts streaming from the sink pad, which is pulled or pushed to by `mode`, and ends
  // it: on return nothing is pushed any more. The pad itself ends a pull that waits.
  void Start(GstPadMode mode);
  void Stop();
  // In push mode, for the thread that pushes; otherwise null.
  QueueSource* queue() const { return queue_.get(); }
  // Forgets the file, pads included.
  void Reset();

  // From any thread, for any source pad.
  bool Seek(GstEvent* event);
  bool SelectStreams(GstEvent* event);
  bool Answer(GstQuery* query) const;  // false: the query is none of ours

 private:
  void Run();
  std::unique_ptr<IDataSource> MakeSource() const;
  // Opening; false: the reason has been posted.
  bool OpenFile();
  std::optional<int> ReadFile();
  bool CheckHeader();
  void OpenStreams(int* status);
  bool IsWorthASession(std::size_t sessions) const;
  void ExposeStreams();
  void PostRefusal(int status);

  // The next unit. False: the task has stopped.
  bool Step();
  Output* NextOutput();
  bool IsRead(const Output& output) const;
  void EndOutput(Output* output);
  void CoverGaps(GstClockTime now);
  void WarnOfDamage(const StreamReader& reader);
  void Finish();
  void StopFor(GstFlowReturn flow);
  void ApplySelection();
  void JoinIn(Output* output);
  void PostSelection();

  // Backwards, piece by piece. False: none is left.
  bool BeginPiece();
  std::int64_t MoveToPiece(std::int64_t lastMs);

  // A seek, step by step.
  struct SeekRequest;
  bool CanSeek(const SeekRequest& request) const;
  bool IsFirstTime(const SeekRequest& request);
  void Interrupt(const SeekRequest& request);
  GstSegment Move(const SeekRequest& request);
  GstSegment MoveForward(const SeekRequest& request, GstSegment segment);
  std::optional<std::int64_t> MoveVideo(const SeekRequest& request, std::int64_t targetMs,
                                        GstClockTime stop);
  void MoveAudio(std::int64_t targetMs);
  void Resume(const SeekRequest& request, const GstSegment& segment);
  void PushToAll(GstEvent* event);

  bool AnswerDuration(GstQuery* query) const;
  bool AnswerPosition(GstQuery* query) const;
  bool AnswerSeeking(GstQuery* query) const;
  bool AnswerSegment(GstQuery* query) const;

  GstElement* const element_;
  GstPad* const sink_;
  GstTask* task_;
  GRecMutex taskLock_;

  // Under taskLock_.
  std::unique_ptr<PadSource> pull_;     // null: no file, or pushed
  std::shared_ptr<QueueSource> queue_;  // null: pulled
  qo_host::FileHeader header_;
  std::vector<std::unique_ptr<Output>> outputs_;
  GstFlowCombiner* combiner_;
  GstStreamCollection* collection_ = nullptr;
  GstSegment segment_;
  GstClockTime pieceStart_ = 0;  // of the piece that plays backwards; at first where play begins
  guint32 seqnum_ = 0;
  bool isStreaming_ = false;  // between Start and Stop
  bool isOpen_ = false;
  bool hasToldOfDistance_ = false;
  std::optional<unsigned long long> lastDamaged_;  // packet, of those told

  // What any thread may see, with a lock of its own, which nothing else is called under.
  struct Shown {
    std::vector<std::shared_ptr<GstPad>> pads;  // none: no file is open
    bool canSeek = false;
    std::shared_ptr<QueueSource> queue;  // null: pulled
    GstSegment segment = {};             // the duration is in it
  };
  Shown GetShown() const;
  void Show();
  mutable std::mutex shownLock_;
  Shown shown_;
  guint32 lastSeek_ = 0;             // the seqnum of the last one that was taken
  std::vector<std::string> wanted_;  // ids of the streams to select
  std::atomic<bool> hasWanted_{false};
  std::atomic<GstClockTime> position_{0};
  std::atomic<GstFlowReturn> flow_{GST_FLOW_OK};  // of the source's reads
};

#endif  // QO_GST_DEMUXER_H
