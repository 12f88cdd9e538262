// Takes the platform log's and the property's place in the test executable.
#ifndef QO_TESTS_LOGCAPTURE_H
#define QO_TESTS_LOGCAPTURE_H

#include <string>
#include <vector>

// The lines printed since the last call, each as "PRIORITY TEXT". A line with
// another tag than "ASFParser" carries that tag too.
std::vector<std::string> TakeLog();

// The same, those lines alone that contain `part`.
std::vector<std::string> TakeLog(const std::string& part);

// Sets the property "qocp.debug.level"; null unsets it. Parsers constructed from
// now on take it.
void SetLevelProperty(const char* value);

#endif  // QO_TESTS_LOGCAPTURE_H
