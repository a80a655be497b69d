// The strict checker of register files and packed pixel files. Keys, ranges, table forms and
// suggestions all come from the register table, so that the checker, the reader and the driver's
// range check cannot drift apart.
#include "verify/file_check.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>

#include "cltm/cltm_params.h"
#include "common/frame_size.h"
#include "pipeline/register_table.h"
#include "verify/readers.h"

namespace alad {

std::string FormatProblem(const FileProblem& problem, bool as_warning) {
    const char* word = problem.severity == Severity::kError && !as_warning ? "error" : "warning";
    std::string text = problem.file + ":";
    if (problem.line > 0) text += std::to_string(problem.line) + ":" + std::to_string(problem.column) + ":";
    return text + " " + word + ": " + problem.message;
}

void CheckReport::Add(FileProblem problem) {
    (problem.severity == Severity::kError ? errors : warnings) += 1;
    if (problems.size() < kKeptProblems) problems.push_back(std::move(problem));
}

bool ReadWholeFile(const std::string& path, std::string* text, CheckReport* report) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream contents;
    if (file.is_open()) contents << file.rdbuf();
    if (!file.is_open() || file.bad()) {
        FileProblem problem;
        problem.file = path;
        problem.message = std::string("cannot be read: ") + std::strerror(errno ? errno : ENOENT);
        report->Add(std::move(problem));
        return false;
    }
    *text = contents.str();
    return true;
}

FileKind GuessFileKind(std::string_view text) {
    // Pixel lines never hold '='; every token of a register file does. Look at the first lines
    // with something on them.
    int lines = 0;
    size_t pos = 0;
    while (pos < text.size() && lines < 64) {
        size_t end = text.find('\n', pos);
        if (end == std::string_view::npos) end = text.size();
        const std::string_view line = text.substr(pos, end - pos);
        pos = end + 1;
        if (std::all_of(line.begin(), line.end(), [](char c) { return std::isspace(static_cast<unsigned char>(c)); })) {
            continue;
        }
        if (line.find('=') != std::string_view::npos) return FileKind::kRegisters;
        ++lines;
    }
    return lines > 0 ? FileKind::kPixels : FileKind::kUnknown;
}

namespace {

using kelvo::kRegisters;
using kelvo::kRegisterTables;
using kelvo::RegisterInfo;
using kelvo::RegisterTableInfo;

// The reader's token limit.
constexpr size_t kMaxToken = 1023;

bool IsPlainDecimal(std::string_view text) {
    size_t i = text.size() > 1 && text[0] == '-' ? 1 : 0;
    if (i == text.size()) return false;
    for (; i < text.size(); ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
    }
    return true;
}

bool IsDigits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

// The leading number of a text as the C library reads it (blanks, sign, digits up to the first
// other character; nothing gives `none`), or nothing when it does not fit in 32 bits.
std::optional<int64_t> LeadingNumber(std::string_view text, std::optional<int64_t> none) {
    size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    if (i == text.size() || !std::isdigit(static_cast<unsigned char>(text[i]))) return none;
    int64_t value = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > int64_t{INT32_MAX} + 1) return std::nullopt;
    }
    value = negative ? -value : value;
    if (value < INT32_MIN || value > INT32_MAX) return std::nullopt;
    return value;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

