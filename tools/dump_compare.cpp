#include "tools/dump_compare.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

#include "tools/json.h"
#include "tools/tool_common.h"

namespace alad_tool {

namespace fs = std::filesystem;

namespace {

// Trailing blanks and carriage returns dropped, hexadecimal lines in lower case, so that dumps
// from tools that write "00000FFF\r\n" compare equal to ours.
std::string Normalised(std::string line) {
    while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back()))) line.pop_back();
    const bool hex = !line.empty() && std::all_of(line.begin(), line.end(), [](char c) {
        return std::isxdigit(static_cast<unsigned char>(c)) != 0;
    });
    if (hex) {
        for (char& c : line) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return line;
}

bool IsHex(const std::string& line, size_t digits) {
    return line.size() == digits && std::all_of(line.begin(), line.end(), [](char c) {
               return std::isxdigit(static_cast<unsigned char>(c)) != 0;
           });
}

int64_t HexValue(const std::string& text) { return static_cast<int64_t>(std::strtoull(text.c_str(), nullptr, 16)); }
int64_t Distance(int64_t a, int64_t b) { return a > b ? a - b : b - a; }

std::set<std::string> FilesUnder(const fs::path& root) {
    std::set<std::string> files;
    try {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file()) continue;
            const std::string name = entry.path().lexically_relative(root).generic_string();
            if (name != kRunRecordName) files.insert(name);
        }
    } catch (const fs::filesystem_error& e) {
        throw RunError("cannot list '" + root.string() + "': " + e.code().message());
    }
    return files;
}

bool IsFrameFolderName(const std::string& name) {
    return name.size() > 6 && name.compare(0, 6, "frame-") == 0 &&
           std::all_of(name.begin() + 6, name.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

int FrameFolders(const fs::path& root) {
    int frames = 0;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(root, error)) {
        frames += entry.is_directory() && IsFrameFolderName(entry.path().filename().string());
    }
    return frames;
}

// "only in" lines, a whole folder that one side lacks told once: "frame-002/ (9 files)".
std::vector<std::string> OnlyLines(const std::string& root, const std::vector<std::string>& only,
                                   const std::set<std::string>& other_folders) {
    std::map<std::string, int> collapsed;
    std::vector<std::string> lines;
    for (const std::string& name : only) {
        const size_t slash = name.find('/');
        if (slash != std::string::npos && !other_folders.count(name.substr(0, slash))) {
            if (collapsed[name.substr(0, slash)]++ == 0) lines.push_back(name.substr(0, slash + 1));
        } else {
            lines.push_back(name);
        }
    }
    for (std::string& line : lines) {
        if (line.back() == '/') {
            const int count = collapsed[line.substr(0, line.size() - 1)];
            line += " (" + std::to_string(count) + " file" + (count == 1 ? "" : "s") + ")";
        }
        line = "only in " + root + ": " + line;
    }
    return lines;
}

std::set<std::string> TopFolders(const std::set<std::string>& files) {
    std::set<std::string> folders;
    for (const std::string& name : files) {
        const size_t slash = name.find('/');
        if (slash != std::string::npos) folders.insert(name.substr(0, slash));
    }
    return folders;
}

}  // namespace

FileComparison CompareDumpFiles(const fs::path& a, const fs::path& b) {
    FileComparison c;
    std::ifstream file_a(a), file_b(b);
    if (!file_a.is_open() || !file_b.is_open()) {
        c.readable = false;
        return c;
    }
    std::string line_a, line_b;
    for (int64_t number = 1;; ++number) {
        const bool has_a = static_cast<bool>(std::getline(file_a, line_a));
        const bool has_b = static_cast<bool>(std::getline(file_b, line_b));
        if (!has_a && !has_b) break;
        c.lines_a += has_a;
        c.lines_b += has_b;
        const std::string na = has_a ? Normalised(line_a) : std::string();
        const std::string nb = has_b ? Normalised(line_b) : std::string();
        if (has_a && has_b && na == nb) continue;
        if (c.differing++ == 0) {
            c.first = number;
            c.first_a = has_a ? na : "(no line)";
            c.first_b = has_b ? nb : "(no line)";
        }
        if (!has_a || !has_b) continue;
        if (IsHex(na, 9) && IsHex(nb, 9)) {
            c.pixels = true;
            for (int ch = 0; ch < 3; ++ch) {
                const int64_t d = Distance(HexValue(na.substr(3 * ch, 3)), HexValue(nb.substr(3 * ch, 3)));
                c.largest_channel[ch] = std::max(c.largest_channel[ch], d);
            }
        } else if (IsHex(na, 8) && IsHex(nb, 8)) {
            c.values = true;
            c.largest_value = std::max(c.largest_value, Distance(HexValue(na), HexValue(nb)));
        }
    }
    return c;
}

