// The strict checker of the harness's input files. The readers take what a hardware team's files
// hold and make the best of it (a value of "6x0" reads as 6, a blank pixel line ends a row); the
// checker says, with file, line and column, everything in a register file or a pixel file that a
// reader would take differently from what its writer probably meant. It reads only the text and
// never touches the engine, so it can run before anything else does.
#ifndef ALAD_VERIFY_FILE_CHECK_H
#define ALAD_VERIFY_FILE_CHECK_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace alad {

enum class Severity { kWarning, kError };

struct FileProblem {
    std::string file;
    int64_t line = 0;    // from 1; 0 for the file as a whole (it cannot be read)
    int64_t column = 0;  // from 1
    Severity severity = Severity::kError;
    std::string message;
};

// "FILE:LINE:COLUMN: error: message" ("FILE: error: message" for the whole file); "warning"
// instead of "error" for warnings, and for errors too when `as_warning` is set.
std::string FormatProblem(const FileProblem& problem, bool as_warning = false);

struct CheckReport {
    // At most kKeptProblems of them, in file order; the counts include those not kept.
    static constexpr size_t kKeptProblems = 100;
    std::vector<FileProblem> problems;
    int64_t errors = 0;
    int64_t warnings = 0;

    void Add(FileProblem problem);
    bool Clean() const { return errors == 0 && warnings == 0; }
    int64_t NotKept() const { return errors + warnings - static_cast<int64_t>(problems.size()); }
};

// ---- register files ----

// What a register file programs as far as the run needs it before it starts: the frame size and
// the order, as the reader reads them, and whether the file gives each plainly (present, a plain
// decimal number, in range).
struct RegisterFileFacts {
    int32_t width = 0, height = 0, tm_mode = 0;
    bool width_clean = false, height_clean = false, tm_mode_clean = false;
    // A frame size a pixel file can be checked against.
    bool FrameSizeKnown() const { return width_clean && height_clean; }
};

// Checks the text of a register file named `file` (the name is only used in the problems): every
// token a key=value assignment, keys known and in their case, each at most once, values plain
// decimal integers in the register's range, table indices well formed and inside the table, the
// block counts the frame size implies within the hardware's, nothing missing.
CheckReport CheckRegisterText(const std::string& file, std::string_view text, RegisterFileFacts* facts = nullptr);
CheckReport CheckRegisterFile(const std::string& path, RegisterFileFacts* facts = nullptr);

// ---- pixel files ----

// Checks a packed pixel file: every line exactly nine hexadecimal digits (RRRGGGBBB; a carriage
// return before the line end is allowed), and width x height of them. A width or height of 0
// leaves the count unchecked.
CheckReport CheckPixelText(const std::string& file, std::string_view text, int width, int height);
CheckReport CheckPixelFile(const std::string& path, int width, int height);

// ---- either ----

enum class FileKind { kUnknown, kRegisters, kPixels };
// A register file has an '=' in its first lines, a pixel file none; a file with nothing but blanks
// is neither.
FileKind GuessFileKind(std::string_view text);

// The whole file into `text`; false with a problem in `report` when it cannot be read.
bool ReadWholeFile(const std::string& path, std::string* text, CheckReport* report);

}  // namespace alad

#endif  // ALAD_VERIFY_FILE_CHECK_H
