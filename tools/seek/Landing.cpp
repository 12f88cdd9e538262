// Landing: seeks under the eyes of a record of the session's calls.
#include "tools/seek/Landing.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <utility>

#include "qo_host/BorrowedSource.h"
#include "qo_host/StatusText.h"
#include "tools/common/Words.h"

namespace tool {
namespace {

// Counts packets by the one-byte read that begins each.
class ProbeCounter {
 public:
  explicit ProbeCounter(qo_host::TraceSource* trace) : trace_(trace) {
    trace_->Reset();
    trace_->SetObserver([this](const qo_host::SourceCall& call) {
      probes_ += call.operation == qo_host::SourceOperation::kReadAt && call.requested == 1;
    });
  }
  ~ProbeCounter() { trace_->SetObserver({}); }
  ProbeCounter(const ProbeCounter&) = delete;
  ProbeCounter& operator=(const ProbeCounter&) = delete;

  void Store(Landing* landing) const {
    landing->probes = probes_;
    landing->bytesRead = trace_->AllTotals().bytes;
  }

 private:
  qo_host::TraceSource* trace_;
  unsigned long long probes_ = 0;
};

// The packet that reading starts from: the first one that the source is asked for.
class FirstPacket {
 public:
  FirstPacket(qo_host::TraceSource* trace, const qo_host::AsfLayout& layout) : trace_(trace) {
    trace_->SetObserver([this, &layout](const qo_host::SourceCall& call) {
      const bool isFirst = !packet_ && call.operation == qo_host::SourceOperation::kReadAt;
      if (isFirst && layout.packetLength != 0 && call.offset >= layout.packetsStart) {
        packet_ = layout.PacketAt(call.offset);
      }
    });
  }
  ~FirstPacket() { trace_->SetObserver({}); }
  FirstPacket(const FirstPacket&) = delete;
  FirstPacket& operator=(const FirstPacket&) = delete;

  std::optional<unsigned long long> packet() const { return packet_; }

 private:
  qo_host::TraceSource* trace_;
  std::optional<unsigned long long> packet_;
};

std::string Failed(const qo_host::SeekStatus& status) {
  if (status.video < 0)
    return "video: " + qo_host::StatusText(qo_host::Action::kSeek, status.video);
  if (status.audio < 0)
    return "audio: " + qo_host::StatusText(qo_host::Action::kSeek, status.audio);
  return "";
}

// A second session on what the input's own parser reads, with a record of its calls.
std::unique_ptr<qo_host::ParserSession> MakeTwin(Input* input, qo_host::TraceSource** calls) {
  auto traced = std::make_unique<qo_host::TraceSource>(
      std::make_unique<qo_host::BorrowedSource>(input->session().view()));
  *calls = traced.get();
  int status = kParserOk;
  auto twin = input->session().MakeTwin(std::move(traced), &status);
  input->CheckRead(status);
  return twin;
}

}  // namespace

long long Distance(unsigned long long timeMs, unsigned long long target) {
  return static_cast<long long>(timeMs) - static_cast<long long>(target);
}

void RenewParser(const Input& input, qo_host::ParserSession* session) {
  int status = kParserOk;
  const auto fresh =
      session->MakeTwin(std::make_unique<qo_host::BorrowedSource>(session->view()), &status);
  input.CheckRead(status);
  session->TakeOver(fresh.get());
#ifdef __GLIBC__
  malloc_trim(0);  // it keeps large blocks that lie among small ones
#endif
}

Seeker::Seeker(Input* input)
    : layout_(input->playedLayout()),
      input_(*input),
      session_(MakeTwin(input, &calls_)),
      exact_(session_.get()) {}

void Seeker::Renew() { RenewParser(input_, session_.get()); }

void Seeker::Seek(unsigned long long timeMs, const SeekWay& way, Landing* landing) {
  const ProbeCounter counter(calls_);
  if (!way.exact) {
    landing->problem = Failed(session_->Seek(timeMs, way.mode, way.flags));
  } else {
    const qo_host::ExactSeek exact = exact_.Seek(timeMs);
    if (exact.outcome == qo_host::ExactSeek::Outcome::kFailed)
      landing->problem = SeekProblemText(exact);
    if (exact.outcome == qo_host::ExactSeek::Outcome::kFound) landing->packet = exact.packet;
  }
  counter.Store(landing);
}

Landing Seeker::Land(unsigned long long timeMs, const SeekWay& way) {
  Landing landing;
  Seek(timeMs, way, &landing);
  if (!landing.problem.empty()) return landing;
  const FirstPacket first(calls_, layout_);
  for (const qo_host::TrackKind kind : {qo_host::TrackKind::kVideo, qo_host::TrackKind::kAudio}) {
    if (const qo_host::AccessUnit* unit = session_->NextUnit(kind)) landing.first[kind] = *unit;
  }
  if (!landing.packet) landing.packet = first.packet();
  return landing;
}

}  // namespace tool
