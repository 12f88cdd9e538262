// StatusText: one table, a column for each action.
#include "qo_host/StatusText.h"

#include "qo_parser_asf/ParserStatus.h"

namespace qo_host {
namespace {

struct StatusWords {
  int status;
  const char* opening;
  const char* seeking;
  const char* reading;
};

constexpr StatusWords kWords[] = {
    {kParserOk, "no error", "no error", "no error"},
    {kParserMalformed, "the header is malformed", "the data there is malformed",
     "the data is malformed"},
    {kParserOutOfRange, "a size in the header is out of range, or memory ran out",
     "a size in a packet there is out of range, or memory ran out", "memory ran out"},
    {kParserUnsupported, "the content is encrypted", "there is no packet to start from",
     "the data is of an unknown kind"},
    {kParserEndOfStream, "the data ends, or the source failed badly",
     "the data ends there, or the source failed badly", "the source failed badly"},
    {kParserInternal, "the data makes no sense to the parser",
     "the data there makes no sense to the parser", "the data makes no sense"},
};

}  // namespace

std::string StatusText(Action action, int status) {
  for (const StatusWords& words : kWords) {
    if (words.status != status) continue;
    if (action == Action::kOpen) return words.opening;
    return action == Action::kSeek ? words.seeking : words.reading;
  }
  return "reading failed with status " + std::to_string(status);
}

}  // namespace qo_host
