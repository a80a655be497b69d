// Shared pieces of the alad tool: option parsing, picture input and output.
#ifndef ALAD_TOOLS_TOOL_COMMON_H
#define ALAD_TOOLS_TOOL_COMMON_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_records.h"

namespace alad_tool {

// A user mistake: reported on standard error as "alad <command>: <message>", exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// A failure at run time (unreadable file, ...): reported the same way, exit code 1.
struct RunError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Command-line options: "--name value" or "--name=value" pairs, "--flag" switches and positional
// arguments; after "--" every argument is positional.
class Options {
public:
    // `valued` lists the options that take a value, `flags` the switches; anything else starting
    // with "--" is an error, and so is a value given to a switch.
    Options(int argc, char** argv, const std::vector<std::string>& valued, const std::vector<std::string>& flags);

    bool Has(const std::string& name) const { return values_.count(name) != 0 || flags_.count(name) != 0; }
    std::string String(const std::string& name, const std::string& fallback) const;
    double Number(const std::string& name, double fallback) const;
    double RequiredNumber(const std::string& name) const;
    long Integer(const std::string& name, long fallback, long lo, long hi) const;
    const std::vector<std::string>& Positional() const { return positional_; }

private:
    std::map<std::string, std::string> values_;
    std::map<std::string, bool> flags_;
    std::vector<std::string> positional_;
};

// The display record from --gamma, --white, --black, --backlight, --reflectance (defaults
// otherwise), and the option names that carry it. The panel model stores the backlight level but
// no result depends on it, so a --backlight given earns a warning saying so.
kelvo::alad_display_model_ DisplayFromOptions(const Options& options);
// The display options' lines for a command's --help.
#define ALAD_DISPLAY_OPTIONS_HELP                                                                  \
    "  --gamma G --white W --black B --reflectance R\n"                                           \
    "                      the display: gamma, white and black luminance (cd/m2), screen\n"       \
    "                      reflectance (defaults 2.2, 500, 0.2, 0.01)\n"                          \
    "  --backlight L       stored by the panel model, but no result depends on it (default 1.0)\n"
const std::vector<std::string>& DisplayOptionNames();

// The viewing condition from --src and --dst (lux, default 300 each), or from --level N (0..39):
// 300 lux -> the level's lux. --level with --src or --dst is a usage error.
kelvo::alad_view_condition_ ViewFromOptions(const Options& options);

// Reads an 8- or 16-bit picture (any format OpenCV reads) as 12-bit CV_32SC3; returns its depth.
cv::Mat ReadPicture12(const std::string& path, int* depth);
// Narrows a 12-bit CV_32SC3 image to the given depth (CV_8U or CV_16U), the exact inverse of the
// widening for values that went through unchanged.
cv::Mat NarrowPicture12(const cv::Mat& image12, int depth);
// Writes a picture, turning OpenCV's failures into a RunError naming the file.
void WritePicture(const std::string& path, const cv::Mat& picture);
// Input and output side by side, with a small gap.
cv::Mat SideBySide(const cv::Mat& left, const cv::Mat& right);
// The same under a band naming each (the pictures' own pixels untouched; 8- or 16-bit).
cv::Mat LabelledSideBySide(const cv::Mat& left, const cv::Mat& right, const std::string& left_label,
                           const std::string& right_label);

// How much the tool says: -q (errors and the results asked for only), normal, -v (also every line
// of the engine). Set once by main() from -q/--quiet and -v/--verbose anywhere before "--".
enum class Verbosity { kQuiet, kNormal, kVerbose };
void SetVerbosity(Verbosity verbosity);
Verbosity CurrentVerbosity();
// A line about what was done ("... written to FILE"), on standard output; nothing under -q.
void Inform(const char* format, ...) __attribute__((format(printf, 1, 2)));
// A warning on standard error ("alad: warning: ..."); nothing under -q.
void Warn(const std::string& text);

// Which of the library's console lines the tool shows while an EngineLines object lives: all of
// them as the library prints them, only its warnings and errors (on standard error; the per-frame
// progress lines are noise to a user; under -q only its errors), or none (a dry run whose warnings
// the real run repeats).
enum class EngineLineFilter { kAll, kProblems, kNone };

class EngineLines {
public:
    explicit EngineLines(EngineLineFilter filter);
    ~EngineLines();
    EngineLines(const EngineLines&) = delete;
    EngineLines& operator=(const EngineLines&) = delete;

private:
    EngineLineFilter previous_;
};

// kAll with a command's --verbose or the tool's -v, kProblems otherwise.
inline EngineLineFilter VerboseOr(bool verbose) {
    return verbose || CurrentVerbosity() == Verbosity::kVerbose ? EngineLineFilter::kAll : EngineLineFilter::kProblems;
}

}  // namespace alad_tool

#endif  // ALAD_TOOLS_TOOL_COMMON_H