// Edits (insertions, deletions, substitutions, swaps of neighbours) from a to b.
size_t EditDistance(const std::string& a, const std::string& b) {
    const size_t n = a.size(), m = b.size();
    std::vector<std::vector<size_t>> d(n + 1, std::vector<size_t>(m + 1));
    for (size_t i = 0; i <= n; ++i) d[i][0] = i;
    for (size_t j = 0; j <= m; ++j) d[0][j] = j;
    for (size_t i = 1; i <= n; ++i) {
        for (size_t j = 1; j <= m; ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[n][m];
}

std::string TableKey(const RegisterTableInfo& table, int index) {
    char key[64];
    std::snprintf(key, sizeof(key), table.key_format, index);
    return key;
}

// The table key written the tools' way, from a key that holds the index in its last digits (or
// "NN"/"NNN" where it holds none that fits).
std::string TableKeyLike(const RegisterTableInfo& table, std::string_view key) {
    size_t digits = 0;
    while (digits < key.size() && digits < table.index_digits &&
           std::isdigit(static_cast<unsigned char>(key[key.size() - 1 - digits]))) {
        ++digits;
    }
    if (digits > 0) {
        const int index = std::stoi(std::string(key.substr(key.size() - digits)));
        if (index < table.size) return TableKey(table, index);
    }
    const std::string zero = TableKey(table, 0);
    return zero.substr(0, table.index_pos) + std::string(table.index_digits, 'N');
}

// The known name nearest to an unknown key, when it is near enough to be what was meant.
std::optional<std::string> NearestName(std::string_view key) {
    const std::string lower = Lower(key);
    std::vector<std::string> names;
    for (const RegisterInfo& reg : kRegisters) names.push_back(reg.name);
    for (const RegisterTableInfo& table : kRegisterTables) names.push_back(TableKeyLike(table, key));
    std::optional<std::string> best;
    size_t best_distance = SIZE_MAX;
    const size_t allowed = std::max<size_t>(1, std::min<size_t>(3, key.size() / 4));
    for (const std::string& name : names) {
        if (name.size() + allowed < key.size() || key.size() + allowed < name.size()) continue;
        const size_t distance = EditDistance(lower, Lower(name));
        if (distance < best_distance) {
            best_distance = distance;
            best = name;
        }
    }
    if (best_distance > allowed) return std::nullopt;
    return best;
}

std::string RangeText(const RegisterInfo& reg) {
    if (reg.range == kelvo::RegisterRange::kBlockSize) return "64, 128 or 256";
    return std::to_string(reg.lo) + ".." + std::to_string(reg.hi);
}

// "03, 10..64" for the indices not set.
std::string IndexRanges(const std::vector<bool>& set, size_t digits) {
    std::string text;
    const auto number = [&](size_t i) {
        std::string s = std::to_string(i);
        return std::string(digits > s.size() ? digits - s.size() : 0, '0') + s;
    };
    for (size_t i = 0; i < set.size();) {
        if (set[i]) {
            ++i;
            continue;
        }
        size_t j = i;
        while (j + 1 < set.size() && !set[j + 1]) ++j;
        if (!text.empty()) text += ", ";
        text += number(i);
        if (j > i) text += ".." + number(j);
        i = j + 1;
    }
    return text;
}

// Line and column (both from 1) of byte offsets in a text.
class Positions {
public:
    explicit Positions(std::string_view text) {
        line_starts_.push_back(0);
        for (size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\n') line_starts_.push_back(i + 1);
        }
    }
    std::pair<int64_t, int64_t> At(size_t offset) const {
        const auto next = std::upper_bound(line_starts_.begin(), line_starts_.end(), offset);
        const size_t line = static_cast<size_t>(next - line_starts_.begin());  // from 1
        return {static_cast<int64_t>(line), static_cast<int64_t>(offset - line_starts_[line - 1]) + 1};
    }

private:
    std::vector<size_t> line_starts_;
};

class RegisterChecker {
public:
    RegisterChecker(const std::string& file, std::string_view text) : file_(file), text_(text), positions_(text) {
        for (const RegisterTableInfo& table : kRegisterTables) {
            table_set_.emplace_back(static_cast<size_t>(table.size), false);
            table_first_.emplace_back(static_cast<size_t>(table.size));
        }
    }

    CheckReport Run(RegisterFileFacts* facts) {
        for (size_t pos = 0; pos < text_.size();) {
            if (std::isspace(static_cast<unsigned char>(text_[pos]))) {
                ++pos;
                continue;
            }
            size_t end = pos;
            while (end < text_.size() && !std::isspace(static_cast<unsigned char>(text_[end]))) ++end;
            Token(pos, text_.substr(pos, end - pos));
            pos = end;
        }
        Derived();
        Missing();
        // The derived problems point back at the tokens they come from: file order again.
        std::stable_sort(report_.problems.begin(), report_.problems.end(), [](const FileProblem& a, const FileProblem& b) {
            return a.line != b.line ? a.line < b.line : a.column < b.column;
        });
        if (facts) {
            const auto fact = [&](const char* name, int32_t* value, bool* clean) {
                const Scalar& s = *FindScalar(name);
                *value = s.read ? static_cast<int32_t>(*s.read) : 0;
                *clean = s.clean;
            };
            fact("width", &facts->width, &facts->width_clean);
            fact("height", &facts->height, &facts->height_clean);
            fact("tm_mode", &facts->tm_mode, &facts->tm_mode_clean);
        }
        return std::move(report_);
    }

private:
    struct Entry {
        int64_t line = 0;  // where it was first set; 0 while it is not
        std::string value;
    };
    struct Scalar {
        int64_t line = 0;  // where it was first set; 0 while it is not
        std::string value;
        std::optional<int64_t> read;  // what the reader takes
        bool clean = false;
        size_t offset = 0;
    };

    void Report(size_t offset, Severity severity, std::string message) {
        const auto [line, column] = positions_.At(offset);
        report_.Add(FileProblem{file_, line, column, severity, std::move(message)});
    }
    void Error(size_t offset, std::string message) { Report(offset, Severity::kError, std::move(message)); }
    void Warning(size_t offset, std::string message) { Report(offset, Severity::kWarning, std::move(message)); }

    void Token(size_t offset, std::string_view token) {
        if (token.size() > kMaxToken) {
            Error(offset, "a token of " + std::to_string(token.size()) + " characters; the reader ignores tokens over " +
                              std::to_string(kMaxToken));
            return;
        }
        for (size_t i = 0; i < token.size(); ++i) {
            const unsigned char c = static_cast<unsigned char>(token[i]);
            if (c < 0x20 || c >= 0x7F) {
                char byte[8];
                std::snprintf(byte, sizeof(byte), "0x%02X", c);
                Error(offset + i, std::string("byte ") + byte + " in a register file (text only: key=value tokens)");
                // The key still counts as given, so that it is not reported missing as well.
                const std::string_view key = token.substr(0, token.find('='));
                if (Scalar* scalar = FindScalar(key); scalar && scalar->line == 0) {
                    scalar->line = positions_.At(offset).first;
                }
                return;
            }
        }
        const std::string shown(token);
        if (token[0] == '=') {
            Error(offset, "'" + shown + "' starts with '=' (no blanks around '=': key=value)");
            return;
        }
        const size_t equals = token.find('=');
        const std::string_view key = token.substr(0, equals);
        if (equals == std::string_view::npos) {
            if (FindScalar(key)) {
                Error(offset, "'" + shown + "' has no value (write " + shown + "=VALUE, no blanks around '=')");
            } else {
                Error(offset, "'" + shown + "' is not a key=value assignment" + Suggestion(key, " (did you mean '", "'?)"));
            }
            return;
        }
        const size_t second = token.find('=', equals + 1);
        const std::string_view value = token.substr(equals + 1, second == std::string_view::npos ? second : second - equals - 1);
        if (second != std::string_view::npos) {
            Error(offset + second, "a second '=' in '" + shown + "'; the reader ignores it and what follows");
        }
        const size_t value_offset = offset + equals + 1;
        if (FindScalar(key)) {
            ScalarToken(offset, key, value, value_offset);
            return;
        }
        if (const RegisterInfo* reg = kelvo::FindRegister(std::string(key).c_str())) {
            Warning(offset, std::string(reg->name) + " is derived by the engine, not set by a register file; ignored");
            return;
        }
        for (size_t t = 0; t < kelvo::kRegisterTableCount; ++t) {
            const RegisterTableInfo& table = kRegisterTables[t];
            if (key.substr(0, std::strlen(table.prefix)) == table.prefix) {
                TableToken(offset, t, key, value, value_offset);
                return;
            }
        }
        const std::optional<std::string> near = NearestName(key);
        if (near && Lower(*near) == Lower(key)) {
            Error(offset, "unknown key '" + std::string(key) + "': keys are case-sensitive (did you mean '" + *near +
                              "'?); the reader ignores it");
        } else if (near) {
            Error(offset, "unknown key '" + std::string(key) + "' (did you mean '" + *near + "'?); the reader ignores it");
        } else {
            Warning(offset, "unknown key '" + std::string(key) + "'; the reader ignores it");
        }
    }

    std::string Suggestion(std::string_view key, const char* before, const char* after) const {
        const std::optional<std::string> near = NearestName(key);
        return near ? before + *near + after : std::string();
    }

    Scalar* FindScalar(std::string_view key) {
        for (size_t i = 0; i < kelvo::kRegisterCount; ++i) {
            if (kRegisters[i].public_form && key == kRegisters[i].name) return &scalars_[i];
        }
        return nullptr;
    }

    // `what` given a value again: a warning when it is the same, an error when it differs.
    void SetAgain(size_t offset, const std::string& what, const std::string& shown, int64_t first_line,
                  const std::string& first_value) {
        const std::string first = "first at line " + std::to_string(first_line);
        if (first_value == shown) {
            Warning(offset, what + " is set again (" + first + ")");
        } else {
            Error(offset, what + " is set again, to " + shown + " (" + first + ", to " + first_value +
                              "); the last value counts");
        }
    }

    void ScalarToken(size_t offset, std::string_view key, std::string_view value, size_t value_offset) {
        Scalar& scalar = *FindScalar(key);
        const RegisterInfo& reg = kRegisters[&scalar - scalars_];
        const std::string name = reg.name, shown(value);
        const int64_t line = positions_.At(offset).first;
        if (scalar.line != 0) {
            SetAgain(offset, name, shown, scalar.line, scalar.value);
        } else {
            scalar.line = line;
        }
        scalar.value = shown;
        scalar.offset = offset;
        scalar.read = LeadingNumber(value, 0);
        scalar.clean = false;
        if (value.empty()) {
            Error(offset, name + " has no value");
            return;
        }
        if (!IsPlainDecimal(value)) {
            Error(value_offset, "the value '" + shown + "' of " + name + " is not a plain decimal integer" +
                                    (scalar.read ? " (the reader takes " + std::to_string(*scalar.read) + ")" : ""));
            return;
        }
        if (!scalar.read) {
            Error(value_offset, "the value " + shown + " of " + name + " does not fit in 32 bits");
            return;
        }
        const int32_t v = static_cast<int32_t>(*scalar.read);
        if (!kelvo::RegisterInRange(reg, v)) {
            Error(value_offset, name + "=" + shown + " is outside " + RangeText(reg) + " (the driver's range check: '" +
                                    reg.message + "')");
            return;
        }
        if (reg.range == kelvo::RegisterRange::kNone && (v < 1 || v > kMaxFrameSide)) {
            Error(value_offset, name + "=" + shown + " is outside 1.." + std::to_string(kMaxFrameSide) +
                                    " (the frame sizes the engine takes)");
            return;
        }
        scalar.clean = true;
    }

    void TableToken(size_t offset, size_t t, std::string_view key, std::string_view value, size_t value_offset) {
        const RegisterTableInfo& table = kRegisterTables[t];
        const std::string shown_key(key), shown(value);
        const size_t end = table.index_pos + table.index_digits;
        const std::string form = "'" + std::string(table.prefix) + "', " +
                                 std::to_string(table.index_pos - std::strlen(table.prefix)) + " characters, a " +
                                 std::to_string(table.index_digits) + "-digit index, as in " + TableKey(table, 7);
        if (key.size() < end) {
            Error(offset, "'" + shown_key + "' is too short for a " + table.description + " key (" + form + ")" +
                              Suggestion(key, "; did you mean '", "'?"));
            return;
        }
        const std::string_view index_text = key.substr(table.index_pos, table.index_digits);
        const size_t index_offset = offset + table.index_pos;
        if (!IsDigits(index_text)) {
            const std::optional<int64_t> read = LeadingNumber(index_text, std::nullopt);
            Error(index_offset, "the index '" + std::string(index_text) + "' of '" + shown_key + "' (characters " +
                                    std::to_string(table.index_pos + 1) + "-" + std::to_string(end) + ") is not " +
                                    std::to_string(table.index_digits) + " decimal digits" +
                                    (read ? " (the reader takes entry " + std::to_string(*read) + ")"
                                          : " (the reader stops the run)"));
            return;
        }
        if (key.size() > end) {
            Error(offset + end, "'" + std::string(key.substr(end)) + "' after the index of '" + shown_key +
                                    "' (the reader ignores it)");
            return;
        }
        const int index = std::stoi(std::string(index_text));
        if (index >= table.size) {
            Error(index_offset, "index " + std::string(index_text) + " is outside the " + table.description + " (" +
                                    TableKey(table, 0).substr(table.index_pos) + ".." +
                                    TableKey(table, table.size - 1).substr(table.index_pos) + ")");
            return;
        }
        const std::string entry = std::string(table.description) + " entry " + std::string(index_text);
        const int64_t line = positions_.At(offset).first;
        Entry& first = table_first_[t][static_cast<size_t>(index)];
        if (first.line != 0) {
            SetAgain(offset, entry, shown, first.line, first.value);
        } else {
            first.line = line;
        }
        first.value = shown;
        if (value.empty()) {
            Error(offset, entry + " has no value");
            return;
        }
        if (!IsPlainDecimal(value)) {
            const std::optional<int64_t> read = LeadingNumber(value, std::nullopt);
            Error(value_offset, "the value '" + shown + "' of " + entry + " is not a plain decimal integer" +
                                    (read ? " (the reader takes " + std::to_string(*read) + ")"
                                          : " (the reader stops the run)"));
            return;
        }
        const std::optional<int64_t> read = LeadingNumber(value, std::nullopt);
        if (!read) {
            Error(value_offset, "the value " + shown + " of " + entry + " does not fit in 32 bits");
            return;
        }
        if (t == kelvo::kCLTMTable && *read < 0) {
            Warning(value_offset, "the value " + shown + " of " + entry + " is negative; the table holds it as " +
                                      std::to_string(static_cast<uint32_t>(static_cast<int32_t>(*read))));
        }
        table_set_[t][static_cast<size_t>(index)] = true;
    }

    // The block counts the frame and block sizes imply, against the hardware's limits.
    void Derived() {
        const Scalar& width = *FindScalar("width");
        const Scalar& height = *FindScalar("height");
        if (width.clean && height.clean &&
            !IsUsablePictureSize(static_cast<int>(*width.read), static_cast<int>(*height.read))) {
            Error(height.offset, "a frame of " + width.value + "x" + height.value + " is larger than the engine takes (" +
                                     std::to_string(kMaxFramePixels) + " pixels in all)");
        }
        const struct {
            const char* count;
            const char* size;
            const char* block;
            const char* across;
        } pairs[] = {{"blk_w_num", "width", "blk_width_b", "across"}, {"blk_h_num", "height", "blk_height_b", "down"}};
        for (const auto& p : pairs) {
            const Scalar& size = *FindScalar(p.size);
            const Scalar& block = *FindScalar(p.block);
            const RegisterInfo* count = kelvo::FindRegister(p.count);
            if (!size.clean || !block.clean || !count) continue;
            const uint32_t log2 = kelvo::_get_size_log2(static_cast<uint32_t>(*block.read));
            const uint32_t blocks = kelvo::ad_get_blk_num(static_cast<uint32_t>(*size.read), log2);
            if (kelvo::RegisterInRange(*count, static_cast<int32_t>(blocks))) continue;
            Error(size.offset, std::string(p.size) + "=" + size.value + " takes " + std::to_string(blocks) +
                                   " blocks of " + block.value + " " + p.across + " (" + p.count + "), outside " +
                                   RangeText(*count) + " (the driver's range check: '" + count->message +
                                   "'); at most " + std::to_string(int64_t{count->hi} * *block.read) + " pixels");
        }
    }

    // What is not set reads 0. A table the order does not use may be left out.
    void Missing() {
        const size_t end = text_.size();
        for (size_t i = 0; i < kelvo::kRegisterCount; ++i) {
            if (kRegisters[i].public_form && scalars_[i].line == 0) {
                Error(end, std::string(kRegisters[i].name) + " is missing (the register reads 0)");
            }
        }
        const Scalar& order = *FindScalar("tm_mode");
        const int64_t tm_mode = order.clean ? *order.read : 0;
        // Orders 1 and 2 run both stages, 3 the CLTM alone, 4 the AGTM alone, others neither.
        const bool uses[kelvo::kRegisterTableCount] = {tm_mode == 1 || tm_mode == 2 || tm_mode == 3,
                                                      tm_mode == 1 || tm_mode == 2 || tm_mode == 4};
        for (size_t t = 0; t < kelvo::kRegisterTableCount; ++t) {
            const RegisterTableInfo& table = kRegisterTables[t];
            const std::vector<bool>& set = table_set_[t];
            const int64_t absent = std::count(set.begin(), set.end(), false);
            if (absent == 0) continue;
            // Entries whose key was there but malformed count as missing too: the reader did not
            // set them as meant.
            std::string what;
            if (absent == table.size) {
                what = std::string("the ") + table.description + " is missing (" + TableKey(table, 0) + " to " +
                       TableKey(table, table.size - 1) + " read 0)";
            } else {
                what = std::string(table.description) + (absent == 1 ? " entry " : " entries ") +
                       IndexRanges(set, table.index_digits) + (absent == 1 ? " is" : " are") + " missing (read 0)";
            }
            if (order.clean && !uses[t]) {
                Warning(end, what + "; order " + std::to_string(tm_mode) + " does not use it");
            } else {
                Error(end, what);
            }
        }
    }

    const std::string& file_;
    std::string_view text_;
    Positions positions_;
    CheckReport report_;
    Scalar scalars_[kelvo::kRegisterCount];
    std::vector<std::vector<bool>> table_set_;
    std::vector<std::vector<Entry>> table_first_;
};

}  // namespace

CheckReport CheckRegisterText(const std::string& file, std::string_view text, RegisterFileFacts* facts) {
    return RegisterChecker(file, text).Run(facts);
}

CheckReport CheckRegisterFile(const std::string& path, RegisterFileFacts* facts) {
    CheckReport report;
    std::string text;
    if (!ReadWholeFile(path, &text, &report)) return report;
    return CheckRegisterText(path, text, facts);
}

CheckReport CheckPixelText(const std::string& file, std::string_view text, int width, int height) {
    CheckReport report;
    const auto error = [&](int64_t line, int64_t column, std::string message) {
        report.Add(FileProblem{file, line, column, Severity::kError, std::move(message)});
    };
    const bool sized = width > 0 && height > 0;
    const int64_t expected = sized ? int64_t{width} * height : 0;
    int64_t line = 0, pixels = 0;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string_view::npos) end = text.size();
        std::string_view content = text.substr(pos, end - pos);
        pos = end + 1;
        ++line;
        if (!content.empty() && content.back() == '\r') content.remove_suffix(1);
        if (content.empty()) {
            error(line, 1, "blank line (the reader ends the row here; the pixels after it shift to the next row)");
            continue;
        }
        ++pixels;
        if (sized && pixels == expected + 1) {
            error(line, 1, "pixel " + std::to_string(pixels) + " is beyond the " + std::to_string(width) + "x" +
                               std::to_string(height) + " frame (the reader starts again at the top)");
        }
        const auto bad = std::find_if(content.begin(), content.end(),
                                      [](char c) { return !std::isxdigit(static_cast<unsigned char>(c)); });
        if (bad != content.end()) {
            const unsigned char c = static_cast<unsigned char>(*bad);
            char shown[16];
            if (c >= 0x20 && c < 0x7F) {
                std::snprintf(shown, sizeof(shown), "'%c'", c);
            } else {
                std::snprintf(shown, sizeof(shown), "byte 0x%02X", c);
            }
            error(line, (bad - content.begin()) + 1,
                  std::string(shown) + " is not a hexadecimal digit (a pixel line is RRRGGGBBB, nine digits)");
        } else if (content.size() != 9) {
            error(line, 1, std::to_string(content.size()) + " hexadecimal digits; a pixel line has nine (RRRGGGBBB)");
        }
    }
    if (sized && pixels != expected) {
        error(line + 1, 1, std::to_string(pixels) + " pixel line" + (pixels == 1 ? "" : "s") + "; a " +
                               std::to_string(width) + "x" + std::to_string(height) + " frame has " +
                               std::to_string(expected));
    }
    return report;
}

CheckReport CheckPixelFile(const std::string& path, int width, int height) {
    CheckReport report;
    std::string text;
    if (!ReadWholeFile(path, &text, &report)) return report;
    return CheckPixelText(path, text, width, height);
}

}  // namespace alad
