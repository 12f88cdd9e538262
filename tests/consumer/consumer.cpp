// Opens the file named and prints how many tracks it has. Asks for one track
// more than there are, which the parser answers with a line in the log.
#include <qo_parser_asf/IParser.h>

#include <cstdio>

#include "../../examples/StdioSource.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  StdioSource source(argv[1]);
  if (source.Open() < 0) return 2;
  IParser* parser = createParser();
  const int status = parser->Open(&source);
  const unsigned int tracks = parser->GetTrackCount();
  std::printf("status %d, %u tracks\n", status, tracks);
  const bool noMore = parser->GetTrackInfo(tracks) == nullptr;
  parser->Close();
  destroyParser(parser);
  return status == 0 && noMore ? 0 : 1;
}
