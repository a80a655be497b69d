#include "tools/report_writers.h"

#include <cstdio>

namespace alad_tool {

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// The length of the valid UTF-8 sequence starting at text[i], or 0 when none starts there.
size_t Utf8Length(std::string_view text, size_t i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    size_t length;
    uint32_t code;
    if (c < 0x80) return 1;
    if (c >= 0xC2 && c <= 0xDF) {
        length = 2;
        code = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
        length = 3;
        code = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        length = 4;
        code = c & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size()) return 0;
    for (size_t k = 1; k < length; ++k) {
        const unsigned char next = static_cast<unsigned char>(text[i + k]);
        if ((next & 0xC0) != 0x80) return 0;
        code = (code << 6) | (next & 0x3F);
    }
    // Overlong forms, surrogates and code points beyond U+10FFFF are not UTF-8.
    if ((length == 3 && code < 0x800) || (length == 4 && (code < 0x10000 || code > 0x10FFFF)) ||
        (code >= 0xD800 && code <= 0xDFFF)) {
        return 0;
    }
    return length;
}

}  // namespace

std::string JsonQuoted(std::string_view text) {
    std::string out = "\"";
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = Utf8Length(text, i);
        if (length == 0) {
            out += kReplacement;
            ++i;
            continue;
        }
        if (length > 1) {
            out.append(text.substr(i, length));
            i += length;
            continue;
        }
        ++i;
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20 || c == 0x7F) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
                    out += escaped;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    return out + "\"";
}

std::string XmlEscaped(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = Utf8Length(text, i);
        if (length == 0 || (c < 0x20 && c != '\t' && c != '\n' && c != '\r')) {
            out += kReplacement;
            ++i;
            continue;
        }
        if (length > 1) {
            out.append(text.substr(i, length));
            i += length;
            continue;
        }
        ++i;
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&apos;"; break;
            // Kept as characters in attribute values too, where a literal line end would be
            // read back as a blank.
            case '\n': out += "&#10;"; break;
            case '\r': out += "&#13;"; break;
            case '\t': out += "&#9;"; break;
            default: out += static_cast<char>(c);
        }
    }
    return out;
}

}  // namespace alad_tool
