// The page that holds the parts of a report.
#ifndef QO_TOOLS_REPORT_PAGE_H
#define QO_TOOLS_REPORT_PAGE_H

#include <string>
#include <vector>

namespace tool {

// A part with its heading. An empty `body` is no part.
std::string Section(const char* heading, const std::string& body);

// A picture with what it shows in words; `words` are markup and tell all that matters.
// `name` is an id that no other figure has.
std::string Figure(const std::string& name, const std::string& words, const std::string& legend,
                   const std::string& picture);

// Cells of a table, row by row; markup.
using Rows = std::vector<std::vector<std::string>>;

// A table that a narrow page scrolls.
std::string Table(const std::vector<std::string>& headings, const Rows& rows);

// What is folded away under a line of words until it is asked for; markup.
std::string Folded(const std::string& summary, const std::string& body);

// The page up to its parts, and what closes it. `title` is text.
std::string PageStart(const std::string& title);
std::string PageEnd();

}  // namespace tool

#endif  // QO_TOOLS_REPORT_PAGE_H
