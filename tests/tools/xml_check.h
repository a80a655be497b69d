// A strict little XML reader for the tests: checks that a document is well-formed (one root,
// properly nested and closed elements, quoted attributes, known entities) and collects the text of
// each element by name.
#ifndef ALAD_TESTS_TOOLS_XML_CHECK_H
#define ALAD_TESTS_TOOLS_XML_CHECK_H

#include <cctype>
#include <map>
#include <string>
#include <vector>

namespace alad_test {

struct XmlDocument {
    std::string error;  // empty when well-formed
    std::string root;
    std::map<std::string, std::string> root_attributes;
    std::multimap<std::string, std::string> texts;  // element name -> its own text
};

inline XmlDocument ParseXml(const std::string& s) {
    XmlDocument doc;
    size_t i = 0;
    std::vector<std::pair<std::string, std::string>> open;  // name, text so far
    auto fail = [&](const std::string& what) {
        if (doc.error.empty()) doc.error = what + " at byte " + std::to_string(i);
    };
    auto is_name = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == ':' || c == '-' || c == '_' || c == '.'; };
    auto entity = [&](std::string& out) {
        const size_t end = s.find(';', i);
        if (end == std::string::npos || end - i > 10) return fail("unterminated entity");
        const std::string name = s.substr(i + 1, end - i - 1);
        static const std::map<std::string, char> known = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
        if (known.count(name)) {
            out += known.at(name);
        } else if (name.size() > 1 && name[0] == '#') {
            out += '?';  // a character reference; its value does not matter here
        } else {
            return fail("unknown entity &" + name + ";");
        }
        i = end + 1;
    };
    bool seen_root = false;
    while (i < s.size() && doc.error.empty()) {
        if (s.compare(i, 4, "<!--") == 0) {
            const size_t end = s.find("-->", i);
            if (end == std::string::npos) return fail("unterminated comment"), doc;
            i = end + 3;
        } else if (s.compare(i, 2, "<?") == 0) {
            const size_t end = s.find("?>", i);
            if (end == std::string::npos) return fail("unterminated declaration"), doc;
            i = end + 2;
        } else if (s.compare(i, 9, "<![CDATA[") == 0) {
            const size_t end = s.find("]]>", i);
            if (end == std::string::npos || open.empty()) return fail("misplaced CDATA"), doc;
            open.back().second += s.substr(i + 9, end - i - 9);
            i = end + 3;
        } else if (s.compare(i, 2, "</") == 0) {
            size_t j = i + 2;
            while (j < s.size() && is_name(s[j])) ++j;
            const std::string name = s.substr(i + 2, j - i - 2);
            while (j < s.size() && std::isspace(static_cast<unsigned char>(s[j]))) ++j;
            if (j >= s.size() || s[j] != '>' || open.empty() || open.back().first != name) {
                return fail("mismatched </" + name + ">"), doc;
            }
            doc.texts.emplace(name, open.back().second);
            open.pop_back();
            i = j + 1;
        } else if (s[i] == '<') {
            size_t j = i + 1;
            while (j < s.size() && is_name(s[j])) ++j;
            const std::string name = s.substr(i + 1, j - i - 1);
            if (name.empty()) return fail("element without a name"), doc;
            if (open.empty() && seen_root) return fail("a second root element <" + name + ">"), doc;
            std::map<std::string, std::string> attributes;
            for (;;) {
                while (j < s.size() && std::isspace(static_cast<unsigned char>(s[j]))) ++j;
                if (j >= s.size()) return fail("unterminated <" + name + ">"), doc;
                if (s[j] == '>' || s.compare(j, 2, "/>") == 0) break;
                const size_t a = j;
                while (j < s.size() && is_name(s[j])) ++j;
                const std::string attribute = s.substr(a, j - a);
                if (attribute.empty() || j + 1 >= s.size() || s[j] != '=' || (s[j + 1] != '"' && s[j + 1] != '\'')) {
                    i = j;
                    return fail("bad attribute in <" + name + ">"), doc;
                }
                const size_t end = s.find(s[j + 1], j + 2);
                if (end == std::string::npos || s.substr(j + 2, end - j - 2).find('<') != std::string::npos) {
                    return fail("unterminated attribute value"), doc;
                }
                if (attributes.count(attribute)) return fail("attribute " + attribute + " given twice"), doc;
                attributes[attribute] = s.substr(j + 2, end - j - 2);
                j = end + 1;
            }
            if (!seen_root) {
                doc.root = name;
                doc.root_attributes = attributes;
                seen_root = true;
            }
            if (s[j] == '/') {
                doc.texts.emplace(name, "");
                i = j + 2;
            } else {
                open.emplace_back(name, "");
                i = j + 1;
            }
        } else if (s[i] == '&') {
            if (open.empty()) return fail("text outside the root"), doc;
            entity(open.back().second);
        } else {
            if (open.empty() && !std::isspace(static_cast<unsigned char>(s[i]))) return fail("text outside the root"), doc;
            if (!open.empty()) open.back().second += s[i];
            ++i;
        }
    }
    if (doc.error.empty() && !open.empty()) fail("<" + open.back().first + "> not closed");
    if (doc.error.empty() && !seen_root) fail("no root element");
    return doc;
}

// Whether any element `name` has exactly this text.
inline bool HasText(const XmlDocument& doc, const std::string& name, const std::string& text) {
    const auto range = doc.texts.equal_range(name);
    for (auto it = range.first; it != range.second; ++it) {
        if (it->second == text) return true;
    }
    return false;
}

}  // namespace alad_test

#endif  // ALAD_TESTS_TOOLS_XML_CHECK_H