DumpComparison CompareDumps(const fs::path& a, const fs::path& b) {
    std::error_code error;
    const bool dirs = fs::is_directory(a, error) && fs::is_directory(b, error);
    const bool files = fs::is_regular_file(a, error) && fs::is_regular_file(b, error);
    if (!dirs && !files) {
        for (const fs::path& p : {a, b}) {
            if (!fs::exists(p, error)) throw UsageError("'" + p.string() + "' does not exist");
        }
        throw UsageError("'" + a.string() + "' and '" + b.string() + "' must be two folders or two files");
    }
    DumpComparison d;
    d.a = a.string();
    d.b = b.string();
    if (files) {
        d.folders = false;
        const FileComparison c = CompareDumpFiles(a, b);
        if (c.Same()) {
            d.identical = 1;
        } else {
            d.different.emplace_back(a.filename().string(), c);
        }
        return d;
    }
    d.frames_a = FrameFolders(a);
    d.frames_b = FrameFolders(b);
    const std::set<std::string> in_a = FilesUnder(a), in_b = FilesUnder(b);
    for (const std::string& name : in_a) {
        if (!in_b.count(name)) {
            d.only_a.push_back(name);
            continue;
        }
        const FileComparison c = CompareDumpFiles(a / name, b / name);
        if (c.Same()) {
            ++d.identical;
        } else {
            d.different.emplace_back(name, c);
        }
    }
    for (const std::string& name : in_b) {
        if (!in_a.count(name)) d.only_b.push_back(name);
    }
    return d;
}

std::string DescribeFile(const std::string& name, const FileComparison& c) {
    if (!c.readable) return name + ": cannot be read";
    std::string text = name + ": " + std::to_string(c.differing) + " of " +
                       std::to_string(std::max(c.lines_a, c.lines_b)) + " lines differ";
    if (c.lines_a != c.lines_b) {
        text += " (" + std::to_string(c.lines_a) + " lines against " + std::to_string(c.lines_b) + ")";
    }
    text += "; first at line " + std::to_string(c.first) + ": " + c.first_a + " | " + c.first_b;
    if (c.pixels) {
        text += "; largest difference R " + std::to_string(c.largest_channel[0]) + ", G " +
                std::to_string(c.largest_channel[1]) + ", B " + std::to_string(c.largest_channel[2]);
    } else if (c.values) {
        text += "; largest difference " + std::to_string(c.largest_value);
    }
    return text;
}

std::vector<std::string> DescribeComparison(const DumpComparison& d) {
    std::vector<std::string> lines;
    if (!d.folders) {
        lines.push_back(d.different.empty() ? "alad diff: identical" : DescribeFile(d.different[0].first, d.different[0].second));
        return lines;
    }
    if (d.frames_a != d.frames_b) {
        lines.push_back("frame counts differ: " + std::to_string(d.frames_a) + " in " + d.a + ", " +
                        std::to_string(d.frames_b) + " in " + d.b);
    }
    if (!d.only_a.empty() || !d.only_b.empty()) {
        lines.push_back("file sets differ: " + std::to_string(d.only_a.size()) + " file" +
                        (d.only_a.size() == 1 ? "" : "s") + " only in " + d.a + ", " + std::to_string(d.only_b.size()) +
                        " only in " + d.b);
        std::set<std::string> a_files(d.only_a.begin(), d.only_a.end()), b_files(d.only_b.begin(), d.only_b.end());
        for (const auto& [name, c] : d.different) {
            a_files.insert(name);
            b_files.insert(name);
        }
        // A folder counts as present on a side when any file of it is there.
        for (const std::string& line : OnlyLines(d.a, d.only_a, TopFolders(b_files))) lines.push_back(line);
        for (const std::string& line : OnlyLines(d.b, d.only_b, TopFolders(a_files))) lines.push_back(line);
    }
    for (const auto& [name, c] : d.different) lines.push_back(DescribeFile(name, c));
    if (d.Same()) {
        lines.push_back("alad diff: all " + std::to_string(d.identical) + " files identical");
    } else {
        lines.push_back("alad diff: " + std::to_string(d.identical) + " identical, " +
                        std::to_string(d.different.size()) + " different, " +
                        std::to_string(d.only_a.size() + d.only_b.size()) + " in one folder only");
    }
    return lines;
}

std::string ComparisonJson(const DumpComparison& d) {
    JsonWriter json;
    json.BeginObject().Member("a", d.a).Member("b", d.b).Member("identical", d.Same());
    if (d.folders) {
        json.Key("frames").BeginObject().Member("a", d.frames_a).Member("b", d.frames_b).EndObject();
        json.Member("only_in_a", d.only_a).Member("only_in_b", d.only_b);
    }
    json.Member("identical_files", d.identical).Key("different").BeginArray();
    for (const auto& [name, c] : d.different) {
        json.BeginObject().Member("file", name).Member("readable", c.readable);
        if (c.readable) {
            json.Member("lines_a", static_cast<long long>(c.lines_a)).Member("lines_b", static_cast<long long>(c.lines_b));
            json.Member("differing_lines", static_cast<long long>(c.differing));
            json.Member("first_line", static_cast<long long>(c.first)).Member("first_a", c.first_a);
            json.Member("first_b", c.first_b);
            if (c.pixels) {
                json.Key("largest_difference").BeginObject().Member("r", static_cast<long long>(c.largest_channel[0]));
                json.Member("g", static_cast<long long>(c.largest_channel[1]));
                json.Member("b", static_cast<long long>(c.largest_channel[2])).EndObject();
            } else if (c.values) {
                json.Member("largest_difference", static_cast<long long>(c.largest_value));
            }
        }
        json.EndObject();
    }
    json.EndArray().EndObject();
    return json.Text();
}

}  // namespace alad_tool
