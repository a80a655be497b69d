#include "tools/file_checks.h"

#include "tools/tool_common.h"
#include "verify/readers.h"

namespace alad_tool {

void PrintProblems(const alad::CheckReport& report, bool as_warnings, std::FILE* stream) {
    // Shown as warnings, they are not what was asked for: -q leaves them out.
    if (as_warnings && CurrentVerbosity() == Verbosity::kQuiet) return;
    for (const alad::FileProblem& problem : report.problems) {
        std::fprintf(stream, "%s\n", alad::FormatProblem(problem, as_warnings).c_str());
    }
    if (report.NotKept() > 0 && !report.problems.empty()) {
        std::fprintf(stream, "%s: ... and %lld more problem%s not shown\n", report.problems.back().file.c_str(),
                     static_cast<long long>(report.NotKept()), report.NotKept() == 1 ? "" : "s");
    }
    std::fflush(stream);
}

namespace {

// A side of at most six decimal digits, nothing else.
bool ParseSide(const std::string& text, int* side) {
    if (text.empty() || text.size() > 6) return false;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
    }
    *side = std::stoi(text);
    return true;
}

}  // namespace

void ParseFrameSize(const std::string& text, const std::string& option, int* width, int* height) {
    const size_t x = text.find('x');
    int w = 0, h = 0;
    if (x == std::string::npos || !ParseSide(text.substr(0, x), &w) || !ParseSide(text.substr(x + 1), &h) ||
        !alad::IsUsablePictureSize(w, h)) {
        throw UsageError("option " + option + " needs a frame size WIDTHxHEIGHT, got '" + text + "'");
    }
    *width = w;
    *height = h;
}

}  // namespace alad_tool
