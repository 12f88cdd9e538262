// What single objects say, in words.
#ifndef QO_HOST_OBJECTFIELDS_H
#define QO_HOST_OBJECTFIELDS_H

#include "host/tree/FieldList.h"
#include "qo_host/FileHeader.h"

namespace qo_host {

class HeaderFiller;

// Adds the fields of `object`, whose bytes are in `part->bytes`; the rest of `*part` is
// overwritten. Whether they are all whole is told in `part->problems`. `header` is the file's:
// objects name languages by their place in its list.
void DescribeObject(const HeaderObject& object, const FileHeader& header, FileHeader* part,
                    std::vector<ObjectField>* fields);

// The same for an object that a FileHeader has nothing of. False for all others.
bool DescribeRareObject(const HeaderObject& object, HeaderFiller* filler, FieldList* fields);

// "stream 2"
std::string StreamText(unsigned int number);

}  // namespace qo_host

#endif  // QO_HOST_OBJECTFIELDS_H
