// Writes the audio of a stream chosen by its number in the file, and from one second on
// that of another one, changed while it plays. Without numbers it lists what there is.
#include <qo_host/FileSource.h>
#include <qo_host/ParserSession.h>
#include <qo_host/StatusText.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

constexpr unsigned long long kChangeAtMs = 1000;

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

void ListAudio(const qo_host::FileHeader& header) {
  for (const qo_host::StreamHeader& stream : header.streams) {
    if (stream.kind != qo_host::StreamKind::kAudio) continue;
    const qo_host::ExtendedStream* extended = header.Extended(stream.number);
    const std::string language = extended ? header.Language(extended->language) : "";
    std::printf("%d %s\n", stream.number, language.c_str());
  }
}

// The video, whose number isn't given, is the first, and plays on where the audio changes.
qo_host::StreamChoice Audio(const char* number) {
  qo_host::StreamChoice choice;
  choice.audio = static_cast<unsigned char>(std::atoi(number));
  return choice;
}

bool Write(qo_host::ParserSession* session, const char* then, std::FILE* out) {
  while (const qo_host::AccessUnit* unit = session->NextUnit()) {
    if (unit->kind != qo_host::TrackKind::kAudio) continue;  // a player shows the video
    if (std::fwrite(unit->data, 1, unit->size, out) != unit->size) return false;
    if (!then || unit->timeMs < kChangeAtMs) continue;
    const int status = session->Choose(Audio(then));
    if (status != kParserOk) std::fprintf(stderr, "stream %s: status %d\n", then, status);
    then = nullptr;  // where it failed nothing has changed
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc == 3 || argc > 5) {
    return std::fputs("usage: choose_stream FILE [OUT FIRST [THEN]]\n", stderr), 2;
  }
  std::string error;
  auto file = qo_host::FileSource::OpenPath(argv[1], &error);
  if (!file) return std::fprintf(stderr, "%s\n", error.c_str()), 2;

  qo_host::OpenOptions options;
  if (argc > 3) options.streams = Audio(argv[3]);
  qo_host::ParserSession session({createParser, destroyParser}, std::move(file));
  if (const int status = session.Open(options); status != kParserOk) {
    const std::string reason = qo_host::StatusText(qo_host::Action::kOpen, status);
    return std::fprintf(stderr, "%s: %s\n", argv[1], reason.c_str()), 1;
  }
  if (argc == 2) return ListAudio(session.presented()->header()), 0;

  if (!session.FindTrack(qo_host::TrackKind::kAudio)) {
    return std::fprintf(stderr, "%s: no audio stream %s\n", argv[1], argv[3]), 1;
  }
  const std::unique_ptr<std::FILE, Closer> out(std::fopen(argv[2], "wb"));
  if (!out) return std::perror(argv[2]), 2;
  return Write(&session, argc > 4 ? argv[4] : nullptr, out.get()) ? 0 : 2;
}
