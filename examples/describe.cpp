// Describes a file: how long it is, which streams it has and which of them are played,
// its tags and its cover art. Nothing is played.
#include <qo_host/CodecNames.h>
#include <qo_host/FileSource.h>
#include <qo_host/ParserSession.h>
#include <qo_host/StatusText.h>

#include <cstdio>

namespace {

void PrintTrack(const qo_host::Track& track) {
  const TrackInfo& info = track.info;
  const char* codec = qo_host::CodecName(info.codec);
  if (track.kind == qo_host::TrackKind::kVideo) {
    std::printf("video: %s, %u x %u pixels\n", codec, info.value1, info.value2);
  } else {
    std::printf("audio: %s, %u Hz, %u channels\n", codec, info.value2, info.value1);
  }
}

// Also those that aren't played: FileHeader is what the file says, whatever is made of it.
void PrintStreams(const qo_host::FileHeader& header) {
  for (const qo_host::StreamHeader& stream : header.streams) {
    std::printf("stream %d: %s%s", stream.number, qo_host::StreamKindName(stream.kind),
                stream.encrypted ? ", encrypted" : "");
    if (const qo_host::ExtendedStream* extended = header.Extended(stream.number)) {
      const std::string language = header.Language(extended->language);
      if (!language.empty()) std::printf(", %s", language.c_str());
      for (const qo_host::StreamName& name : extended->names) {
        std::printf(", \"%s\"", name.text.c_str());
      }
    }
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: describe FILE\n", stderr), 2;
  std::string error;
  auto file = qo_host::FileSource::OpenPath(argv[1], &error);
  if (!file) return std::fprintf(stderr, "%s\n", error.c_str()), 2;

  qo_host::ParserSession session({createParser, destroyParser}, std::move(file));
  const int status = session.Open();
  const qo_host::PresentedFile* presented = session.presented();
  if (presented && !presented->header().isAsf) {
    // The parser takes such a file for one without tracks, which is no failure.
    return std::fprintf(stderr, "%s: no ASF file\n", argv[1]), 1;
  }
  if (status != kParserOk) {
    const std::string reason = qo_host::StatusText(qo_host::Action::kOpen, status);
    return std::fprintf(stderr, "%s: %s\n", argv[1], reason.c_str()), 1;
  }
  std::printf("duration: %llu ms\n", session.durationMs());
  for (const qo_host::Track& track : session.tracks()) PrintTrack(track);
  if (presented) PrintStreams(presented->header());
  for (const qo_host::Tag& tag : session.tags()) {
    std::printf("%s: %s\n", qo_host::TagName(tag.key), tag.text.c_str());
  }
  if (const auto& picture = session.picture()) {
    std::printf("cover: %s, %zu bytes\n", picture->mimeType.c_str(), picture->bytes.size());
  }
}
