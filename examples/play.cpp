// Plays a file through the kit: every unit of both tracks, in the order of time.
#include <qo_host/FileSource.h>
#include <qo_host/ParserSession.h>
#include <qo_host/StatusText.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: play FILE\n", stderr), 2;
  std::string error;
  auto file = qo_host::FileSource::OpenPath(argv[1], &error);
  if (!file) return std::fprintf(stderr, "%s\n", error.c_str()), 2;

  qo_host::ParserSession session({createParser, destroyParser}, std::move(file));
  if (const int status = session.Open(); status != kParserOk) {
    const std::string reason = qo_host::StatusText(qo_host::Action::kOpen, status);
    return std::fprintf(stderr, "%s: %s\n", argv[1], reason.c_str()), 1;
  }
  for (const qo_host::Track& track : session.tracks()) {
    // A decoder is made of these: track.info.codec, track.config and, for video, the size.
    std::printf("%s: codec %u, %zu bytes of configuration\n", qo_host::TrackKindName(track.kind),
                track.info.codec, track.config.size());
  }
  while (const qo_host::AccessUnit* unit = session.NextUnit()) {
    // ... and fed with these: unit->data, valid until the next unit of its kind is read.
    std::printf("%s %llu ms: %zu bytes%s\n", qo_host::TrackKindName(unit->kind), unit->timeMs,
                unit->size, unit->isIncomplete ? ", incomplete" : "");
  }
}
