// The exported factory functions and globals.
#include "asf/ASFParser.h"
#include "asf/ExceptionBarrier.h"
#include "asf/Globals.h"
#include "qo_parser_asf/IParser.h"

extern "C" {

std::atomic<int> debug_level{0};

const unsigned int frmBasedTypeCodes[16] = {2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 1, 1, 4, 5};
const unsigned int fldBasedTypeCodes[8] = {6, 7, 8, 9, 10, 11, 12, 13};

QO_EXPORT IParser* createParser() {
  ExceptionBarrier barrier;
  return barrier.Run([]() -> IParser* { return new ASFParser; });
}

QO_EXPORT void destroyParser(IParser* parser) { delete parser; }
}
