// The exported functions that only wrap what the format or a queue offers.
#include "asf/FreeFunctions.h"

#include "asf/ExceptionBarrier.h"

unsigned char findIdByGUID(guid g) { return LookupGuid(g).value_or(ID_HEADER_OBJECT); }

int setCodedTypeData(IDataSource* src, unsigned char type, coded_type* out) {
  ExceptionBarrier barrier;
  out->Value = 0;  // should the source throw
  return barrier.Run([=] {
    SourceReader reader(src);
    out->Value = reader.ReadCoded(type);
    return IsCompressedMark(type, out->Value) ? 1 : 0;
  });
}

int parseReplicatedData(unsigned char* data, replicated_data* out) {
  *out = SplitReplicatedData(data);
  return 0;
}

void flushMediaData(media_data* md) { md->qData.clear(); }
