// A small JSON writer for the tool's --json output: objects with one member per line, arrays of
// numbers on one line, so that the output reads well and parses everywhere.
#ifndef ALAD_TOOLS_JSON_H
#define ALAD_TOOLS_JSON_H

#include <cstdint>
#include <string>
#include <vector>

namespace alad_tool {

class JsonWriter {
public:
    JsonWriter& BeginObject();
    JsonWriter& EndObject();
    JsonWriter& BeginArray();
    JsonWriter& EndArray();
    // The member name of the next value (inside an object).
    JsonWriter& Key(const std::string& name);

    JsonWriter& Value(const std::string& text);
    JsonWriter& Value(const char* text) { return Value(std::string(text)); }
    // Not-a-number and infinities are written as null.
    JsonWriter& Value(double number);
    JsonWriter& Value(long long number);
    JsonWriter& Value(int number) { return Value(static_cast<long long>(number)); }
    JsonWriter& Value(bool flag);
    JsonWriter& Null();
    template <typename T>
    JsonWriter& Value(const std::vector<T>& numbers) {
        BeginArray();
        for (const T& n : numbers) Value(n);
        return EndArray();
    }
    template <typename T>
    JsonWriter& Member(const std::string& name, const T& value) {
        Key(name);
        return Value(value);
    }

    // The document, with a final newline.
    std::string Text() const { return text_ + "\n"; }

private:
    struct Level {
        bool array;
        bool empty;
        bool multiline;  // an array that holds an object or an array
    };
    void BeforeValue(bool container);

    std::string text_;
    std::vector<Level> levels_;
    bool after_key_ = false;
};

}  // namespace alad_tool

#endif  // ALAD_TOOLS_JSON_H
