// alad diff: two dump folders compared file by file, the way a verification engineer reads them:
// nothing for what matches, and for what differs, how much and where it starts.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kDiffHelp[] =
    "usage: alad diff DIR_A DIR_B\n"
    "\n"
    "Compares two dump folders (as 'alad verify' writes them, or a hardware model's) file by file,\n"
    "recursively, matching files by their path inside the folder. Two files may be given instead of\n"
    "two folders. Lines are compared as text, ignoring trailing blanks and carriage returns and the\n"
    "case of hexadecimal digits.\n"
    "\n"
    "Identical files are only counted. For each file that differs one line tells how many lines\n"
    "differ, the first of them with both values, and the largest absolute difference: per channel\n"
    "for image dumps (RRRGGGBBB lines), of the value for array dumps (8-digit values). Files present\n"
    "in one folder only are listed.\n"
    "\n"
    "Exit status 0 when everything is identical, 1 otherwise, 2 when an argument is not usable.\n";

namespace {

namespace fs = std::filesystem;

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

struct Comparison {
    bool readable = true;
    int64_t lines_a = 0, lines_b = 0;
    int64_t differing = 0;
    int64_t first = 0;  // 1-based line of the first difference
    std::string first_a, first_b;
    bool pixels = false, values = false;  // a differing pair of image lines / of array lines was seen
    int64_t largest_channel[3] = {0, 0, 0};
    int64_t largest_value = 0;
};

Comparison CompareFiles(const fs::path& a, const fs::path& b) {
    Comparison c;
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

std::string Describe(const std::string& name, const Comparison& c) {
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

std::set<std::string> FilesUnder(const fs::path& root) {
    std::set<std::string> files;
    try {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
            if (entry.is_regular_file()) files.insert(entry.path().lexically_relative(root).generic_string());
        }
    } catch (const fs::filesystem_error& e) {
        throw RunError("cannot list '" + root.string() + "': " + e.code().message());
    }
    return files;
}

}  // namespace

int RunDiff(int argc, char** argv) {
    const Options options(argc, argv, {}, {});
    const std::vector<std::string>& args = options.Positional();
    if (args.size() != 2) throw UsageError("needs DIR_A and DIR_B");
    const fs::path a = args[0], b = args[1];
    std::error_code error;
    const bool dirs = fs::is_directory(a, error) && fs::is_directory(b, error);
    const bool files = fs::is_regular_file(a, error) && fs::is_regular_file(b, error);
    if (!dirs && !files) {
        for (const fs::path& p : {a, b}) {
            if (!fs::exists(p, error)) throw UsageError("'" + p.string() + "' does not exist");
        }
        throw UsageError("'" + a.string() + "' and '" + b.string() + "' must be two folders or two files");
    }

    if (files) {
        const Comparison c = CompareFiles(a, b);
        if (c.readable && c.differing == 0) {
            std::printf("alad diff: identical\n");
            return 0;
        }
        std::printf("%s\n", Describe(a.filename().string(), c).c_str());
        return 1;
    }

    const std::set<std::string> in_a = FilesUnder(a), in_b = FilesUnder(b);
    int identical = 0, different = 0, alone = 0;
    for (const std::string& name : in_a) {
        if (!in_b.count(name)) continue;
        const Comparison c = CompareFiles(a / name, b / name);
        if (c.readable && c.differing == 0) {
            ++identical;
        } else {
            ++different;
            std::printf("%s\n", Describe(name, c).c_str());
        }
    }
    for (const std::string& name : in_a) {
        if (!in_b.count(name)) {
            std::printf("only in %s: %s\n", a.c_str(), name.c_str());
            ++alone;
        }
    }
    for (const std::string& name : in_b) {
        if (!in_a.count(name)) {
            std::printf("only in %s: %s\n", b.c_str(), name.c_str());
            ++alone;
        }
    }
    if (different == 0 && alone == 0) {
        std::printf("alad diff: all %d files identical\n", identical);
        return 0;
    }
    std::printf("alad diff: %d identical, %d different, %d in one folder only\n", identical, different, alone);
    return 1;
}

}  // namespace alad_tool
