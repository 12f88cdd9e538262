// HTML that holds text from a file that nobody vetted. All that is made here is XML as well.
#ifndef QO_TOOLS_REPORT_HTML_H
#define QO_TOOLS_REPORT_HTML_H

#include <cstddef>
#include <string>

namespace tool {

// `text` as it may stand in an element or in a quoted attribute: no markup, no control
// characters, none that turn the direction of what follows, and no bytes that are no UTF-8:
// U+FFFD stands in place of each. Of long texts the beginning.
std::string Escaped(const std::string& text);

// <name attributes>inner</name>. `attributes` and `inner` are markup.
std::string Element(const char* name, const std::string& inner, const std::string& attributes = "");

// Text from the file, escaped and kept to itself where it runs from right to left.
std::string FileText(const std::string& text);

// "data:TYPE;base64,..." of the image at `data`, of which the type is told by its own first
// bytes; empty where it is none that browsers show as a picture and nothing else.
std::string ImageUri(const unsigned char* data, std::size_t size);

// "1 234 567", with spaces at which no line breaks.
std::string Grouped(unsigned long long number);

}  // namespace tool

#endif  // QO_TOOLS_REPORT_HTML_H
