#include "tools/json.h"

#include <cmath>
#include <cstdio>

namespace alad_tool {

namespace {

std::string Escaped(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char code[8];
                    std::snprintf(code, sizeof(code), "\\u%04x", c);
                    out += code;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

}  // namespace

void JsonWriter::BeforeValue(bool container) {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (levels_.empty()) return;
    Level& level = levels_.back();
    if (!level.empty) text_ += ",";
    if (container) level.multiline = true;
    if (level.multiline) {
        text_ += "\n" + std::string(2 * levels_.size(), ' ');
    } else if (!level.empty) {
        text_ += " ";
    }
    level.empty = false;
}

JsonWriter& JsonWriter::BeginObject() {
    BeforeValue(true);
    text_ += "{";
    levels_.push_back({false, true, true});
    return *this;
}

JsonWriter& JsonWriter::EndObject() {
    const bool empty = levels_.back().empty;
    levels_.pop_back();
    if (!empty) text_ += "\n" + std::string(2 * levels_.size(), ' ');
    text_ += "}";
    return *this;
}

JsonWriter& JsonWriter::BeginArray() {
    BeforeValue(true);
    text_ += "[";
    levels_.push_back({true, true, false});
    return *this;
}

JsonWriter& JsonWriter::EndArray() {
    const Level level = levels_.back();
    levels_.pop_back();
    if (level.multiline && !level.empty) text_ += "\n" + std::string(2 * levels_.size(), ' ');
    text_ += "]";
    return *this;
}

JsonWriter& JsonWriter::Key(const std::string& name) {
    BeforeValue(false);
    text_ += Escaped(name) + ": ";
    after_key_ = true;
    return *this;
}

JsonWriter& JsonWriter::Value(const std::string& text) {
    BeforeValue(false);
    text_ += Escaped(text);
    return *this;
}

JsonWriter& JsonWriter::Value(double number) {
    if (!std::isfinite(number)) return Null();
    BeforeValue(false);
    char digits[32];
    std::snprintf(digits, sizeof(digits), "%.10g", number);
    text_ += digits;
    return *this;
}

JsonWriter& JsonWriter::Value(long long number) {
    BeforeValue(false);
    text_ += std::to_string(number);
    return *this;
}

JsonWriter& JsonWriter::Value(bool flag) {
    BeforeValue(false);
    text_ += flag ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::Null() {
    BeforeValue(false);
    text_ += "null";
    return *this;
}

}  // namespace alad_tool
