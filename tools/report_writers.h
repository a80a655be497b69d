// Text quoted for machine-readable reports (JSON, XML). Text from outside (paths, file contents in
// messages) may hold any bytes; what is not valid UTF-8 is written as U+FFFD, so the reports stay
// well formed whatever they quote.
#ifndef ALAD_TOOLS_REPORT_WRITERS_H
#define ALAD_TOOLS_REPORT_WRITERS_H

#include <string>
#include <string_view>

namespace alad_tool {

// A JSON string literal, quotes included.
std::string JsonQuoted(std::string_view text);
// Text for XML content or attribute values: & < > " ' escaped, line ends kept, other control
// characters (not allowed in XML 1.0) and invalid UTF-8 as U+FFFD.
std::string XmlEscaped(std::string_view text);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_REPORT_WRITERS_H
