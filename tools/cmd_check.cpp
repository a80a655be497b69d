// alad check: register files and pixel files checked strictly before they are trusted with a run.
#include <cstdio>
#include <string>
#include <vector>

#include "tools/commands.h"
#include "tools/file_checks.h"
#include "tools/tool_common.h"
#include "verify/file_check.h"

namespace alad_tool {

const char kCheckHelp[] =
    "usage: alad check [--regs | --pixels] [--size WxH] [--werror] FILE...\n"
    "\n"
    "Checks register files and packed pixel files strictly. The readers that 'alad verify' uses take\n"
    "what a file holds and make the best of it (a value '6x0' reads as 6, a pixel line '1510zz080'\n"
    "as some pixel, a misspelt key is ignored); this tells, for each problem, where it is and what the\n"
    "reader would make of it, one line each:\n"
    "  FILE:LINE:COLUMN: error: message\n"
    "  FILE:LINE:COLUMN: warning: message\n"
    "\n"
    "A register file must hold every register once, as key=value with a plain decimal value inside the\n"
    "range the display driver's range check accepts, and every entry of both tables with a well-formed\n"
    "index; the frame size must fit the hardware's block counts. Unknown keys are errors when they are\n"
    "near a known one (the nearest is named), warnings otherwise; a table the order does not use may\n"
    "be left out (a warning). A pixel file must have exactly nine hexadecimal digits on every line\n"
    "(RRRGGGBBB) and width x height lines; the frame size is --size, or else the size the one register\n"
    "file among the FILEs sets. 'alad regs --help' describes the register file's keys.\n"
    "\n"
    "  --regs       every FILE is a register file\n"
    "  --pixels     every FILE is a pixel file (without them the kind is told by the content: a\n"
    "               register file has '=' in its first lines)\n"
    "  --size WxH   the frame size of the pixel files\n"
    "  --werror     warnings fail the check too\n"
    "\n"
    "Exit status 0 when no FILE has an error (nor, with --werror, a warning), 1 otherwise, 2 when the\n"
    "command line is not usable.\n";

namespace {

struct CheckedFile {
    std::string path, text;
    alad::FileKind kind = alad::FileKind::kUnknown;
    alad::CheckReport report;  // only a read failure until the file is checked
    bool readable = false;
};

}  // namespace

int RunCheck(int argc, char** argv) {
    const Options options(argc, argv, {"size"}, {"regs", "pixels", "werror"});
    const std::vector<std::string>& args = options.Positional();
    if (args.empty()) throw UsageError("needs at least one FILE");
    if (options.Has("regs") && options.Has("pixels")) throw UsageError("--regs and --pixels exclude each other");
    int width = 0, height = 0;
    if (options.Has("size")) ParseFrameSize(options.String("size", ""), "--size", &width, &height);

    std::vector<CheckedFile> files(args.size());
    for (size_t i = 0; i < args.size(); ++i) {
        CheckedFile& f = files[i];
        f.path = args[i];
        f.readable = alad::ReadWholeFile(f.path, &f.text, &f.report);
        if (options.Has("regs")) {
            f.kind = alad::FileKind::kRegisters;
        } else if (options.Has("pixels")) {
            f.kind = alad::FileKind::kPixels;
        } else if (f.readable) {
            f.kind = alad::GuessFileKind(f.text);
        }
    }

    // Register files first: one of them may give the pixel files their size.
    int register_files = 0;
    alad::RegisterFileFacts facts;
    for (CheckedFile& f : files) {
        if (!f.readable || f.kind != alad::FileKind::kRegisters) continue;
        f.report = alad::CheckRegisterText(f.path, f.text, &facts);
        ++register_files;
    }
    if (width == 0 && register_files == 1 && facts.FrameSizeKnown()) {
        width = facts.width;
        height = facts.height;
    }
    int64_t errors = 0, warnings = 0;
    for (CheckedFile& f : files) {
        if (f.readable && f.kind == alad::FileKind::kPixels) {
            f.report = alad::CheckPixelText(f.path, f.text, width, height);
            if (width == 0) {
                f.report.Add(alad::FileProblem{f.path, 0, 0, alad::Severity::kWarning,
                                               "frame size unknown (--size WxH, or one register file with a usable "
                                               "width and height): the pixel count is not checked"});
            }
        } else if (f.readable && f.kind == alad::FileKind::kUnknown) {
            f.report.Add(alad::FileProblem{f.path, 0, 0, alad::Severity::kError,
                                           "holds nothing: neither a register file nor a pixel file"});
        }
        PrintProblems(f.report, false, stdout);
        errors += f.report.errors;
        warnings += f.report.warnings;
    }
    Inform("alad check: %zu file%s, %lld error%s, %lld warning%s\n", files.size(), files.size() == 1 ? "" : "s",
                static_cast<long long>(errors), errors == 1 ? "" : "s", static_cast<long long>(warnings),
                warnings == 1 ? "" : "s");
    return errors > 0 || (options.Has("werror") && warnings > 0) ? 1 : 0;
}

}  // namespace alad_tool
