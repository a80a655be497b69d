// Register files: white-space separated key=value tokens, as a hardware test bench programs the
// registers. Scalar keys set the thirteen integers; "hist" and "agtm" keys set one table entry each,
// the index at a fixed position inside the key.
#include <cctype>
#include <climits>
#include <cstdio>
#include <string>

#include "alad/alad_verify.h"
#include "common/log.h"
#include "pipeline/register_table.h"

namespace {

constexpr size_t kMaxToken = 1023;

// Reads the next white-space separated token. False at the end of the file. A token longer than
// kMaxToken is consumed whole and returned with *overlong set, so that its tail is never taken
// for a token of its own.
bool NextToken(std::FILE* file, std::string* token, bool* overlong) {
    token->clear();
    *overlong = false;
    int c;
    do {
        c = std::fgetc(file);
    } while (c != EOF && std::isspace(c));
    if (c == EOF) return false;
    for (; c != EOF && !std::isspace(c); c = std::fgetc(file)) {
        if (token->size() < kMaxToken) {
            token->push_back(static_cast<char>(c));
        } else {
            *overlong = true;
        }
    }
    return true;
}

// atoi without its undefined overflow: blanks, sign, digits up to the first other character; no
// digits give 0. A value beyond 32 bits is refused instead of wrapping silently.
int32_t ScalarValue(const std::string& path, const std::string& token, const std::string& text) {
    size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    int64_t value = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > int64_t{INT32_MAX} + 1) break;
    }
    if (negative) value = -value;
    if (value < INT32_MIN || value > INT32_MAX) {
        throw RegisterFileOutOfRange(path, token, "value '" + text + "' does not fit in 32 bits");
    }
    return static_cast<int32_t>(value);
}

// std::stoi in base 10, its failures turned into ours with the file and the token.
int TableNumber(const std::string& path, const std::string& token, const std::string& text, const char* what) {
    try {
        return std::stoi(text, nullptr, 10);
    } catch (const std::invalid_argument&) {
        throw RegisterFileInvalidArgument(path, token, std::string(what) + " '" + text + "' is not a number");
    } catch (const std::out_of_range&) {
        throw RegisterFileOutOfRange(path, token, std::string(what) + " '" + text + "' does not fit in 32 bits");
    }
}

// The index characters of a table key; a key too short to hold them cannot be converted.
std::string IndexText(const std::string& path, const std::string& token, const std::string& key, size_t pos,
                      size_t count) {
    if (key.size() < pos) {
        throw RegisterFileOutOfRange(path, token,
                                     "key '" + key + "' is too short to hold its index (characters " +
                                         std::to_string(pos + 1) + "-" + std::to_string(pos + count) + ")");
    }
    return key.substr(pos, count);
}

// Writes table entry `index` unless it lies outside the table, which is reported and skipped.
template <typename T>
void SetEntry(const std::string& path, const std::string& token, const char* table, T* entries, int size, int index,
              int value) {
    if (index < 0 || index >= size) {
        alad::Log(alad::LogLevel::kWarning, alad::Console::kErr,
                  "register file '%s': token '%s': %s index %d is outside 0..%d; ignored", path.c_str(), token.c_str(),
                  table, index, size - 1);
        return;
    }
    if (entries) entries[index] = static_cast<T>(value);
}

