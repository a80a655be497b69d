// Machine-readable reports: a small JSON writer and XML text escaping. Text from outside (paths,
// file contents in messages) may hold any bytes; what is not valid UTF-8 is written as U+FFFD, so
// the reports stay well formed whatever they quote.
#ifndef ALAD_TOOLS_REPORT_WRITERS_H
#define ALAD_TOOLS_REPORT_WRITERS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace alad_tool {

// Writes one JSON value, indented by two blanks per level, into a string:
//   JsonWriter json;
//   json.BeginObject().Key("frames").Int(3).EndObject();
class JsonWriter {
public:
    JsonWriter& BeginObject();
    JsonWriter& EndObject();
    JsonWriter& BeginArray();
    JsonWriter& EndArray();
    JsonWriter& Key(std::string_view key);
    JsonWriter& String(std::string_view text);
    JsonWriter& Int(int64_t value);
    JsonWriter& Bool(bool value);
    JsonWriter& Null();
    // The text written, with a final line end.
    std::string Text() const { return out_ + "\n"; }

private:
    void BeforeValue();
    void Close(char bracket);
    std::string out_;
    std::vector<bool> has_items_;  // per open container
    bool after_key_ = false;
};

// A JSON string literal, quotes included.
std::string JsonQuoted(std::string_view text);
// Text for XML content or attribute values: & < > " ' escaped, line ends kept, other control
// characters (not allowed in XML 1.0) and invalid UTF-8 as U+FFFD.
std::string XmlEscaped(std::string_view text);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_REPORT_WRITERS_H
