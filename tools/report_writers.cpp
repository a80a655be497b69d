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

// `text` with every invalid UTF-8 sequence replaced by U+FFFD, valid multi-byte characters kept,
// and each single byte handed to `escape(byte, out)`, which may also refuse it (returns false) to
// have it replaced.
template <typename Escape>
std::string EscapedUtf8(std::string_view text, Escape escape) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        const size_t length = Utf8Length(text, i);
        if (length > 1) {
            out.append(text.substr(i, length));
        } else if (length == 0 || !escape(static_cast<unsigned char>(text[i]), out)) {
            out += kReplacement;
        }
        i += length > 1 ? length : 1;
    }
    return out;
}

}  // namespace

std::string JsonQuoted(std::string_view text) {
    return "\"" + EscapedUtf8(text, [](unsigned char c, std::string& out) {
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
               return true;
           }) +
           "\"";
}

std::string XmlEscaped(std::string_view text) {
    return EscapedUtf8(text, [](unsigned char c, std::string& out) {
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;  // not allowed in XML 1.0
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
        return true;
    });
}

}  // namespace alad_tool
