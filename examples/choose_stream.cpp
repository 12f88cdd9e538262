// Plays one audio stream of several, chosen by its number in the file, and the video with
// it. Without a number it lists the streams to choose from.
#include <qo_host/FileSource.h>
#include <qo_host/ParserSession.h>
#include <qo_host/StatusText.h>

#include <cstdio>
#include <cstdlib>

namespace {

void ListAudio(const qo_host::FileHeader& header) {
  for (const qo_host::StreamHeader& stream : header.streams) {
    if (stream.kind != qo_host::StreamKind::kAudio) continue;
    const qo_host::ExtendedStream* extended = header.Extended(stream.number);
    const std::string language = extended ? header.Language(extended->language) : "";
    std::printf("%d %s\n", stream.number, language.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) return std::fputs("usage: choose_stream FILE [NUMBER]\n", stderr), 2;
  std::string error;
  auto file = qo_host::FileSource::OpenPath(argv[1], &error);
  if (!file) return std::fprintf(stderr, "%s\n", error.c_str()), 2;

  qo_host::OpenOptions options;
  if (argc == 3) options.streams.audio = static_cast<unsigned char>(std::atoi(argv[2]));
  qo_host::ParserSession session({createParser, destroyParser}, std::move(file));
  if (const int status = session.Open(options); status != kParserOk) {
    const std::string reason = qo_host::StatusText(qo_host::Action::kOpen, status);
    return std::fprintf(stderr, "%s: %s\n", argv[1], reason.c_str()), 1;
  }
  if (argc == 2) return ListAudio(session.presented()->header()), 0;

  const qo_host::Track* audio = session.FindTrack(qo_host::TrackKind::kAudio);
  if (!audio) return std::fprintf(stderr, "%s: no audio stream %s\n", argv[1], argv[2]), 1;
  std::printf("audio is stream %d\n", *audio->stream);
  while (const qo_host::AccessUnit* unit = session.NextUnit()) {
    std::printf("%s %llu ms: %zu bytes\n", qo_host::TrackKindName(unit->kind), unit->timeMs,
                unit->size);
  }
}