void ApplyToken(const std::string& path, const std::string& token, kelvo::alad_verification_registrator_& reg) {
    // Leading '=' are skipped; the key runs to the next '=', the value from there to the one after.
    const size_t key_begin = token.find_first_not_of('=');
    if (key_begin == std::string::npos) return;
    const size_t key_end = token.find('=', key_begin);
    const std::string key = token.substr(key_begin, key_end == std::string::npos ? std::string::npos : key_end - key_begin);
    const bool has_value = key_end != std::string::npos && key_end + 1 < token.size() && token[key_end + 1] != '=';
    std::string value;
    if (has_value) {
        const size_t value_end = token.find('=', key_end + 1);
        value = token.substr(key_end + 1, value_end == std::string::npos ? std::string::npos : value_end - key_end - 1);
    }

    // The scalar keys are the public registers' names, tried in register order.
    for (const kelvo::RegisterInfo& scalar : kelvo::kRegisters) {
        if (!scalar.public_form || key != scalar.name) continue;
        if (!has_value) throw RegisterFileInvalidArgument(path, token, "register '" + key + "' has no value");
        reg.*scalar.public_form = ScalarValue(path, token, value);
        return;
    }
    const std::string prefix = key.substr(0, 4);
    if (prefix == "hist") {
        // "hist", ten free characters, a two-digit index.
        const int index = TableNumber(path, token, IndexText(path, token, key, 14, 2), "CLTM table index");
        if (!has_value) throw RegisterFileInvalidArgument(path, token, "CLTM table entry has no value");
        const int number = TableNumber(path, token, value, "value");
        SetEntry(path, token, "CLTM table", reg.hist_adjust_curve, ALAD_HIST_ADJUST_CURVE_SIZE, index, number);
    } else if (prefix == "agtm") {
        // "agtm", six free characters, a three-digit index.
        const int index = TableNumber(path, token, IndexText(path, token, key, 10, 3), "AGTM table index");
        if (!has_value) throw RegisterFileInvalidArgument(path, token, "AGTM table entry has no value");
        const int number = TableNumber(path, token, value, "value");
        SetEntry(path, token, "AGTM table", reg.agtm, ALAD_AGTM_LUT_SIZE, index, number);
    }
}

}  // namespace

int32_t ReadRegisterFile(const char* path, kelvo::alad_verification_registrator_& reg) {
    const std::string name = path ? path : "";
    std::FILE* file = path ? std::fopen(path, "r") : nullptr;
    if (!file) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "open failed: %s", name.c_str());
        return -1;
    }
    std::string token;
    bool overlong = false;
    try {
        while (NextToken(file, &token, &overlong)) {
            if (overlong) {
                alad::Log(alad::LogLevel::kWarning, alad::Console::kErr,
                          "register file '%s': a token longer than %zu characters ('%.40s...'); ignored", name.c_str(),
                          kMaxToken, token.c_str());
                continue;
            }
            ApplyToken(name, token, reg);
        }
    } catch (...) {
        std::fclose(file);
        throw;
    }
    std::fclose(file);
    return 0;
}

void parseRegisterFromFile(const char* path, kelvo::alad_verification_registrator_& reg) {
    ReadRegisterFile(path, reg);
}

int32_t WriteRegisterFile(const char* path, const kelvo::alad_verification_registrator_& reg) {
    const std::string name = path ? path : "";
    if (!reg.hist_adjust_curve || !reg.agtm) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "register file '%s': the record has no %s table; not written",
                  name.c_str(), reg.agtm ? "CLTM" : "AGTM");
        return -1;
    }
    std::FILE* file = path ? std::fopen(path, "w") : nullptr;
    if (!file) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "open failed: %s", name.c_str());
        return -1;
    }
    bool written = true;
    for (const kelvo::RegisterInfo& scalar : kelvo::kRegisters) {
        if (!scalar.public_form) continue;
        written = std::fprintf(file, "%s=%d\n", scalar.name, static_cast<int>(reg.*scalar.public_form)) > 0 && written;
    }
    // The index at characters 15-16 and 11-13 of the key, where the reader takes it.
    for (int i = 0; i < ALAD_HIST_ADJUST_CURVE_SIZE; ++i) {
        written = std::fprintf(file, "hist_adj_curv_%02d=%d\n", i, static_cast<int>(reg.hist_adjust_curve[i])) > 0 &&
                  written;
    }
    for (int i = 0; i < ALAD_AGTM_LUT_SIZE; ++i) {
        written = std::fprintf(file, "agtm_entry%03d=%d\n", i, static_cast<int>(reg.agtm[i])) > 0 && written;
    }
    written = std::fclose(file) == 0 && written;
    if (!written) alad::Log(alad::LogLevel::kError, alad::Console::kErr, "write failed: %s", name.c_str());
    return written ? 0 : -1;
}
