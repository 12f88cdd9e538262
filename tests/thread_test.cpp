// Two parsers in two threads, each with a file of its own: built with the thread
// sanitizer, which ends the program where they race. Both threads must read the
// same from the same file.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "FaultySource.h"
#include "IParser.h"
#include "platform/Platform.h"

namespace {

std::size_t Play(const std::string& file) {
  std::size_t digest = 0;
  std::vector<unsigned char> buffer(kMaxAccessUnitBytes);
  for (int session = 0; session < 5; ++session) {
    FaultySource source(file);
    source.record = false;
    IParser* parser = createParser();
    if (parser == nullptr || parser->Open(&source) != kParserOk) return 0;
    for (unsigned int k = 0; k < parser->GetTrackCount(); ++k) parser->GetTrackInfo(k);
    unsigned long size = 0, timeMs = 0;
    const auto note = [&](int status) {
      if (status != kParserOk) return false;
      const std::string unit(buffer.begin(), buffer.begin() + static_cast<long>(size));
      digest = digest * 31 + std::hash<std::string>()(unit) + timeMs;
      return true;
    };
    for (const int mode : {kSeekPreviousSync, kSeekNextSync}) {
      while (note(parser->GetVideoData(buffer.data(), &size, &timeMs, 0, false))) {
      }
      while (note(parser->GetAudioData(buffer.data(), &size, &timeMs, 0))) {
      }
      parser->SeekEx(500, kTrackVideo, 0, 0, 0, mode);
      parser->SeekEx(500, kTrackAudio, 0, 0, 0, mode);
    }
    parser->Close();
    destroyParser(parser);
  }
  return digest;
}

}  // namespace

// Every message is formatted, in the thread that prints it.
int __android_log_print(int, const char*, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  return length;
}
void __android_log_assert(const char*, const char*, const char*, ...) { std::abort(); }
int property_get(const char*, char* value, const char*) {
  return std::snprintf(value, kPropertyValueBytes, "7");
}

int main(int argc, char** argv) {
  for (int k = 1; k < argc; ++k) {
    std::ifstream in(argv[k], std::ios::binary);
    const std::string file{std::istreambuf_iterator<char>(in), {}};
    std::size_t digests[2] = {};
    std::thread other([&] { digests[1] = Play(file); });
    digests[0] = Play(file);
    other.join();
    if (digests[0] == 0 || digests[0] != digests[1]) {
      return std::fprintf(stderr, "%s: the threads read different units\n", argv[k]), 1;
    }
  }
  return argc > 1 ? 0 : 2;
}
