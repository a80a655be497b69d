// Two dump folders (or two dump files) compared the way a verification engineer reads them: first
// whether the runs have the same frames and files at all, then, file by file, how many lines differ,
// the first of them and the largest difference. 'alad diff' prints it; 'alad regress' holds runs
// against their expected dumps with it.
#ifndef ALAD_TOOLS_DUMP_COMPARE_H
#define ALAD_TOOLS_DUMP_COMPARE_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace alad_tool {

struct FileComparison {
    bool readable = true;
    int64_t lines_a = 0, lines_b = 0;
    int64_t differing = 0;
    int64_t first = 0;  // line of the first difference, from 1
    std::string first_a, first_b;
    bool pixels = false, values = false;  // a differing pair of image lines / of array lines was seen
    int64_t largest_channel[3] = {0, 0, 0};  // R, G, B
    int64_t largest_value = 0;
    bool Same() const { return readable && differing == 0; }
};

struct DumpComparison {
    std::string a, b;
    bool folders = true;
    int frames_a = 0, frames_b = 0;  // frame-NNN folders at the top of each
    int identical = 0;
    std::vector<std::pair<std::string, FileComparison>> different;  // in both, by path inside the folders
    std::vector<std::string> only_a, only_b;
    bool Same() const { return different.empty() && only_a.empty() && only_b.empty() && frames_a == frames_b; }
};

// The file a verification run keeps about itself; not a dump, so never compared.
constexpr const char kRunRecordName[] = "run.json";

FileComparison CompareDumpFiles(const std::filesystem::path& a, const std::filesystem::path& b);
// Two folders, recursively, or two files. Throws a UsageError for anything else.
DumpComparison CompareDumps(const std::filesystem::path& a, const std::filesystem::path& b);

// The report as text lines: frame counts and file sets when they differ, then one line per file
// that differs; the summary line last.
std::vector<std::string> DescribeComparison(const DumpComparison& comparison);
// One line for a file: "<name>: 3 of 9 lines differ; first at line 2: ... | ...; largest ...".
std::string DescribeFile(const std::string& name, const FileComparison& c);
// The report as a JSON object.
std::string ComparisonJson(const DumpComparison& comparison);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_DUMP_COMPARE_H
