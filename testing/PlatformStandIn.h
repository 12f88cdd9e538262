// Stands in for the platform in a program of its own: the log, which is kept when
// a test wants it, and the parser's one property. Owns both. A fatal assertion
// ends the process with its text on stderr.
#ifndef QO_TESTING_PLATFORMSTANDIN_H
#define QO_TESTING_PLATFORMSTANDIN_H

#include <string>

// From now on what is printed is kept for TakeLog, beginning with nothing. Until
// the first call messages are formatted and dropped; threads may print then.
void CaptureLog();

// The lines kept since the last call that contain `part`, each as
// "PRIORITY TEXT\n". A line with another tag than "ASFParser" carries that too.
std::string TakeLog(const std::string& part = {});

// Such lines: the parts of `texts`, between bars, each behind `front`.
std::string Lines(const std::string& front, const std::string& texts);

// Sets the property "qocp.debug.level"; null unsets it. Parsers constructed from
// now on take it.
void SetLevelProperty(const char* value);

#endif  // QO_TESTING_PLATFORMSTANDIN_H
