// Takes the platform log's and the property's place in the test executable.
#ifndef QO_TESTS_LOGCAPTURE_H
#define QO_TESTS_LOGCAPTURE_H

#include <string>

// The lines printed since the last call that contain `part`, each as
// "PRIORITY TEXT\n". A line with another tag than "ASFParser" carries that too.
std::string TakeLog(const std::string& part = {});

// Such lines: the parts of `texts`, between bars, each behind `front`.
std::string Lines(const std::string& front, const std::string& texts);

// Sets the property "qocp.debug.level"; null unsets it. Parsers constructed from
// now on take it.
void SetLevelProperty(const char* value);

#endif  // QO_TESTS_LOGCAPTURE_H
