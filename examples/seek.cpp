// Seeks to a time in both ways: by the parser's own seek, which takes an index entry or an
// estimate, and exactly, to the last key frame at or before the time. A player shows what
// it decodes from there on, from the time sought on.
#include <qo_host/ExactSeek.h>
#include <qo_host/FileSource.h>
#include <qo_host/ParserSession.h>
#include <qo_host/StatusText.h>

#include <cstdio>
#include <cstdlib>

namespace {

// The first unit of each track behind a seek. Believe its time: it says where reading
// goes on, whatever was sought.
void PrintLanding(const char* way, qo_host::ParserSession* session) {
  for (const auto kind : {qo_host::TrackKind::kVideo, qo_host::TrackKind::kAudio}) {
    if (!session->FindTrack(kind)) continue;
    const char* name = qo_host::TrackKindName(kind);
    if (const qo_host::AccessUnit* unit = session->PeekUnit(kind)) {
      std::printf("%s: %s goes on at %llu ms\n", way, name, unit->timeMs);
    } else {
      std::printf("%s: no %s from there on\n", way, name);
    }
  }
}

void SeekByParser(qo_host::ParserSession* session, unsigned long long timeMs) {
  const qo_host::SeekStatus status = session->Seek(timeMs, kSeekPreviousSync);
  for (const int failure : {status.video, status.audio}) {
    if (failure == kParserOk) continue;
    const std::string reason = qo_host::StatusText(qo_host::Action::kSeek, failure);
    std::printf("previous: %s\n", reason.c_str());  // the track goes on where it was
  }
  PrintLanding("previous", session);
}

void SeekExactly(qo_host::ParserSession* session, unsigned long long timeMs) {
  using Outcome = qo_host::ExactSeek::Outcome;
  // A player keeps its seeker: what one seek learns of the file, the others profit from.
  qo_host::ExactSeeker seeker(session);
  const qo_host::ExactSeek seek = seeker.Seek(timeMs);
  if (seek.outcome == Outcome::kFound) {
    std::printf("exact: the unit at %llu ms begins in packet %llu\n", seek.timeMs, seek.packet);
  } else if (seek.outcome == Outcome::kNothingBefore) {
    std::printf("exact: nothing before it, so from the beginning\n");
  } else {
    std::printf("exact: failed, status %d\n", seek.status);  // goes on where it was
  }
  PrintLanding("exact", session);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::fputs("usage: seek FILE MILLISECONDS\n", stderr), 2;
  const unsigned long long timeMs = std::strtoull(argv[2], nullptr, 10);
  std::string error;
  auto file = qo_host::FileSource::OpenPath(argv[1], &error);
  if (!file) return std::fprintf(stderr, "%s\n", error.c_str()), 2;

  qo_host::ParserSession session({createParser, destroyParser}, std::move(file));
  if (const int status = session.Open(); status != kParserOk) {
    const std::string reason = qo_host::StatusText(qo_host::Action::kOpen, status);
    return std::fprintf(stderr, "%s: %s\n", argv[1], reason.c_str()), 1;
  }
  SeekByParser(&session, timeMs);
  SeekExactly(&session, timeMs);
}
