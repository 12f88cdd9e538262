#include <qo_parser_asf/IParser.h>

#include <cstdio>
#include <vector>

#include "qo_host/FileSource.h"  // an IDataSource over a file; a host brings its own

int main(int argc, char** argv) {
  std::string error;
  const auto source = qo_host::FileSource::OpenPath(argc > 1 ? argv[1] : "", &error);
  if (!source) return std::puts(error.c_str()), 2;

  IParser* parser = createParser();
  int status = parser->Open(source.get());
  std::vector<unsigned char> unit(kMaxAccessUnitBytes);
  unsigned long size = 0, timeMs = 0;
  for (unsigned int i = 0; status == kParserOk && i < parser->GetTrackCount(); ++i) {
    if (parser->GetTrackInfo(i)->trackType != kTrackVideo) continue;
    while ((status = parser->GetVideoData(unit.data(), &size, &timeMs, unit.size(), false)) == 0)
      std::printf("%lu ms: %lu bytes\n", timeMs, size);
  }
  parser->Close();  // whatever happened, and before destroyParser
  destroyParser(parser);
  return status == kParserOk || status == kParserEndOfStream ? 0 : 1;
}
