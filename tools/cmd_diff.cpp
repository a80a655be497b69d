// alad diff: two dump folders compared file by file, the way a verification engineer reads them:
// nothing for what matches, and for what differs, how much and where it starts.
#include <cstdio>
#include <string>

#include "tools/commands.h"
#include "tools/dump_compare.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kDiffHelp[] =
    "usage: alad diff [--json] DIR_A DIR_B\n"
    "\n"
    "Compares two dump folders (as 'alad verify' writes them, or a hardware model's) file by file,\n"
    "recursively, matching files by their path inside the folder. Two files may be given instead of\n"
    "two folders. Lines are compared as text, ignoring trailing blanks and carriage returns and the\n"
    "case of hexadecimal digits. run.json, a run's record of itself, is not compared.\n"
    "\n"
    "First comes what makes the runs different as a whole: 'frame counts differ' when the folders\n"
    "hold different numbers of frame-NNN folders, 'file sets differ' when some files are in one folder\n"
    "only (listed next; a folder one side lacks entirely as one line). Identical files are only\n"
    "counted. For each file that differs one line tells how many lines differ, the first of them with\n"
    "both values, and the largest absolute difference: per channel for image dumps (RRRGGGBBB lines),\n"
    "of the value for array dumps (8-digit values).\n"
    "\n"
    "  --json   the same as one JSON object: a, b, identical, frames {a, b}, only_in_a, only_in_b,\n"
    "           identical_files, different [{file, lines_a, lines_b, differing_lines, first_line,\n"
    "           first_a, first_b, largest_difference}]\n"
    "\n"
    "Exit status 0 when everything is identical, 1 otherwise, 2 when an argument is not usable.\n";

int RunDiff(int argc, char** argv) {
    const Options options(argc, argv, {}, {"json"});
    const std::vector<std::string>& args = options.Positional();
    if (args.size() != 2) throw UsageError("needs DIR_A and DIR_B");
    const DumpComparison comparison = CompareDumps(args[0], args[1]);
    if (options.Has("json")) {
        std::fputs(ComparisonJson(comparison).c_str(), stdout);
    } else {
        for (const std::string& line : DescribeComparison(comparison)) std::printf("%s\n", line.c_str());
    }
    return comparison.Same() ? 0 : 1;
}

}  // namespace alad_tool
